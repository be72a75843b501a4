#include <gtest/gtest.h>

#include "support/bits.h"
#include "support/plain.h"
#include "support/rows.h"
#include "support/steps.h"

namespace {

using vexa::DiscIndividualMatrix;
using vexa::DiscriminantMatrix;

/// What both matrices have in common as plain loops: sums that merge by addition.
struct PlainSums {
  int groups;
  int vars;
  double weightSum = 0.0;
  double rows = 0.0;
  plain::Column sums = {};

  void Merge(const PlainSums& b) {
    if (b.rows == 0.0) return;
    if (rows == 0.0) {
      *this = b;
      return;
    }
    if (b.weightSum == 0.0) return;
    for (std::size_t k = 0; k < sums.size(); ++k) sums[k] = sums[k] + b.sums[k];
    weightSum = weightSum + b.weightSum;
    rows += b.rows;
  }

  plain::Column Values(bool all) const {
    plain::Column values = {weightSum, rows, static_cast<double>(groups), static_cast<double>(vars)};
    if (all) values.insert(values.end(), sums.begin(), sums.end());
    return values;
  }
  plain::Column Statistics() const { return Values(weightSum > 0.0); }
};

double Weight(const Rows& rows, std::size_t row) { return rows.hasWeights ? rows.weights[row] : 1.0; }

/// Adds term(row) of the rows of one group.
template <class Term>
double GroupSum(const Rows& rows, unsigned int group, Term term) {
  double sum = 0.0;
  for (std::size_t row = 0; row < rows.count; ++row) {
    if (rows.groups[row] == group) sum += term(row);
  }
  return sum;
}

/// The sums of DiscriminantMatrix, in the order of Statistics.
PlainSums OverGroups(const Rows& rows, int groups) {
  PlainSums result{groups, static_cast<int>(rows.columns.size())};
  if (rows.count == 0) return result;
  result.rows = static_cast<double>(rows.count);
  result.weightSum = rows.hasWeights ? plain::Sum(rows.weights) : result.rows;
  const auto groupCount = static_cast<unsigned int>(groups);
  for (unsigned int group = 0; group < groupCount; ++group) {
    result.sums.push_back(GroupSum(rows, group, [&](std::size_t row) { return Weight(rows, row); }));
  }
  for (std::size_t var = 0; var < rows.columns.size(); ++var) {
    const plain::Column& x = rows.columns[var];
    for (unsigned int group = 0; group < groupCount; ++group) {
      result.sums.push_back(
          GroupSum(rows, group, [&](std::size_t row) { return x[row] * Weight(rows, row); }));
      result.sums.push_back(
          GroupSum(rows, group, [&](std::size_t row) { return (x[row] * Weight(rows, row)) * x[row]; }));
    }
    for (std::size_t col = 0; col < var; ++col) {
      result.sums.push_back(plain::CrossProduct(x, rows.columns[col], rows.weights));
    }
  }
  return result;
}

/// The cells of DiscIndividualMatrix, in the order of their storage: the groups of one cell side by side.
PlainSums EachGroup(const Rows& rows, int groups) {
  const std::size_t vars = rows.columns.size();
  PlainSums result{groups, static_cast<int>(vars)};
  if (rows.count == 0) return result;
  result.rows = static_cast<double>(rows.count);
  const auto at = [&](std::size_t var, std::size_t row) {
    return var == vars ? 1.0 : rows.columns[var][row];
  };
  for (std::size_t r = 0; r <= vars; ++r) {
    for (std::size_t c = 0; c <= r; ++c) {
      for (unsigned int group = 0; group < static_cast<unsigned int>(groups); ++group) {
        result.sums.push_back(GroupSum(
            rows, group, [&](std::size_t row) { return (Weight(rows, row) * at(r, row)) * at(c, row); }));
      }
    }
  }
  // The total is formed over the sorted rows.
  for (unsigned int group = 0; group < static_cast<unsigned int>(groups); ++group) {
    for (std::size_t row = 0; row < rows.count; ++row) {
      if (rows.groups[row] == group) result.weightSum += Weight(rows, row);
    }
  }
  return result;
}

std::vector<double> Contents(vexa::DataBatchByGroup& batch) {
  std::vector<double> contents;
  for (unsigned int col = 0; col < batch.NColumns(); ++col) {
    contents.insert(contents.end(), batch.Column(col), batch.Column(col) + batch.NRows());
  }
  if (batch.HasWeights()) contents.insert(contents.end(), batch.Weights(), batch.Weights() + batch.NRows());
  return contents;
}

/// Both matrices only read their batches, so what these hold afterwards is what they held before.
struct Subject {
  using Plain = PlainSums;
  int groups;
  int vars;
  PlainSums PlainEmpty() const { return {groups, vars}; }
  static PlainSums PlainOther() { return {0, 0}; }
};

struct OverGroupsSubject : Subject {
  using Accumulator = DiscriminantMatrix;
  auto Make() const { return std::make_unique<DiscriminantMatrix>(groups, vars); }
  static auto MakeOther() { return std::make_unique<DiscriminantMatrix>(); }
  PlainSums Part(const Rows& rows) const { return OverGroups(rows, groups); }
  static plain::Column Left(const Rows& rows) { return ::Contents(*FilledBatch(rows)); }
  static plain::Column Add(DiscriminantMatrix& matrix, const Rows& rows) {
    FilledBatch batch(rows, 3);
    matrix += *batch;
    return ::Contents(*batch);
  }
};

struct EachGroupSubject : Subject {
  using Accumulator = DiscIndividualMatrix;
  auto Make() const { return std::make_unique<DiscIndividualMatrix>(groups, vars); }
  static auto MakeOther() { return std::make_unique<DiscIndividualMatrix>(); }
  PlainSums Part(const Rows& rows) const { return EachGroup(rows, groups); }
  plain::Column Left(const Rows& rows) const {
    return Contents(*FilledGroupedBatch(rows, static_cast<unsigned int>(groups)));
  }
  plain::Column Add(DiscIndividualMatrix& matrix, const Rows& rows) const {
    FilledGroupedBatch batch(rows, static_cast<unsigned int>(groups), 3);
    matrix += *batch;
    return Contents(*batch);
  }
};

Rows GroupedRows(Random& random, std::size_t maxRows, std::size_t maxColumns, unsigned int groups) {
  RowsSpec spec = RandomSpec(random, maxRows, maxColumns);
  spec.groups = groups;
  return MakeRows(random, spec);
}

/// Every cell of a state in the order of its storage, so that a weight total of 0 or NaN hides nothing.
plain::Column Values(const DiscIndividualMatrix::Data& data) {
  PlainSums fields{data._nGroup, data._nVar, data._weightSum, static_cast<double>(data._nRows)};
  const std::ptrdiff_t cells = (data._nVar + 1) * (data._nVar + 2) / 2 * data._nGroup;
  if (data._TSSP) fields.sums.assign(data._TSSP, data._TSSP + cells);
  return fields.Values(true);
}

plain::Column Values(const DiscriminantMatrix::Data& data) {
  PlainSums fields{data._nGroup, data._nVar, data._weightSum, static_cast<double>(data._nRows)};
  fields.sums = data._sumW;
  const double* tssp = data._TSSP;
  for (int var = 0; tssp && var < data._nVar; ++var) {
    for (int group = 0; group < data._nGroup; ++group) {
      fields.sums.push_back(data._sumX1[var * data._nGroup + group]);
      fields.sums.push_back(data._sumX2[var * data._nGroup + group]);
    }
    for (int col = 0; col < var; ++col) fields.sums.push_back(*tssp++);
  }
  return fields.Values(true);
}

TEST(Discriminant, OneBatchEqualsPlainLoops) {
  for (unsigned int seed = 0; seed < 240; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const unsigned int groups = 1 + seed % 12;
    const Rows rows = GroupedRows(random, 600, seed % 4 == 0 ? 70 : 20, groups);
    const auto vars = static_cast<int>(rows.columns.size());
    FilledBatch batch(rows, seed % 3 * 5);
    DiscriminantMatrix::Data over(static_cast<int>(groups), vars);
    over.Init(*batch);
    ASSERT_TRUE(SameBits(Values(over), OverGroups(rows, static_cast<int>(groups)).Values(true)));
    FilledGroupedBatch grouped(rows, groups, seed % 3 * 5);
    DiscIndividualMatrix::Data each(static_cast<int>(groups), vars);
    each.Init(*grouped);
    ASSERT_TRUE(SameBits(Values(each), EachGroup(rows, static_cast<int>(groups)).Values(true)));
  }
}

TEST(Discriminant, SplitsAndMergesEqualPlainLoops) {
  for (unsigned int seed = 0; seed < 240; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const unsigned int groups = 1 + seed % 12;
    const Rows rows = GroupedRows(random, 200, 12, groups);
    const Subject shape{static_cast<int>(groups), static_cast<int>(rows.columns.size())};
    ASSERT_NO_FATAL_FAILURE(ExpectStepsEqualPlainLoops(random, rows, OverGroupsSubject{shape}));
    ASSERT_NO_FATAL_FAILURE(ExpectStepsEqualPlainLoops(random, rows, EachGroupSubject{shape}));
  }
}

// A batch may know of fewer groups than the matrix: those it does not name keep their zeros.
TEST(Discriminant, KnownValuesInStorageOrder) {
  const Rows rows{{{2, 3, 4}}, {}, {}, {0, 1, 0}, false, false, 3};
  DiscIndividualMatrix::Data each(2, 1);
  each.Init(*FilledGroupedBatch(rows, 2));
  EXPECT_TRUE(SameBits({each._TSSP, each._TSSP + 6}, {20, 9, 6, 3, 2, 1}));
  DiscIndividualMatrix more(3, 1);
  more += *FilledGroupedBatch(rows, 2);
  EXPECT_EQ(more.TSSP(1, 0, 0), 6.0);
  EXPECT_EQ(more.TSSP(1, 1, 1), 1.0);
  EXPECT_EQ(more.TSSP(2, 2), 0.0);
  EXPECT_EQ(more.WeightSum(), 3.0);

  DiscriminantMatrix over(2, 1);
  over += *FilledBatch(rows);
  EXPECT_TRUE(SameBits(Statistics(over), {3, 3, 2, 1, 2, 1, 6, 20, 3, 9}));
}

}  // namespace
