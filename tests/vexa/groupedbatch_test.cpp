#include <gtest/gtest.h>

#include "support/bits.h"
#include "support/rows.h"
#include "vexa/databatchbygroup.h"

namespace {

/// What the rows of one group hold, in the order added.
std::vector<double> OfGroup(const std::vector<double>& values, const Rows& rows, unsigned int group) {
  std::vector<double> chosen;
  for (std::size_t row = 0; row < rows.count; ++row) {
    if (rows.groups[row] == group) chosen.push_back(values[row]);
  }
  return chosen;
}

/// Column after column and then the weights, as the batch shows them and as they should be.
void ExpectSorted(vexa::DataBatchByGroup& batch, const Rows& rows) {
  const auto check = [&](const double* sorted, const std::vector<double>& added) {
    for (unsigned int group = 0; group < batch.MaxGroup(); ++group) {
      const std::vector<double> expected = OfGroup(added, rows, group);
      ASSERT_EQ(batch.groupCount(group), expected.size());
      ASSERT_TRUE(SameBits({sorted, sorted + expected.size()}, expected));
      sorted += expected.size();
    }
  };
  ASSERT_EQ(batch.NRows(), rows.count);
  for (unsigned int col = 0; col < batch.NColumns(); ++col) check(batch.Column(col), rows.columns[col]);
  ASSERT_EQ(batch.HasWeights(), rows.hasWeights);
  if (rows.hasWeights) {
    check(batch.Weights(), rows.weights);
  } else {
    ASSERT_EQ(batch.Weights(), nullptr);
  }
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
}

TEST(GroupedBatch, NoGroupsSortToNothing) {
  const unsigned int group = 0;
  vexa::DataBatchByGroup batch(2, 4, nullptr, nullptr, &group, 0);
  batch.SortByGroup();
  EXPECT_EQ(batch.NRows(), 0U);
  EXPECT_EQ(vexa::DataBatchByGroup::RowSize(3, true, true, true), 44U);
  EXPECT_EQ(vexa::DataBatchByGroup::RowSize(3, true, false, true), 36U);
}

}  // namespace
