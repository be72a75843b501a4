#include <gtest/gtest.h>

#include <limits>
#include <memory>

#include "support/bits.h"
#include "support/plainpairwise.h"
#include "support/rows.h"
#include "vexa/compaction.h"
#include "vexa/matrixpairwise.h"
#include "vexa/statobjects.h"

namespace {

using vexa::WorkArea;

const double* OrNull(bool has, const std::vector<double>& x) { return has ? x.data() : nullptr; }

RowsSpec TwoColumns(Random& random) {
  RowsSpec spec = RandomSpec(random, 300, 1);
  spec.columns = 2;
  AddMissing(random, spec);
  return spec;
}

TEST(Compaction, KeepsThePresentRowsWithTheirWeights) {
  WorkArea out;
  for (unsigned int seed = 0; seed < 600; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const RowsSpec spec = TwoColumns(random);
    const Rows rows = MakeRows(random, spec);
    const double* weights = OrNull(rows.hasWeights, rows.weights);
    const double* regWeights = OrNull(rows.hasRegWeights, rows.regWeights);
    const int n = static_cast<int>(rows.count);
    // What an earlier call left must not matter: the outputs are never cleared in between.
    vexa::CopyNonmissing(rows.columns[1].data(), weights, regWeights, spec.missingCode, n, out._x0, out._w,
                         out._rw);
    const Rows one = plain::Present(rows, {1}, spec.missingCode);
    ASSERT_TRUE(SameBits(out._x0, one.columns[0]));
    ASSERT_TRUE(SameBits(out._w, one.weights));
    ASSERT_TRUE(SameBits(out._rw, one.regWeights));
    vexa::CopyCompletePairs(rows.columns[0].data(), rows.columns[1].data(), weights, regWeights,
                            spec.missingCode, n, out._x0, out._x1, out._w, out._rw);
    const Rows two = plain::Present(rows, {0, 1}, spec.missingCode);
    ASSERT_TRUE(SameBits(out._x0, two.columns[0]));
    ASSERT_TRUE(SameBits(out._x1, two.columns[1]));
    ASSERT_TRUE(SameBits(out._w, two.weights));
    ASSERT_TRUE(SameBits(out._rw, two.regWeights));
  }
}

std::vector<double> Values(const vexa::VarStatsData& r) {
  return {static_cast<double>(r._nRows), r._weightSum, r._regWeightSum, r._mean, r._css};
}
std::vector<double> Values(const vexa::VarStatData& r) {
  return {static_cast<double>(r._nRows), r._weightSum, r._regWeightSum, r._mean, r._css, r._min, r._max};
}
template <class Pair>
std::vector<double> PairValues(const Pair& r) {
  return {static_cast<double>(r._nRows),
          r._weightSum,
          r._regWeightSum,
          r._mean0,
          r._mean1,
          r._css0,
          r._css1,
          r._cscp};
}

/// Whole records and parts of one set of rows, next to what plain loops make of them.
template <class VariableRecord, class PairRecord, class Count>
struct Part {
  VariableRecord variable;
  PairRecord pair;
  plain::Record plainVariable;
  plain::Record plainPair;

  Part() = default;
  Part(const Rows& rows, WorkArea& work) {
    const double* weights = OrNull(rows.hasWeights, rows.weights);
    const double* regWeights = OrNull(rows.hasRegWeights, rows.regWeights);
    const auto n = static_cast<Count>(rows.count);
    // Init overwrites whatever the records held.
    variable._nRows = pair._nRows = 3;
    variable._mean = pair._cscp = 17;
    variable.Init(rows.columns[0].data(), weights, regWeights, work, n);
    pair.Init(rows.columns[0].data(), rows.columns[1].data(), weights, regWeights, work, n);
    plainVariable = plain::Reduce(rows, {0}, work._missing);
    plainPair = plain::Reduce(rows, {0, 1}, work._missing);
  }

  void Merge(const Part& other) {
    variable.Update(other.variable);
    pair.Update(other.pair);
    plainVariable.Merge(other.plainVariable);
    plainPair.Merge(other.plainPair);
  }

