#include <gtest/gtest.h>

#include <algorithm>

#include "support/bits.h"
#include "support/plain.h"
#include "support/rows.h"
#include "support/steps.h"
#include "vexa/kernels.h"

namespace {

using vexa::NSMatrixListwise;
using vexa::SMatrixListwise;

/// Both listwise blocks as plain loops. Without a left run of its own, [col0, col1) being empty, it is the
/// symmetric block: the cells are the triangle over all columns and there are no squares.
struct PlainBlock {
  int col0;
  int col1;
  int col2;
  double weightSum = 0.0;
  double regWeightSum = 0.0;
  double rows = 0.0;
  bool hasRegWeights = false;
  plain::Column squares = {};
  plain::Column means = {};
  plain::Column mins = {};
  plain::Column maxs = {};
  plain::Column cells = {};

  bool Symmetric() const { return col0 == col1; }
  std::size_t Left() const { return static_cast<std::size_t>(col1 - col0); }

  /// Centres the columns in the runs and combines the weights, as the batch should be left.
  void Reduce(Rows& batch) {
    if (batch.count == 0) return;
    rows = static_cast<double>(batch.count);
    hasRegWeights = batch.hasRegWeights;
    weightSum = batch.hasWeights ? plain::Sum(batch.weights) : rows;
    const plain::Column weights = plain::Combined(batch.weights, batch.regWeights);
    if (batch.hasWeights) batch.weights = weights;
    regWeightSum = hasRegWeights ? plain::Sum(weights) : weightSum;
    std::vector<plain::Column> x;
    for (int col = col0; col < col2; ++col) {
      plain::Column& column = batch.columns[static_cast<std::size_t>(col)];
      mins.push_back(plain::Min(column));
      maxs.push_back(plain::Max(column));
      means.push_back(plain::Mean(column, weights, regWeightSum));
      column = plain::Centred(column, means.back());
      x.push_back(column);
      if (!Symmetric()) squares.push_back(plain::CrossProduct(column, column, weights));
    }
    const std::size_t last = Symmetric() ? x.size() : Left();
    for (std::size_t row = 0; row < last; ++row) {
      const std::size_t begin = Symmetric() ? 0 : Left();
      const std::size_t end = Symmetric() ? row + 1 : x.size();
      for (std::size_t col = begin; col < end; ++col) {
        cells.push_back(plain::CrossProduct(x[row], x[col], weights));
      }
    }
  }

  void Merge(const PlainBlock& b) {
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
      if (!Symmetric()) {
        const double fromA = (delta[i] * delta[i]) * wA;
        const double fromB = ((m[i] - b.means[i]) * (m[i] - b.means[i])) * wB;
        squares[i] = ((fromA + b.squares[i]) + fromB) + squares[i];
      }
    }
    std::size_t k = 0;
    for (std::size_t i = 0; i < (Symmetric() ? m.size() : Left()); ++i) {
      const double a = (Symmetric() ? delta[i] : m[i] - means[i]) * wA;
      const double bi = (m[i] - b.means[i]) * wB;
      const std::size_t begin = Symmetric() ? 0 : Left();
      const std::size_t end = Symmetric() ? i + 1 : m.size();
      for (std::size_t j = begin; j < end; ++j, ++k) {
        double cell = (m[j] - means[j]) * a;
        cell = cell + b.cells[k];
        cell = cell + (m[j] - b.means[j]) * bi;
        cells[k] = cell + cells[k];
      }
    }
    means = m;
    weightSum = weightSum + b.weightSum;
    rows += b.rows;
    regWeightSum = w;
  }

  plain::Column Values(bool all) const {
    plain::Column values = {weightSum,
                            regWeightSum,
                            rows,
                            static_cast<double>(hasRegWeights),
                            static_cast<double>(col0),
                            static_cast<double>(col1),
                            static_cast<double>(col2)};
    values.insert(values.end(), maxs.begin(), maxs.end());
    if (!all) return values;
    for (const auto* more : {&mins, &means, &squares, &cells}) {
      values.insert(values.end(), more->begin(), more->end());
    }
    return values;
  }
  plain::Column Statistics() const { return Values(weightSum > 0.0); }
};

