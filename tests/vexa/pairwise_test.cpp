#include <gtest/gtest.h>

#include "support/bits.h"
#include "support/plainpairwise.h"
#include "support/rows.h"
#include "support/runs.h"
#include "support/statistics.h"
#include "support/steps.h"

namespace {

/// A pairwise accumulator as plain loops.
struct PlainPairwise {
  /// A batch goes into the records that are there.
  struct Batch {
    Rows rows;
  };

  Runs runs;
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
      if (runs.col2 == 0 && !runs.areTwo) runs.col2 = static_cast<int>(part.columns.size());
      variables.resize(static_cast<std::size_t>(runs.col2 - runs.col0));
      pairs.resize(runs.Pairs().size());
    }
    const double weight = part.hasWeights ? plain::Sum(part.weights) : static_cast<double>(part.count);
    const plain::Column combined = plain::Combined(part.weights, part.regWeights);
    rows += static_cast<double>(part.count);
    weightSum += weight;
    regWeightSum += part.hasRegWeights ? plain::Sum(combined) : weight;
    for (std::size_t k = 0; k < variables.size(); ++k) {
      const std::size_t col = static_cast<std::size_t>(runs.col0) + k;
      variables[k].Merge(plain::Reduce(part, {col}, missing));
    }
    std::size_t k = 0;
    const auto first = static_cast<std::size_t>(runs.col0);
    for (const auto& [i, j] : runs.Pairs())
      pairs[k++].Merge(plain::Reduce(part, {first + i, first + j}, missing));
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
      for (const int col : {runs.col0, runs.col1, runs.col2}) values.push_back(col);
    }
    if (!(weightSum > 0.0)) return values;
    for (const auto& variable : variables) append(variable.Variable(ofBlock));
    for (const auto& pair : pairs) append(pair.Pair());
    return values;
  }
};

template <class Matrix>
struct Subject {
  using Accumulator = Matrix;
  using Plain = PlainPairwise;
  static constexpr bool kBlock = kIsBlock<Matrix, double>;

  Runs runs;
  double missing;

  auto Make() const { return MakeOver<Matrix>(runs, missing); }
  static auto MakeOther() { return MakeOver<Matrix>(OtherRuns<Matrix, double>(), 5.0); }
  Plain PlainEmpty() const { return {runs, missing, kBlock}; }
  static Plain PlainOther() { return {OtherRuns<Matrix, double>(), 5.0, kBlock}; }
  /// A pairwise accumulator only reads the batch.
  static Plain::Batch Part(const Rows& rows) { return {rows}; }
  static FilledBatch Batch(const Rows& rows, unsigned int spare) { return FilledBatch(rows, spare); }
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
      spec.rows = 50 + random() % 550;
      spec.columns = 17 + random() % 44;
    }
    AddMissing(random, spec);
    const Rows rows = MakeRows(random, spec);
    // Runs may be empty.
    const Runs runs = RandomRuns<TypeParam, double>(random, static_cast<int>(spec.columns), 0);
    const Subject<TypeParam> subject{runs, spec.missingCode};
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
  const auto matrix = MakeOver<TypeParam>({0, 1, 4, true}, 9.0);
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

// A run without columns is never set up, so that weights may still change their form; its rows count.
TEST(PairwiseBlocks, WithoutColumnsTakeWeightsOfAnyForm) {
  vexa::SMatrixPairwise none(9.0, 3, 3);
  vexa::NSMatrixPairwise neither(9.0, 3, 3, 3);
  Rows weighted = FiveColumns();
  weighted.hasRegWeights = true;
  weighted.regWeights = {1, 2, 3, 4};
  for (vexa::MatrixBase* block :
       {static_cast<vexa::MatrixBase*>(&none), static_cast<vexa::MatrixBase*>(&neither)}) {
    *block += *FilledBatch(FiveColumns());
    *block += *FilledBatch(weighted);
    EXPECT_EQ(block->NRows(), 8U);
  }
  EXPECT_EQ(none.RegWeightSum(), 14.0);
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
}

}  // namespace
