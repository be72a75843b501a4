// Sums to statistics: divisors, what is undefined, and the way back to the input's origin.

#include "derive/matrix.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <tuple>
#include <vector>

#include "derive/definite.h"
#include "derive/pairwise.h"
#include "derive/similarity.h"
#include "host/derive/cells.h"
#include "vexa/databatch.h"

namespace derive_test {
namespace {

using derive::Cell;
using derive::Matrix;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

bool Same(double found, double expected) {
  return std::isnan(expected) ? std::isnan(found) : std::abs(found - expected) <= 1e-15;
}

TEST(Derive, CovarianceDividesByItsOwnCasesLessOne) {
  const struct {
    double weightSum, cscp, covariance;
  } cases[] = {{5, 12, 3},          {1.5, 1, 2},   {1, 1, NAN},       {0.5, 1, NAN},      {0, 0, NAN},
               {kInfinity, 1, NAN}, {NAN, 1, NAN}, {1 + 1e-15, 0, 0}, {1e40, 1e-280, NAN}};
  for (const auto& [weightSum, cscp, covariance] : cases) {
    const double found =
        derive::Covariance({.n = 9, .weightSum = weightSum, .regWeightSum = 77, .cscp = cscp});
    EXPECT_TRUE(Same(found, covariance)) << weightSum << ": " << found;
  }
}

TEST(Derive, CorrelationStaysInItsRange) {
  const struct {
    double cssRow, cssCol, cscp, correlation;
  } cases[] = {{4, 9, 3, 0.5},
               {4, 9, -6.0000000000000018, -1},
               {4, 9, 6.0000000000000018, 1},
               {1e300, 1e-300, 0.25, 0.25},
               {1e300, 1e300, 1e300, 1},
               {0, 9, 0, NAN},
               {4, 0, 0, NAN},
               {kInfinity, 9, 1, NAN},
               {4, 9, NAN, NAN}};
  for (const auto& [cssRow, cssCol, cscp, correlation] : cases) {
    const double found = derive::Correlation({.cssRow = cssRow, .cssCol = cssCol, .cscp = cscp});
    EXPECT_TRUE(Same(found, correlation) && !(std::abs(found) > 1.0))
        << cssRow << ' ' << cssCol << ": " << found;
  }
}

TEST(Derive, OnlyTheDiagonalOfATriangleIsOneByDefinition) {
  const auto cell = [](std::size_t row, std::size_t col) {
    return Cell{.cssRow = row == 1 ? 0.0 : 2.0, .cssCol = col == 1 ? 0.0 : 2.0, .cscp = 2.0};
  };
  // 2 ÷ √2 ÷ √2 is not 1 in doubles.
  const Matrix correlations = derive::Correlations(Cells(3, 3, true, cell));
  EXPECT_EQ(correlations.At(0, 0), 1.0);
  EXPECT_NE(correlations.At(2, 0), 1.0);
  EXPECT_TRUE(std::isnan(correlations.At(1, 1)));
}

TEST(Derive, PairwiseCellsAreOfTheirOwnRows) {
  // x is the same wherever y is present, and z is present only where y is not.
  constexpr double kMissing = -1e300;
  std::mt19937_64 random(9);
  std::normal_distribution<double> normal;
  double weight = 0;
  vexa::MatrixPairwise matrix(kMissing);
  for (int part = 0; part < 50; ++part) {
    vexa::DataBatch batch(3, 20, &weight, nullptr, nullptr);
    for (int row = 0; row < 20; ++row) {
      const bool hasY = random() % 3 == 0;
      weight = 0.1 * static_cast<double>(1 + random() % 9);
      const double values[] = {hasY ? 3.7 : normal(random), hasY ? normal(random) : kMissing,
                               hasY ? kMissing : 1.0 + normal(random)};
      batch.AddRow(values);
    }
    vexa::MatrixPairwise one(kMissing);
    one += batch;
    matrix += one;
  }
  const derive::PairwiseSums sums(matrix, {1e3, 0.0, 0.0}, {{1, 2}, {3, 4}, {}});
  const Cell cell = sums.At(1, 0);
  EXPECT_EQ(cell.n + sums.At(2, 0).n, 1000U);
  EXPECT_NEAR(cell.meanCol, 1003.7, 1e-12);
  EXPECT_GT(matrix.Pair(1, 0).CSS1(), 0.0) << "pooling made something of nothing";
  EXPECT_EQ(cell.cssCol, 0.0);
  EXPECT_EQ(cell.cscp, 0.0);
  EXPECT_GT(cell.cssRow, 10.0);
  const Cell mirrored = sums.At(0, 1);
  EXPECT_EQ(std::tie(mirrored.meanRow, mirrored.cssCol, mirrored.rangeRow.max),
            std::tie(cell.meanCol, cell.cssRow, cell.rangeCol.max));
  EXPECT_EQ(sums.At(0, 0).cscp, matrix.Var(0).CSS());
  const Cell empty = sums.At(2, 1);
  EXPECT_EQ(empty.n, 0U);
  EXPECT_TRUE(std::isnan(empty.meanRow) && std::isnan(empty.meanCol) &&
              std::isnan(derive::Covariance(empty)));
}

TEST(Derive, FindsWhatIsNotPositiveSemidefinite) {
  const struct {
    std::size_t size;
    std::vector<double> cells;
    double smallest;  // 0: nothing to find
    std::size_t variables;
  } cases[] = {{0, {}, 0, 0},
               {1, {NAN}, 0, 0},
               {2, {1, -1 - 1e-15, -1 - 1e-15, 1}, 0, 0},
               {3, {1, 1, 1, 1, 1, 1, 1, 1, 1}, 0, 0},
               {3, {1, 0.9, -0.9, 0.9, 1, 0.9, -0.9, 0.9, 1}, -0.8, 3},
               {3, {1, 0.9, NAN, 0.9, 1, 0.9, NAN, 0.9, 1}, 0, 0},
               {4, {1, 0.9, NAN, -0.9, 0.9, 1, NAN, 0.9, NAN, NAN, NAN, NAN, -0.9, 0.9, NAN, 1}, -0.8, 3}};
  for (const auto& [size, cells, smallest, variables] : cases) {
    const auto found = derive::FindIndefinite({.rows = size, .cols = size, .cells = cells});
    ASSERT_EQ(found.has_value(), smallest < 0) << size;
    if (!found) continue;
    EXPECT_NEAR(found->smallestEigenvalue, smallest, 1e-14);
    EXPECT_EQ(found->variables, variables);
  }
}

/// Two blocks of variables that rise together and fall when the other rises, shuffled among some that are alone or unknown.
TEST(Similarity, PutsWhatRisesTogetherNextToEachOther) {
  const std::size_t count = 23;
  std::mt19937 random(3);
  std::vector<std::size_t> kinds(count);
  for (std::size_t at = 0; at < count; ++at) kinds[at] = at % 3;
  for (int round = 0; round < 20; ++round) {
    std::shuffle(kinds.begin(), kinds.end(), random);
    Matrix correlations{.rows = count, .cols = count, .cells = std::vector<double>(count * count)};
    std::uniform_real_distribution<double> noise(0.0, 0.3);
    for (std::size_t row = 0; row < count; ++row) {
      for (std::size_t col = 0; col <= row; ++col) {
        const double known = kinds[row] == kinds[col] ? 1.0 - noise(random) : -noise(random) - 0.5;
        const bool isAlone = kinds[row] == 2 || kinds[col] == 2;
        correlations.At(row, col) = correlations.At(col, row) = !isAlone ? known : row == col ? 1.0 : NAN;
      }
    }
    for (const auto& by : {derive::OrderVariables(correlations), derive::OrderRows(correlations),
                           derive::OrderCols(correlations)}) {
      std::vector<std::size_t> sorted = by;
      std::sort(sorted.begin(), sorted.end());
      for (std::size_t at = 0; at < count; ++at) ASSERT_EQ(sorted[at], at);
      std::vector<std::size_t> runs(3);
      for (std::size_t at = 0; at < count; ++at)
        runs[kinds[by[at]]] += at == 0 || kinds[by[at]] != kinds[by[at - 1]] ? 1U : 0U;
      EXPECT_EQ(std::pair(runs[0], runs[1]), std::pair(std::size_t{1}, std::size_t{1}));
    }
  }
}

}  // namespace
}  // namespace derive_test