/// Every field of a state, so that a weight total of 0 or NaN hides nothing.
template <class Data>
plain::Column Values(const Data& data, std::size_t cellCount) {
  PlainBlock fields{data._col0, data._col1, data._col2, data._weightSum, data._regWeightSum};
  fields.rows = data._nRows;
  fields.hasRegWeights = data._hasRegWeights;
  fields.means = data._means;
  fields.mins = data._mins;
  fields.maxs = data._maxs;
  if constexpr (requires { data._ss; }) fields.squares = data._ss;
  if (data._xp) fields.cells.assign(data._xp, data._xp + cellCount);
  return fields.Values(true);
}

/// A run in batches of `columns` columns; sometimes all of them, which an empty symmetric block finds out.
PlainBlock SymmetricRun(Random& random, int columns) {
  PlainBlock run{};
  run.col0 = std::uniform_int_distribution<>(0, columns - 1)(random);
  run.col2 = std::uniform_int_distribution<>(run.col0 + 1, columns)(random);
  if (run.col0 % 3 == 0) run.col0 = 0, run.col2 = columns;
  run.col1 = run.col0;
  return run;
}

/// Two runs in batches of at least two columns.
PlainBlock RectangularRuns(Random& random, int columns) {
  PlainBlock runs{};
  runs.col0 = std::uniform_int_distribution<>(0, columns - 2)(random);
  runs.col1 = std::uniform_int_distribution<>(runs.col0 + 1, columns - 1)(random);
  runs.col2 = std::uniform_int_distribution<>(runs.col1 + 1, columns)(random);
  return runs;
}

struct Subject {
  using Plain = PlainBlock;
  PlainBlock runs;

  PlainBlock PlainEmpty() const { return runs; }
  PlainBlock Part(Rows& rows) const {
    PlainBlock part = runs;
    part.Reduce(rows);
    return part;
  }
  static plain::Column Left(const Rows& rows) { return Contents(*FilledBatch(rows)); }
  static plain::Column Add(vexa::MatrixBase& block, const Rows& rows) {
    FilledBatch batch(rows, 3);
    block += *batch;
    return Contents(*batch);
  }
};

struct SymmetricSubject : Subject {
  using Accumulator = SMatrixListwise;
  auto Make() const { return std::make_unique<SMatrixListwise>(runs.col0, runs.col2); }
  static auto MakeOther() { return std::make_unique<SMatrixListwise>(); }
  static PlainBlock PlainOther() { return {0, 0, 0}; }
};

struct RectangularSubject : Subject {
  using Accumulator = NSMatrixListwise;
  auto Make() const { return std::make_unique<NSMatrixListwise>(runs.col0, runs.col1, runs.col2); }
  static auto MakeOther() { return std::make_unique<NSMatrixListwise>(3, 1, -7); }
  static PlainBlock PlainOther() { return {3, 1, -7}; }
};

Rows ManyShapes(Random& random, std::size_t maxRows, std::size_t minColumns, std::size_t maxColumns) {
  RowsSpec spec = RandomSpec(random, maxRows, maxColumns);
  spec.columns = std::max(spec.columns, minColumns);
  // Often enough that NaN and zeros of both signs are extremes.
  spec.wild = spec.wild || spec.rows % 2 == 0;
  return MakeRows(random, spec);
}

