#ifndef HOST_DERIVE_MATRIX_H
#define HOST_DERIVE_MATRIX_H

#include <cstddef>
#include <vector>

#include "derive/sums.h"

namespace derive {

/// Cells of a statistic, row by row. What is undefined is a NaN.
struct Matrix {
  std::size_t rows = 0;
  std::size_t cols = 0;
  std::vector<double> cells = {};

  double& At(std::size_t row, std::size_t col) { return cells[row * cols + col]; }
  double At(std::size_t row, std::size_t col) const { return cells[row * cols + col]; }
};

/// The quotient of a cross-product, or undefined: when the cross-product `isZero` not, and the quotient is so small that it
/// has lost digits which the variances, quotients themselves, do not make up for.
double HeldCovariance(double quotient, bool isZero, double varianceRow, double varianceCol);

/// cscp ÷ (W − 1), W being the cell's own sum of case weights: the divisor counts cases and knows nothing of
/// regression weights. Undefined when W ≤ 1, and when the quotient is below the range of a double.
double Covariance(const Cell& cell);

/// (cscp ÷ √css of the row) ÷ √css of the column, no further from 0 than 1. Undefined when either css is 0. The
/// roots are divided by one after the other, because the product of the two css leaves the range of a double long
/// before they do.
double Correlation(const Cell& cell);

/// P(|T| ≥ |t|) of t = r √((W − 2) ÷ (1 − r²)), Student's on W − 2 degrees of freedom when the variables are normal and
/// independent; W is the cell's own sum of case weights. 0 where r is ±1; undefined when r is, or W ≤ 2.
double CorrelationPValue(const Cell& cell);

/// The statistic of every cell: rows × cols doubles.
Matrix Covariances(const Sums& sums);
/// Likewise; a variable with itself, where defined, is exactly 1.
Matrix Correlations(const Sums& sums);
/// Likewise; undefined for a variable with itself.
Matrix CorrelationPValues(const Sums& sums);

}  // namespace derive

#endif
