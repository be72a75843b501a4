#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <type_traits>

#include "support/bits.h"
#include "support/plainpairwise.h"
#include "support/rows.h"
#include "support/statistics.h"
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
    const double* x = rows.columns[0].data();
    const double* y = rows.columns[1].data();
    const double* weights = OrNull(rows.hasWeights, rows.weights);
    const double* regWeights = OrNull(rows.hasRegWeights, rows.regWeights);
    const int n = static_cast<int>(rows.count);
    const auto expectKept = [&](const Rows& kept) {
      ASSERT_TRUE(SameBits(out._x0, kept.columns[0]));
      ASSERT_TRUE(SameBits(out._w, kept.weights));
      ASSERT_TRUE(SameBits(out._rw, kept.regWeights));
    };
    // What an earlier call left must not matter: the outputs are never cleared in between.
    vexa::CopyNonmissing(y, weights, regWeights, spec.missingCode, n, out._x0, out._w, out._rw);
    expectKept(plain::Present(rows, {1}, spec.missingCode));
    vexa::CopyCompletePairs(x, y, weights, regWeights, spec.missingCode, n, out._x0, out._x1, out._w,
                            out._rw);
    const Rows both = plain::Present(rows, {0, 1}, spec.missingCode);
    expectKept(both);
    ASSERT_TRUE(SameBits(out._x1, both.columns[1]));
  }
}

std::vector<double> Values(const auto& record) {
  std::vector<double> values;
  statistics::Add(values, record._nRows, record._weightSum, record._regWeightSum);
  if constexpr (requires { record._cscp; }) {
    statistics::Add(values, record._mean0, record._mean1, record._css0, record._css1, record._cscp);
  } else {
    statistics::Add(values, record._mean, record._css);
    if constexpr (requires { record._min; }) statistics::Add(values, record._min, record._max);
  }
  return values;
}

/// Records of one set of rows, next to what plain loops make of them.
template <class VariableRecord, class PairRecord>
struct Part {
  VariableRecord variable;
  PairRecord pair;
  plain::Record plainVariable;
  plain::Record plainPair;

  Part() = default;
  Part(const Rows& rows, WorkArea& work) {
    const double* weights = OrNull(rows.hasWeights, rows.weights);
    const double* regWeights = OrNull(rows.hasRegWeights, rows.regWeights);
    const int n = static_cast<int>(rows.count);
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
    constexpr bool kExtremes = std::is_same_v<VariableRecord, vexa::VarStatData>;
    ASSERT_TRUE(SameBits(Values(variable), plainVariable.Variable(kExtremes)));
    ASSERT_TRUE(SameBits(Values(pair), plainPair.Pair()));
  }
};

template <class Family>
class Records : public testing::Test {};
using Families = testing::Types<Part<vexa::VarStatsData, vexa::PairStatsData>,
                                Part<vexa::VarStatData, vexa::PairStatData>>;
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
    // Only the count tells that a record is empty.
    parts.push_back(parts[1]);
    parts.back().variable._nRows = parts.back().pair._nRows = 0;
    parts.back().plainVariable.rows = parts.back().plainPair.rows = 0;
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

// Weights that cancel, extremes that tie, NaN.
TYPED_TEST(Records, MergesOfSingleRowsEqualPlainLoops) {
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  WorkArea work;
  work._missing = 9;
  const auto of = [&](double value, double weight) {
    return TypeParam(Rows{{{value}, {1}}, {weight}, {}, {}, true, false, 1}, work);
  };
  for (const double a : {0.0, -0.0, kNaN, 2.0, 9.0}) {
    for (const double b : {0.0, -0.0, kNaN, 2.0, 9.0}) {
      for (const double weight : {1.0, -1.0}) {
        SCOPED_TRACE(testing::Message() << a << " and " << b << " of weight " << weight);
        TypeParam merged = of(a, 1.0);
        merged.Merge(of(b, weight));
        merged.ExpectSame();
      }
    }
  }
}

TEST(StatObjects, HandlesOwnTheirRecordsAndCopiesAreIndependent) {
  WorkArea work;
  work._missing = -1;
  const double x[] = {1, -1, 4, 2};
  const double y[] = {2, 3, -1, 8};
  const auto check = [](auto& handle) {
    const std::vector<double> before = Values(*handle.Data());
    const std::unique_ptr<std::remove_reference_t<decltype(handle)>> copy(handle.Copy());
    handle.Update(*copy);
    EXPECT_EQ(handle.NRows(), 2 * copy->NRows());
    EXPECT_TRUE(SameBits(Values(*copy->Data()), before));
  };
  vexa::VarStat variable(new vexa::VarStatData);
  variable.Init(x, nullptr, nullptr, work, 4);
  check(variable);
  vexa::PairStat pair(new vexa::PairStatData);
  pair.Init(x, y, nullptr, nullptr, work, 4);
  check(pair);
}

}  // namespace
