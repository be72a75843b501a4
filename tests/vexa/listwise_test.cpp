#include <gtest/gtest.h>

#include <algorithm>

#include "support/bits.h"
#include "support/plain.h"
#include "support/rows.h"
#include "support/runs.h"
#include "support/statistics.h"
#include "support/steps.h"

namespace {

/// The listwise accumulators as plain loops.
struct PlainListwise {
  Runs runs;
  bool ofBlock;
  double weightSum = 0.0;
  double regWeightSum = 0.0;
  double rows = 0.0;
  bool hasRegWeights = false;
  plain::Column means = {};
  plain::Column squares = {};
  plain::Column mins = {};
  plain::Column maxs = {};
  plain::Column cells = {};

  /// Centres the columns in the runs and combines the weights, as the batch should be left.
  void Reduce(Rows& batch) {
    if (batch.count == 0) return;
    if (runs.col2 == 0) runs.col2 = static_cast<int>(batch.columns.size());
    rows = static_cast<double>(batch.count);
    hasRegWeights = batch.hasRegWeights;
    weightSum = batch.hasWeights ? plain::Sum(batch.weights) : rows;
    const plain::Column weights = plain::Combined(batch.weights, batch.regWeights);
    if (batch.hasWeights) batch.weights = weights;
    regWeightSum = hasRegWeights ? plain::Sum(weights) : weightSum;
    plain::Column* const x = batch.columns.data() + runs.col0;
    for (int col = 0; col < runs.col2 - runs.col0; ++col) {
      mins.push_back(plain::Min(x[col]));
      maxs.push_back(plain::Max(x[col]));
      means.push_back(plain::Mean(x[col], weights, regWeightSum));
      x[col] = plain::Centred(x[col], means.back());
      squares.push_back(plain::CrossProduct(x[col], x[col], weights));
    }
    for (const auto& [i, j] : runs.Pairs()) cells.push_back(plain::CrossProduct(x[i], x[j], weights));
  }

  void Merge(const PlainListwise& b) {
    if (b.rows == 0.0) return;
    if (rows == 0.0) {
      *this = b;
      return;
    }
    if (b.weightSum == 0.0) return;
    const double wA = regWeightSum;
    const double wB = b.regWeightSum;
    const double w = wB + wA;
    plain::Column delta;
    plain::Column m;
    for (std::size_t i = 0; i < means.size(); ++i) {
      if (b.maxs[i] > maxs[i]) maxs[i] = b.maxs[i];
      if (mins[i] > b.mins[i]) mins[i] = b.mins[i];
      delta.push_back(w == 0.0 ? 0.0 : ((b.means[i] - means[i]) * wB) / w);
      m.push_back(means[i] + delta[i]);
    }
    const auto pool = [&](std::size_t i, std::size_t j, double own, double other) {
      const double fromA = (m[j] - means[j]) * ((runs.areTwo ? m[i] - means[i] : delta[i]) * wA);
      const double fromB = (m[j] - b.means[j]) * ((m[i] - b.means[i]) * wB);
      return ((fromA + other) + fromB) + own;
    };
    for (std::size_t i = 0; i < m.size(); ++i) {
      const double fromB = m[i] - b.means[i];
      squares[i] = runs.areTwo
                       ? (((delta[i] * delta[i]) * wA + b.squares[i]) + (fromB * fromB) * wB) + squares[i]
                       : pool(i, i, squares[i], b.squares[i]);
    }
    std::size_t cell = 0;
    for (const auto& [i, j] : runs.Pairs()) {
      cells[cell] = pool(i, j, cells[cell], b.cells[cell]);
      ++cell;
    }
    means = m;
    weightSum = weightSum + b.weightSum;
    rows += b.rows;
    regWeightSum = w;
  }

  plain::Column Statistics() const {
    plain::Column values;
    statistics::Add(values, weightSum, regWeightSum, rows, hasRegWeights);
    if (ofBlock) {
      statistics::Add(values, runs.col0, runs.col1, runs.col2);
      values.insert(values.end(), maxs.begin(), maxs.end());
    }
    if (!(weightSum > 0.0)) return values;
    for (std::size_t col = 0; col < means.size(); ++col) {
      statistics::Add(values, means[col], squares[col]);
      if (ofBlock) statistics::Add(values, mins[col]);
    }
    values.insert(values.end(), cells.begin(), cells.end());
    return values;
  }
};

template <class Matrix>
struct Subject {
  using Accumulator = Matrix;
  using Plain = PlainListwise;

  Runs runs;

  auto Make() const { return MakeOver<Matrix>(runs); }
  static auto MakeOther() { return MakeOver<Matrix>(OtherRuns<Matrix>()); }
  Plain PlainEmpty() const { return {runs, kIsBlock<Matrix>}; }
  static Plain PlainOther() { return {OtherRuns<Matrix>(), kIsBlock<Matrix>}; }
  Plain Part(Rows& rows) const {
    Plain part = PlainEmpty();
    part.Reduce(rows);
    return part;
  }
  static FilledBatch Batch(const Rows& rows, unsigned int spare) { return FilledBatch(rows, spare); }
};

template <class Matrix>
class Listwise : public testing::Test {};
using Matrices = testing::Types<vexa::MatrixListwise, vexa::SMatrixListwise, vexa::NSMatrixListwise>;
TYPED_TEST_SUITE(Listwise, Matrices);

TYPED_TEST(Listwise, SplitsAndMergesEqualPlainLoops) {
  for (unsigned int seed = 0; seed < 500; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const bool large = seed % 5 == 0;
    RowsSpec spec = RandomSpec(random, large ? 600 : 200, large ? 70 : 24);
    spec.columns = std::max<std::size_t>(spec.columns, 2);
    // Often enough that NaN and zeros of both signs are extremes.
    spec.wild = spec.wild || spec.rows % 2 == 0;
    const Rows rows = MakeRows(random, spec);
    const Subject<TypeParam> subject{RandomRuns<TypeParam>(random, static_cast<int>(spec.columns), 1)};
    ASSERT_NO_FATAL_FAILURE(ExpectStepsEqualPlainLoops(random, rows, subject));
  }
}

// A block that found its run in its first batch keeps it, and a batch without rows is enough.
TEST(ListwiseBlocks, AllColumnsAreThoseOfTheFirstBatch) {
  Random random(1);
  RowsSpec spec;
  spec.rows = 20;
  spec.columns = 5;
  const Rows rows = MakeRows(random, spec);
  Rows narrow = rows;
  narrow.columns.resize(3);
  vexa::SMatrixListwise found;
  vexa::SMatrixListwise given(0, 3);
  for (vexa::SMatrixListwise* block : {&found, &given}) {
    *block += *FilledBatch(narrow);
    *block += *FilledBatch(rows);
  }
  EXPECT_EQ(found.NRows(), 40U);
  EXPECT_TRUE(SameBits(Statistics(found), Statistics(given)));
  vexa::SMatrixListwise::Data data(0, 0);
  data.Init(*FilledBatch(rows.Slice(0, 0)));
  EXPECT_EQ(data._col2, 5);
}

}  // namespace
