#include <gtest/gtest.h>

#include <cmath>
#include <typeinfo>

#include "support/bits.h"
#include "support/plainpairwise.h"
#include "support/rows.h"
#include "support/statistics.h"
#include "support/steps.h"

namespace {

/// The columns and pairs of an accumulator. An end of 0 stands for all columns of the first batch.
struct Shape {
  int col0 = 0;
  int col1 = 0;
  int col2 = 0;
  bool rectangle = false;

  std::vector<std::vector<std::size_t>> Pairs() const {
    std::vector<std::vector<std::size_t>> pairs;
    for (int row = col0; row < (rectangle ? col1 : col2); ++row) {
      for (int col = rectangle ? col1 : col0; col < (rectangle ? col2 : row); ++col) {
        pairs.push_back({static_cast<std::size_t>(row), static_cast<std::size_t>(col)});
      }
    }
    return pairs;
  }
};

/// A pairwise accumulator as plain loops.
struct PlainPairwise {
  /// A batch goes into the records that are there.
  struct Batch {
    Rows rows;
  };

  Shape shape;
  double missing;
  bool ofBlock;
  bool hasRegWeights = false;
  double weightSum = 0.0;
  double regWeightSum = 0.0;
  double rows = 0.0;
  std::vector<plain::Record> variables = {};
  std::vector<plain::Record> pairs = {};

  void Merge(const Batch& batch) {
    const Rows& part = batch.rows;
    if (part.count == 0) return;
    if (variables.empty()) {
      hasRegWeights = part.hasRegWeights;
      if (shape.col2 == 0) shape.col2 = static_cast<int>(part.columns.size());
      variables.resize(static_cast<std::size_t>(shape.col2 - shape.col0));
      pairs.resize(shape.Pairs().size());
    }
    const double weight = part.hasWeights ? plain::Sum(part.weights) : static_cast<double>(part.count);
    const plain::Column combined = plain::Combined(part.weights, part.regWeights);
    rows += static_cast<double>(part.count);
    weightSum += weight;
    regWeightSum += part.hasRegWeights ? plain::Sum(combined) : weight;
    for (std::size_t k = 0; k < variables.size(); ++k) {
      const std::size_t col = static_cast<std::size_t>(shape.col0) + k;
      variables[k].Merge(plain::Reduce(part, {col}, missing));
    }
    std::size_t k = 0;
    for (const auto& pair : shape.Pairs()) pairs[k++].Merge(plain::Reduce(part, pair, missing));
  }

  void Merge(const PlainPairwise& b) {
    if (b.rows == 0) return;
    if (variables.empty()) {
      *this = b;
      return;
    }
    if (b.weightSum == 0.0) return;
    for (std::size_t k = 0; k < variables.size(); ++k) variables[k].Merge(b.variables[k]);
    for (std::size_t k = 0; k < pairs.size(); ++k) pairs[k].Merge(b.pairs[k]);
    rows += b.rows;
    weightSum += b.weightSum;
    regWeightSum += b.regWeightSum;
  }

  std::vector<double> Statistics() const {
    std::vector<double> values = {weightSum, regWeightSum,
                                  rows,      static_cast<double>(hasRegWeights),
                                  missing,   static_cast<double>(variables.size())};
    const auto append = [&](const std::vector<double>& more) {
      values.insert(values.end(), more.begin(), more.end());
    };
    if (ofBlock) {
      for (const int col : {shape.col0, shape.col1, shape.col2}) values.push_back(col);
    }
    if (!(weightSum > 0.0)) return values;
    for (const auto& variable : variables) append(variable.Variable(ofBlock));
    for (const auto& pair : pairs) append(pair.Pair());
    return values;
  }
};

/// What the steps need to know of an accumulator of a class.
template <class Matrix>
struct Subject;

template <>
struct Subject<vexa::MatrixPairwise> {
  static constexpr bool kBlock = false;
  static Shape RandomShape(Random& /*random*/, int /*columns*/) { return {}; }
  static auto Make(const Shape& /*shape*/, double missing) {
    return std::make_unique<vexa::MatrixPairwise>(missing);
  }
};

int Between(Random& random, int first, int last) {
  return std::uniform_int_distribution<int>(first, last)(random);
}

template <>
struct Subject<vexa::SMatrixPairwise> {
  static constexpr bool kBlock = true;
  static Shape RandomShape(Random& random, int columns) {
    if (Between(random, 0, 3) == 0) return {};
    const int col0 = Between(random, 0, columns - 1);
    return {col0, col0, Between(random, col0 + 1, columns)};
  }
  static auto Make(const Shape& shape, double missing) {
    if (shape.col2 == 0) return std::make_unique<vexa::SMatrixPairwise>(missing);
    return std::make_unique<vexa::SMatrixPairwise>(missing, shape.col0, shape.col2);
  }
};

template <>
struct Subject<vexa::NSMatrixPairwise> {
  static constexpr bool kBlock = true;
  /// Either run may be empty.
  static Shape RandomShape(Random& random, int columns) {
    const int col0 = Between(random, 0, columns - 1);
    const int col2 = Between(random, col0 + 1, columns);
    return {col0, Between(random, col0, col2), col2, true};
  }
  static auto Make(const Shape& shape, double missing) {
    return std::make_unique<vexa::NSMatrixPairwise>(missing, shape.col0, shape.col1, shape.col2);
  }
};

template <class Matrix>
struct PairwiseSubject {
  using Accumulator = Matrix;
  using Plain = PlainPairwise;

