#include "derive/matrix.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "derive/distributions.h"

namespace derive {
namespace {

constexpr double kUndefined = std::numeric_limits<double>::quiet_NaN();

template <class Statistic>
Matrix ForEachCell(const Sums& sums, Statistic statistic) {
  Matrix matrix{.rows = sums.Rows(), .cols = sums.Cols()};
  matrix.cells.resize(matrix.rows * matrix.cols);
  for (std::size_t row = 0; row < matrix.rows; ++row) {
    const std::size_t cols = sums.IsSymmetric() ? row + 1 : matrix.cols;
    for (std::size_t col = 0; col < cols; ++col) {
      const double value = statistic(sums.At(row, col), sums.IsSymmetric() && row == col);
      matrix.At(row, col) = value;
      if (sums.IsSymmetric()) matrix.At(col, row) = value;
    }
  }
  return matrix;
}

}  // namespace

double HeldCovariance(double quotient, bool isZero, double varianceRow, double varianceCol) {
  constexpr double kLeast = std::numeric_limits<double>::min();
  const bool isHeld =
      isZero || std::abs(quotient) >= kLeast || (varianceRow >= kLeast && varianceCol >= kLeast);
  return isHeld ? quotient : kUndefined;
}

double Covariance(const Cell& cell) {
  // An infinite W would make any finite cross-product a zero that looks like a result.
  if (!(cell.weightSum > 1.0) || std::isinf(cell.weightSum)) return kUndefined;
  const double divisor = cell.weightSum - 1.0;
  return HeldCovariance(cell.cscp / divisor, cell.cscp == 0.0, cell.cssRow / divisor, cell.cssCol / divisor);
}

double Correlation(const Cell& cell) {
  if (!(cell.cssRow > 0.0 && cell.cssCol > 0.0) || std::isinf(cell.cssRow) || std::isinf(cell.cssCol))
    return kUndefined;
  const double value = cell.cscp / std::sqrt(cell.cssRow) / std::sqrt(cell.cssCol);
  return std::isnan(value) ? kUndefined : std::clamp(value, -1.0, 1.0);
}

double CorrelationPValue(const Cell& cell) {
  const double r = Correlation(cell);
  const double df = cell.weightSum - 2.0;
  if (std::isnan(r) || !(df > 0.0) || std::isinf(df)) return kUndefined;
  // 1 − r² would lose its digits near ±1.
  const double rest = (1.0 - r) * (1.0 + r);
  return rest == 0.0 ? 0.0 : TestT(r * std::sqrt(df / rest), df).p;
}

Matrix Covariances(const Sums& sums) {
  return ForEachCell(sums, [](const Cell& cell, bool) { return Covariance(cell); });
}

Matrix Correlations(const Sums& sums) {
  return ForEachCell(sums, [](const Cell& cell, bool isDiagonal) {
    const double value = Correlation(cell);
    return isDiagonal && !std::isnan(value) ? 1.0 : value;
  });
}

Matrix CorrelationPValues(const Sums& sums) {
  return ForEachCell(sums, [](const Cell& cell, bool isDiagonal) {
    return isDiagonal ? kUndefined : CorrelationPValue(cell);
  });
}

}  // namespace derive
