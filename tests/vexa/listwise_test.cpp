#include <gtest/gtest.h>

#include <deque>

#include "support/bits.h"
#include "support/plain.h"
#include "support/rows.h"
#include "vexa/matrixlistwise.h"

namespace {

/// MatrixListwise as plain loops over the rows of one batch, and over two partial results.
struct PlainListwise {
  double weightSum = 0.0;
  double regWeightSum = 0.0;
  std::uint64_t rows = 0;
  bool hasData = false;
  std::vector<double> means;
  std::vector<double> cells;

  static PlainListwise Reduce(Rows& rows) {
    PlainListwise result;
    result.rows = rows.count;
    if (rows.count == 0) return result;
    result.hasData = true;
    result.weightSum = rows.hasWeights ? plain::Sum(rows.weights) : static_cast<double>(rows.count);
    const plain::Column weights = plain::Combined(rows.weights, rows.regWeights);
    if (rows.hasWeights) rows.weights = weights;
    result.regWeightSum = rows.hasRegWeights ? plain::Sum(weights) : result.weightSum;
    for (auto& column : rows.columns) {
      result.means.push_back(plain::Mean(column, weights, result.regWeightSum));
      column = plain::Centred(column, result.means.back());
    }
    for (std::size_t row = 0; row < rows.columns.size(); ++row) {
      for (std::size_t col = 0; col <= row; ++col) {
        result.cells.push_back(plain::CrossProduct(rows.columns[row], rows.columns[col], weights));
      }
    }
    return result;
  }

  void Merge(const PlainListwise& b) {
    if (b.rows == 0) return;
    if (!hasData) {
      *this = b;
      return;
    }
    if (b.weightSum == 0.0) return;
    const double total = regWeightSum + b.regWeightSum;
    std::vector<double> merged(means.size());
    std::size_t cell = 0;
    for (std::size_t i = 0; i < means.size(); ++i) {
      const double delta = total == 0.0 ? 0.0 : ((b.means[i] - means[i]) * b.regWeightSum) / total;
      merged[i] = means[i] + delta;
      for (std::size_t j = 0; j <= i; ++j, ++cell) {
        double sum = (merged[j] - means[j]) * (delta * regWeightSum);
        sum = sum + b.cells[cell];
        sum = sum + (merged[j] - b.means[j]) * ((merged[i] - b.means[i]) * b.regWeightSum);
        cells[cell] = sum + cells[cell];
      }
    }
    means = merged;
    rows += b.rows;
    weightSum = weightSum + b.weightSum;
    regWeightSum = total;
  }