  Shape shape;
  double missing;

  auto Make() const { return Subject<Matrix>::Make(shape, missing); }
  auto MakeOther() const { return Subject<Matrix>::Make(PlainOther().shape, PlainOther().missing); }
  Plain PlainEmpty() const { return {shape, missing, Subject<Matrix>::kBlock}; }
  Plain PlainOther() const {
    Shape other = shape;
    other.col2 += 3;
    return {other, 5.0, Subject<Matrix>::kBlock};
  }
  /// A pairwise accumulator only reads the batch.
  static Plain::Batch Part(const Rows& rows) { return {rows}; }
  static std::vector<double> Left(const Rows& rows) { return Contents(*FilledBatch(rows)); }
  static std::vector<double> Add(Matrix& matrix, const Rows& rows) {
    FilledBatch batch(rows, 3);
    EXPECT_EQ(&(matrix += *batch), &matrix);
    return Contents(*batch);
  }
};

template <class Matrix>
class Pairwise : public testing::Test {};
using Matrices = testing::Types<vexa::MatrixPairwise, vexa::SMatrixPairwise, vexa::NSMatrixPairwise>;
TYPED_TEST_SUITE(Pairwise, Matrices);

TYPED_TEST(Pairwise, SplitsAndMergeTreesEqualPlainLoops) {
  for (unsigned int seed = 0; seed < 400; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    RowsSpec spec = RandomSpec(random, 250, 12);
    if (seed % 10 == 0) {
      // Enough rows and columns for many columns to have one pattern.
      spec.rows = static_cast<std::size_t>(Between(random, 50, 600));
      spec.columns = static_cast<std::size_t>(Between(random, 17, 60));
    }
    AddMissing(random, spec);
    const Rows rows = MakeRows(random, spec);
    const Shape shape = Subject<TypeParam>::RandomShape(random, static_cast<int>(spec.columns));
    const PairwiseSubject<TypeParam> subject{shape, spec.missingCode};
    ASSERT_NO_FATAL_FAILURE(ExpectStepsEqualPlainLoops(random, rows, subject));
  }
}

Rows FiveColumns() {
  Rows rows;
  rows.columns = {{1, 2, 9, 4}, {3, 9, 5, 8}, {9, 9, 9, 9}, {2, 7, 1, 9}, {9, 9, 4, 6}};
  rows.count = 4;
  return rows;
}

TYPED_TEST(Pairwise, ViewsShowWhatIsAddedLater) {
  const auto matrix = Subject<TypeParam>::Make({0, 1, 4, true}, 9.0);
  *matrix += *FilledBatch(FiveColumns());
  auto&& variable = matrix->Var(1);
  auto&& pair = matrix->Pair(3, 0);
  EXPECT_EQ(variable.NRows(), 3);
  EXPECT_EQ(pair.NRows(), 2);
  EXPECT_EQ(matrix->Var(2).NRows(), 0);
  *matrix += *FilledBatch(FiveColumns());
  EXPECT_EQ(variable.NRows(), 6);
  EXPECT_EQ(pair.NRows(), 4);
  EXPECT_EQ(matrix->NRows(), 8U);
}

TEST(PairwiseBlocks, ARunWithoutColumnsIsNeverSetUpButCountsRows) {
  const Rows rows = FiveColumns();
  vexa::SMatrixPairwise none(9.0, 3, 3);
  vexa::NSMatrixPairwise neither(9.0, 3, 3, 3);
  for (vexa::MatrixBase* block :
       {static_cast<vexa::MatrixBase*>(&none), static_cast<vexa::MatrixBase*>(&neither)}) {
    *block += *FilledBatch(rows);
    // Nothing was set up, so that the weights may still change their form.
    Rows weighted = rows;
    weighted.hasRegWeights = true;
    weighted.regWeights = {1, 2, 3, 4};
    *block += *FilledBatch(weighted);
    EXPECT_EQ(block->NRows(), 8U);
  }
  EXPECT_EQ(none.NColumns(), 0U);
  EXPECT_EQ(none.WeightSum(), 8.0);
  EXPECT_EQ(none.RegWeightSum(), 14.0);
  vexa::SMatrixPairwise two(9.0, 0, 2);
  two += *FilledBatch(rows);
  none += two;
  EXPECT_TRUE(SameBits(Statistics(none), Statistics(two)));
}

TEST(PairwiseBlocks, MergesCompareNumbersOfColumnsAndPairsOnly) {
  const Rows rows = FiveColumns();
  vexa::SMatrixPairwise left(9.0, 0, 2);
  vexa::SMatrixPairwise right(9.0, 3, 5);
  left += *FilledBatch(rows);
  right += *FilledBatch(rows);
  left += right;
  EXPECT_EQ(left.Var(0).NRows(), 6);
  EXPECT_EQ(left.Col2(), 2);
  vexa::MatrixBase& base = left;
  vexa::NSMatrixPairwise rectangle(9.0, 0, 1, 2);
  EXPECT_EQ(&(base += rectangle), &base);
  rectangle += *FilledBatch(rows);
  EXPECT_THROW(base += rectangle, std::bad_cast);
}

}  // namespace
