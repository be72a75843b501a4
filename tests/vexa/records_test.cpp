#include <gtest/gtest.h>

#include <memory>
#include <type_traits>

#include "support/bits.h"
#include "support/plainpairwise.h"
#include "support/rows.h"
#include "support/statistics.h"
#include "vexa/matrixpairwise.h"
#include "vexa/statobjects.h"

namespace {

using vexa::WorkArea;

const double* OrNull(bool has, const std::vector<double>& x) { return has ? x.data() : nullptr; }

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

// What the matrices make of their records is compared with theirs; here the records stand alone.
TYPED_TEST(Records, EqualPlainLoops) {
  WorkArea work;
  for (unsigned int seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    RowsSpec spec = RandomSpec(random, 40, 1);
    spec.columns = 2;
    AddMissing(random, spec);
    work._missing = spec.missingCode;
    const Rows rows = MakeRows(random, spec);
    const std::size_t half = rows.count / 2;
    TypeParam merged(rows.Slice(0, half), work);
    merged.ExpectSame();
    TypeParam part(rows.Slice(half, rows.count - half), work);
    merged.Merge(part);
    merged.ExpectSame();
    // A record merged with itself is read before it is written.
    merged.Merge(merged);
    merged.ExpectSame();
    // Only the count tells that a record is empty.
    part.variable._nRows = part.pair._nRows = 0;
    part.plainVariable.rows = part.plainPair.rows = 0;
    merged.Merge(part);
    merged.ExpectSame();
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