  std::vector<double> Values() const {
    std::vector<double> values = {weightSum, regWeightSum, static_cast<double>(rows)};
    values.insert(values.end(), means.begin(), means.end());
    values.insert(values.end(), cells.begin(), cells.end());
    return values;
  }
};

/// Every field of a state, so that a weight total of 0 or NaN hides nothing.
std::vector<double> Values(const vexa::MatrixListwise::Data& data) {
  const std::size_t cells = data._means.size() * (data._means.size() + 1) / 2;
  std::vector<double> values = {data._weightSum, data._regWeightSum, static_cast<double>(data._nRows)};
  values.insert(values.end(), data._means.begin(), data._means.end());
  if (data._xp) values.insert(values.end(), data._xp, data._xp + cells);
  return values;
}

TEST(Listwise, OneBatchEqualsPlainLoops) {
  for (unsigned int seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    Rows rows = MakeRows(random, RandomSpec(random, 600, 70));
    FilledBatch batch(rows, seed % 3 * 5);
    vexa::MatrixListwise::Data data;
    data.Init(*batch);
    ASSERT_TRUE(SameBits(Values(data), PlainListwise::Reduce(rows).Values()));
    Rows after = rows;
    FilledBatch expected(after);
    ASSERT_TRUE(SameBits(Contents(*batch), Contents(*expected)));
  }
}

// Any split of the rows into batches and any order of merging: the same fold over plain parts gives the same
// bits.
TEST(Listwise, SplitsAndMergeTreesEqualPlainLoops) {
  for (unsigned int seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const Rows rows = MakeRows(random, RandomSpec(random, 200, 24));
    std::deque<vexa::MatrixListwise::Data> parts;
    std::vector<PlainListwise> plainParts;
    std::size_t first = 0;
    for (const std::size_t size : RandomSplit(random, rows.count)) {
      Rows part = rows.Slice(first, size);
      first += size;
      FilledBatch batch(part);
      if (!plainParts.empty() && seed % 2 == 0) {
        if (size == 0) continue;
        vexa::MatrixListwise::Data temporary;
        temporary.Init(*batch);
        if (parts.back()._xp) {
          parts.back().Update(temporary);
        } else {
          parts.back().Init(temporary);
        }
        plainParts.back().Merge(PlainListwise::Reduce(part));
      } else {
        parts.emplace_back().Init(*batch);
        plainParts.push_back(PlainListwise::Reduce(part));
      }
    }
    while (parts.size() > 1) {
      const std::size_t left = std::uniform_int_distribution<std::size_t>(0, parts.size() - 2)(random);
      const std::size_t right = left + 1;
      if (parts[right]._nRows != 0) {
        if (parts[left]._xp) {
          parts[left].Update(parts[right]);
        } else {
          parts[left].Init(parts[right]);
        }
      }
      plainParts[left].Merge(plainParts[right]);
      ASSERT_TRUE(SameBits(Values(parts[left]), plainParts[left].Values()));
      // The merged part leaves by a copy of its successors, which also exercises the deep copy.
      for (std::size_t k = right; k + 1 < parts.size(); ++k) parts[k].Init(parts[k + 1]);
      parts.pop_back();
      plainParts.erase(plainParts.begin() + static_cast<std::ptrdiff_t>(right));
    }
  }
}

TEST(Listwise, ABatchKeepsWhatTheHostVariablesHeldAtEachRow) {
  double weight = 1.5;
  double regWeight = 0.25;
  unsigned int group = 5;
  vexa::DataBatch batch(2, 3, &weight, &regWeight, &group);
  const double rows[][2] = {{1, 2}, {3, 4}, {5, 6}};
  batch.AddRow(rows[0]);
  weight = 2.5, regWeight = 0.5, group = 2;
  batch.AddRow(rows[1]);
  group = 9;
  batch.AddRow(rows[2]);
  EXPECT_TRUE(SameBits(Contents(batch), {1, 3, 5, 2, 4, 6, 1.5, 2.5, 2.5, 0.25, 0.5, 0.5}));
  EXPECT_EQ(batch.Groups()[1], 2U);
  EXPECT_EQ(batch.MaxGroupSeen(), 9U);
  EXPECT_EQ(batch.Column(1), batch.Column(0) + 3);

  batch.Clear();
  EXPECT_EQ(batch.NRows(), 0U);
  EXPECT_EQ(batch.MaxGroupSeen(), 0U);
  EXPECT_EQ(vexa::DataBatch::RowSize(3, true, true, true), 44U);
  EXPECT_EQ(vexa::DataBatch::RowSize(3, true, false, true), 36U);
  EXPECT_EQ(vexa::DataBatch::RowSize(0x20000000U, false, false, false), std::uint64_t{1} << 32);
}

TEST(Listwise, RecommendedCapacityAvoidsCacheConflictsAndFits) {
  for (const std::uint64_t cache : {0ULL, 1ULL << 15, 1ULL << 20, 48ULL << 20, 1ULL << 40}) {
    for (unsigned int columns = 1; columns < 200'000; columns = columns * 3 + 1) {
      const std::uint64_t rowSize = vexa::DataBatch::RowSize(columns, true, true, false);
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

}  // namespace
