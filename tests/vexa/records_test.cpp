#include <gtest/gtest.h>

#include <memory>
#include <type_traits>
#include <utility>

#include "support/bits.h"
#include "support/plainpairwise.h"
#include "support/rows.h"
#include "support/statistics.h"
#include "vexa/matrixpairwise.h"
#include "vexa/smatrixpairwise.h"
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

template <class Record>
class Records : public testing::Test {};
using AllRecords =
    testing::Types<vexa::VarStatsData, vexa::VarStatData, vexa::PairStatsData, vexa::PairStatData>;
TYPED_TEST_SUITE(Records, AllRecords);

// What the matrices make of their records is compared with theirs; here the records stand alone.
TYPED_TEST(Records, EqualPlainLoops) {
  constexpr bool kOfPair = requires(TypeParam record) { record._cscp; };
  constexpr bool kExtremes = requires(TypeParam record) { record._min; };
  const std::vector<std::size_t> columns =
      kOfPair ? std::vector<std::size_t>{0, 1} : std::vector<std::size_t>{0};
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
    const Rows parts[] = {rows.Slice(0, half), rows.Slice(half, rows.count - half)};
    TypeParam records[2];
    plain::Record plains[2];
    const auto expectSame = [&] {
      const auto expected = kOfPair ? plains[0].Pair() : plains[0].Variable(kExtremes);
      ASSERT_TRUE(SameBits(Values(records[0]), expected));
    };
    for (const int k : {1, 0}) {
      const double* weights = OrNull(rows.hasWeights, parts[k].weights);
      const double* regWeights = OrNull(rows.hasRegWeights, parts[k].regWeights);
      const double* x = parts[k].columns[0].data();
      const int n = static_cast<int>(parts[k].count);
      records[k]._nRows = 3;  // Init overwrites whatever there was
      if constexpr (kOfPair) {
        records[k].Init(x, parts[k].columns[1].data(), weights, regWeights, work, n);
      } else {
        records[k].Init(x, weights, regWeights, work, n);
      }
      plains[k] = plain::Reduce(parts[k], columns, work._missing);
    }
    ASSERT_NO_FATAL_FAILURE(expectSame());
    // The second part, the record itself, and one that is empty, as its count alone tells.
    for (const int source : {1, 0, 1}) {
      records[0].Update(records[source]);
      plains[0].Merge(plains[source]);
      ASSERT_NO_FATAL_FAILURE(expectSame());
      records[1]._nRows = 0;
      plains[1].rows = 0;
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

  // One of a block's own is deleted as any other, and the block deletes any other as its own.
  vexa::SMatrixPairwise::Data block(-1, 0, 0);
  block.Init(*FilledBatch({.columns = {{1, 2}, {3, 5}}, .count = 2}));
  const auto exchange = [](auto*& handle) { delete std::exchange(handle, handle->Copy()); };
  exchange(block._varStats[1]);
  exchange(block._xp[0]);
  EXPECT_EQ(block._varStats[1]->CSS(), 2 * block._xp[0]->CSCP());
}

}  // namespace
