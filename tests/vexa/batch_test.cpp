#include <gtest/gtest.h>

#include <algorithm>

#include "support/bits.h"
#include "support/rows.h"
#include "support/statistics.h"
#include "vexa/databatch.h"
#include "vexa/databatchbygroup.h"
#include "vexa/matrixlistwise.h"

namespace {

TEST(Batch, SizeOfARow) {
  for (const auto size : {vexa::DataBatch::RowSize, vexa::DataBatchByGroup::RowSize}) {
    EXPECT_EQ(size(3, true, false, true), 36U);
    EXPECT_EQ(size(0xffffffffU, true, false, false), std::uint64_t{8} << 32);
  }
}

TEST(Batch, RecommendedCapacityAvoidsCacheConflictsAndFits) {
  for (const std::uint64_t cache : {0ULL, 1ULL << 15, 1ULL << 20, 48ULL << 20, 1ULL << 40}) {
    for (std::uint64_t columns = 1; columns < 1ULL << 31; columns = columns * 3 + 1) {
      const std::uint64_t rowSize =
          vexa::DataBatch::RowSize(static_cast<unsigned int>(columns), true, true, false);
      const std::uint64_t rows = vexa::RecommendedRows(cache, rowSize);
      ASSERT_GT(rows, 0U);
      ASSERT_NE(rows * sizeof(double) % 4096, 0U) << columns << " columns, cache " << cache;
      ASSERT_LT((columns + 1ULL) * rows, 1ULL << 32);
      if (rows > 8) {
        ASSERT_LE(rows * rowSize, cache / 2);
      }
    }
  }
}

/// Of up to 20 columns, where every number may have a way of its own, or of more.
unsigned int RandomWidth(Random& random, unsigned int seed) {
  return 1 + (seed % 2 ? seed / 2 % 20 : static_cast<unsigned int>(random() % 140));
}

TEST(Batch, TakesRowsInBulkAsOneByOne) {
  for (unsigned int seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const unsigned int columns = RandomWidth(random, seed);
    const std::size_t stride = seed % 7 == 0 ? 0 : columns + random() % 3;
    const std::vector<std::size_t> parts = RandomSplit(random, 1 + random() % 100);
    std::vector<double> values(101 * stride + columns);
    for (double& value : values) value = static_cast<double>(random());
    double weight = 0;
    double regWeight = 0;
    unsigned int group = 0;
    unsigned int largest = 0;
    const auto make = [&] {
      return vexa::DataBatch(columns, 100, seed % 2 ? &weight : nullptr, seed % 3 ? &regWeight : nullptr,
                             seed % 5 ? &group : nullptr);
    };
    vexa::DataBatch single = make();
    vexa::DataBatch bulk = make();
    vexa::DataBatch both = make();
    vexa::DataBatch watched = make();
    const double* const last = watched.Column(columns - 1);
    const double* row = values.data();
    for (const std::size_t part : parts) {
      weight = static_cast<double>(random());
      regWeight = static_cast<double>(random());
      group = static_cast<unsigned int>(random());
      if (part > 0 && seed % 5) largest = std::max(largest, group);
      bulk.AddRows(row, static_cast<unsigned int>(part), stride);
      const bool inBulk = random() % 2 == 0;
      if (inBulk) both.AddRows(row, static_cast<unsigned int>(part), stride);
      for (std::size_t k = 0; k < part; ++k, row += stride) {
        const std::vector<double> passing(row, row + columns);
        single.AddRow(passing.data());
        if (!inBulk) both.AddRow(passing.data());
        watched.AddRow(passing.data());
        ASSERT_EQ(last[watched.NRows() - 1], passing.back());
      }
    }
    const std::vector<double> contents = Contents(watched);
    for (vexa::DataBatch* batch : {&single, &bulk, &both}) ASSERT_TRUE(SameBits(Contents(*batch), contents));
    ASSERT_EQ(bulk.MaxGroupSeen(), largest);
    ASSERT_EQ(single.MaxGroupSeen(), largest);
    if (seed % 5) {
      ASSERT_TRUE(std::equal(bulk.Groups(), bulk.Groups() + bulk.NRows(), single.Groups()));
    }
    bulk.Clear();
    ASSERT_EQ(bulk.NRows() + bulk.MaxGroupSeen(), 0U);
  }
}

// An accumulator takes all rows so far and changes some of them; rows that come later change none of these.
TEST(Batch, MayBeTakenBetweenAnyTwoRows) {
  for (unsigned int seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const unsigned int columns = RandomWidth(random, seed);
    double weight = 1;
    const double* const weights = seed % 3 ? nullptr : &weight;
    vexa::DataBatch batch(columns, 100, weights, nullptr, nullptr);
    vexa::DataBatch watched(columns, 100, weights, nullptr, nullptr);
    watched.Column(0);
    vexa::MatrixListwise sums;
    vexa::MatrixListwise expected;
    std::vector<double> row(columns);
    for (int step = 0; step < 12; ++step) {
      for (std::size_t rows = random() % 20; rows > 0 && batch.NRows() < batch.MaxRows(); --rows) {
        weight = static_cast<double>(random() % 5);
        for (double& value : row) value = static_cast<double>(random() % 1000);
        batch.AddRow(row.data());
        watched.AddRow(row.data());
      }
      sums += batch;
      expected += watched;
      ASSERT_TRUE(SameBits(Statistics(sums), Statistics(expected)));
      if (random() % 4 == 0) {
        batch.Clear();
        watched.Clear();
      }
    }
    ASSERT_TRUE(SameBits(Contents(batch), Contents(watched)));
  }
}

/// Columns and weights as the grouped batch shows them and as the rows, group by group in the order added, have them.
void ExpectSorted(vexa::DataBatchByGroup& batch, const Rows& rows) {
  std::vector<std::size_t> order;
  for (unsigned int group = 0; group < batch.MaxGroup(); ++group) {
    const std::size_t before = order.size();
    for (std::size_t row = 0; row < rows.count; ++row)
      if (rows.groups[row] == group) order.push_back(row);
    ASSERT_EQ(batch.groupCount(group), order.size() - before);
  }
  const auto check = [&](const double* sorted, const std::vector<double>& added) {
    std::vector<double> expected(order.size());
    std::transform(order.begin(), order.end(), expected.begin(), [&](std::size_t row) { return added[row]; });
    ASSERT_TRUE(SameBits({sorted, sorted + expected.size()}, expected));
  };
  ASSERT_EQ(batch.NRows(), rows.count);
  for (unsigned int col = 0; col < batch.NColumns(); ++col) check(batch.Column(col), rows.columns[col]);
  ASSERT_EQ(batch.HasWeights(), rows.hasWeights);
  ASSERT_EQ(batch.Weights() != nullptr, rows.hasWeights);
  if (rows.hasWeights) check(batch.Weights(), rows.weights);
}

TEST(GroupedBatch, SortsStablyBeforeAndAfterFurtherRows) {
  for (unsigned int seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    RowsSpec spec = RandomSpec(random, 600, 40);
    spec.groups = 1 + seed % 12;
    spec.rows = std::max<std::size_t>(spec.rows, 1);
    const Rows rows = MakeRows(random, spec);
    const std::size_t half = 1 + rows.count / 2;
    FilledGroupedBatch batch(rows.Slice(0, half), spec.groups, 600);
    ASSERT_NO_FATAL_FAILURE(ExpectSorted(*batch, rows.Slice(0, half)));
    batch.Append(rows.Slice(half, rows.count - half));
    ASSERT_NO_FATAL_FAILURE(ExpectSorted(*batch, rows));
    batch->SortByGroup();
    ASSERT_NO_FATAL_FAILURE(ExpectSorted(*batch, rows));
    batch->Clear();
    ASSERT_NO_FATAL_FAILURE(ExpectSorted(*batch, rows.Slice(0, 0)));
    batch.Append(rows);
    ASSERT_NO_FATAL_FAILURE(ExpectSorted(*batch, rows));
  }
  const unsigned int group = 0;
  vexa::DataBatchByGroup none(2, 4, nullptr, nullptr, &group, 0);
  none.SortByGroup();
  EXPECT_EQ(none.NRows(), 0U);
}

}  // namespace