  void ExpectSame() const {
    const std::vector<double> values = Values(variable);
    ASSERT_TRUE(SameBits(values, plainVariable.Variable(values.size() == 7)));
    ASSERT_TRUE(SameBits(PairValues(pair), plainPair.Pair()));
  }
};

using MatrixPart = Part<vexa::VarStatsData, vexa::PairStatsData, unsigned int>;
using BlockPart = Part<vexa::VarStatData, vexa::PairStatData, int>;

template <class Family>
class Records : public testing::Test {};
using Families = testing::Types<MatrixPart, BlockPart>;
TYPED_TEST_SUITE(Records, Families);

TYPED_TEST(Records, BatchesAndMergeTreesEqualPlainLoops) {
  WorkArea work;
  for (unsigned int seed = 0; seed < 600; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const RowsSpec spec = TwoColumns(random);
    work._missing = spec.missingCode;
    const Rows rows = MakeRows(random, spec);
    // Running totals start empty and take every part by the formula; the whole is there for rows without parts.
    std::vector<TypeParam> parts = {TypeParam(), TypeParam(rows, work)};
    std::size_t first = 0;
    for (const std::size_t size : RandomSplit(random, rows.count)) {
      parts.emplace_back(rows.Slice(first, size), work);
      first += size;
    }
    for (const TypeParam& part : parts) part.ExpectSame();
    for (; parts.size() > 1; parts.pop_back()) {
      const std::size_t left = std::uniform_int_distribution<std::size_t>(0, parts.size() - 2)(random);
      parts[left].Merge(parts.back());
      parts[left].ExpectSame();
      // A record merged with itself is read before it is written.
      if (seed % 4 == 0) parts[left].Merge(parts[left]);
      parts[left].ExpectSame();
    }
  }
}

TYPED_TEST(Records, OnlyTheCountTellsWhetherARecordIsEmpty) {
  WorkArea work;
  work._missing = 9;
  Rows rows;
  rows.columns = {{1, 2, 9, 4}, {3, 9, 5, 8}};
  rows.count = 4;
  const TypeParam some(rows, work);
  TypeParam merged = some;
  TypeParam none = some;
  none.variable._nRows = none.pair._nRows = 0;
  none.plainVariable = none.plainPair = plain::Record();
  merged.Merge(none);
  merged.ExpectSame();
  // Opposite weights: the total is 0, A's mean stays and the sums are added.
  rows.hasWeights = true;
  rows.weights = {-1, -1, -1, -1};
  merged.Merge(TypeParam(rows, work));
  merged.ExpectSame();
  EXPECT_EQ(merged.variable._nRows, 6U);
  EXPECT_EQ(merged.variable._regWeightSum, 0.0);
  EXPECT_EQ(merged.variable._mean, some.variable._mean);
}

TEST(StatObjects, OfEqualExtremesAndWithNaNTheOtherRecordsAreTaken) {
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  WorkArea work;
  work._missing = 9;
  const auto of = [&](double value) {
    Rows rows;
    rows.columns = {{value}, {1}};
    rows.count = 1;
    return BlockPart(rows, work);
  };
  for (const double a : {0.0, -0.0, kNaN, 2.0}) {
    for (const double b : {0.0, -0.0, kNaN, 2.0}) {
      SCOPED_TRACE(testing::Message() << a << " and " << b);
      BlockPart merged = of(a);
      merged.Merge(of(b));
      merged.ExpectSame();
    }
  }
}

TEST(StatObjects, HandlesOwnTheirRecordsAndCopiesAreIndependent) {
  WorkArea work;
  work._missing = -1;
  const double x[] = {1, -1, 4, 2};
  const double y[] = {2, 3, -1, 8};
  const double w[] = {1, 1, 2, 3};
  vexa::VarStat variable;
  EXPECT_TRUE(SameBits(Values(*variable.Data()), {0, 0, 0, 0, 0, vexa::maxvalue, vexa::minvalue}));
  variable.Init(x, w, nullptr, work, 4);
  EXPECT_TRUE(SameBits({static_cast<double>(variable.NRows()), variable.WeightSum(), variable.RegWeightSum(),
                        variable.Mean(), variable.CSS(), variable.Min(), variable.Max()},
                       plain::Record{3, 6, 6, {2.5}, {7.5}, 0, 1, 4}.Variable(true)));
  const std::unique_ptr<vexa::VarStat> copy(variable.Copy());
  const std::vector<double> before = Values(*copy->Data());
  vexa::VarStat owner(new vexa::VarStatData(*variable.Data()));
  variable.Update(owner);
  EXPECT_EQ(variable.NRows(), 6);
  EXPECT_TRUE(SameBits(Values(*copy->Data()), before));

  vexa::PairStat pair;
  pair.Init(x, y, w, nullptr, work, 4);
  const std::vector<double> values = {static_cast<double>(pair.NRows()),
                                      pair.WeightSum(),
                                      pair.RegWeightSum(),
                                      pair.Mean0(),
                                      pair.Mean1(),
                                      pair.CSS0(),
                                      pair.CSS1(),
                                      pair.CSCP()};
  EXPECT_TRUE(SameBits(values, {2, 4, 4, 1.75, 6.5, 0.75, 27, 4.5}));
  const std::unique_ptr<vexa::PairStat> pairCopy(pair.Copy());
  vexa::PairStat pairOwner(new vexa::PairStatData(*pair.Data()));
  pair.Update(pairOwner);
  EXPECT_EQ(pair.NRows(), 4);
  EXPECT_TRUE(SameBits(PairValues(*pairCopy->Data()), values));
}

}  // namespace