TEST(Blocks, OneBatchEqualsPlainLoops) {
  for (unsigned int seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const Rows rows = ManyShapes(random, 600, 2, 70);
    const auto columns = static_cast<int>(rows.columns.size());
    const auto expectSame = [&](auto& data, PlainBlock runs) {
      FilledBatch batch(rows, seed % 3 * 5);
      data.Init(*batch);
      Rows after = rows;
      runs.Reduce(after);
      ASSERT_TRUE(SameBits(Values(data, runs.cells.size()), [&] {
        runs.hasRegWeights = rows.hasRegWeights;
        return runs.Values(true);
      }()));
      ASSERT_TRUE(SameBits(Contents(*batch), Contents(*FilledBatch(after))));
    };
    const PlainBlock run = SymmetricRun(random, columns);
    SMatrixListwise::Data symmetric(run.col0, run.col2 == columns && run.col0 == 0 ? 0 : run.col2);
    ASSERT_NO_FATAL_FAILURE(expectSame(symmetric, run));
    const PlainBlock runs = RectangularRuns(random, columns);
    NSMatrixListwise::Data rectangular(runs.col0, runs.col1, runs.col2);
    ASSERT_NO_FATAL_FAILURE(expectSame(rectangular, runs));
  }
}

TEST(Blocks, SplitsAndMergesEqualPlainLoops) {
  for (unsigned int seed = 0; seed < 400; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const Rows rows = ManyShapes(random, 200, 2, 24);
    const auto columns = static_cast<int>(rows.columns.size());
    ASSERT_NO_FATAL_FAILURE(
        ExpectStepsEqualPlainLoops(random, rows, SymmetricSubject{{SymmetricRun(random, columns)}}));
    ASSERT_NO_FATAL_FAILURE(
        ExpectStepsEqualPlainLoops(random, rows, RectangularSubject{{RectangularRuns(random, columns)}}));
  }
}

TEST(Blocks, OneColumnTakesItsOwnWay) {
  for (unsigned int seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const Rows rows = ManyShapes(random, 100, 1, 1);
    ASSERT_NO_FATAL_FAILURE(
        ExpectStepsEqualPlainLoops(random, rows, SymmetricSubject{{PlainBlock{0, 0, 1}}}));
  }
}

// A block that found its run in its first batch keeps it.
TEST(Blocks, AllColumnsAreThoseOfTheFirstBatch) {
  Random random(1);
  RowsSpec spec;
  spec.rows = 20;
  spec.columns = 5;
  Rows rows = MakeRows(random, spec);
  Rows narrow = rows;
  narrow.columns.resize(3);
  SMatrixListwise found;
  SMatrixListwise given(0, 3);
  for (SMatrixListwise* block : {&found, &given}) {
    *block += *FilledBatch(narrow);
    *block += *FilledBatch(rows);
  }
  EXPECT_EQ(found.NRows(), 40U);
  EXPECT_TRUE(SameBits(Statistics(found), Statistics(given)));
}

TEST(Blocks, KnownValues) {
  SMatrixListwise a;
  SMatrixListwise b;
  Rows rows{{{3.0}}, {}, {}, {}, false, false, 1};
  a += *FilledBatch(rows);
  rows.columns[0][0] = 7.0;
  b += *FilledBatch(rows);
  a += b;
  EXPECT_EQ(a.Mean(0), 5.0);
  EXPECT_EQ(a.CCP(0, 0), 8.0);
  EXPECT_EQ(a.Min(0), 3.0);
  EXPECT_EQ(a.Max(0), 7.0);

  // On a tie the block's own extremes stay: here zeros of either sign.
  rows.columns[0][0] = -0.0;
  SMatrixListwise negative;
  negative += *FilledBatch(rows);
  rows.columns[0][0] = 0.0;
  SMatrixListwise positive;
  positive += *FilledBatch(rows);
  negative += positive;
  EXPECT_TRUE(SameBits({negative.Min(0), negative.Max(0)}, {-0.0, -0.0}));

  // The largest value is known even of rows that weigh nothing.
  rows.columns[0][0] = 7.0;
  rows.hasWeights = true;
  rows.weights = {0.0};
  SMatrixListwise weightless;
  weightless += *FilledBatch(rows);
  EXPECT_EQ(weightless.Max(0), 7.0);
  EXPECT_EQ(weightless.NRows(), 1U);
}

}  // namespace
