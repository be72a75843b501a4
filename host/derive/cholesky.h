#ifndef HOST_DERIVE_CHOLESKY_H
#define HOST_DERIVE_CHOLESKY_H

#include <Eigen/Core>
#include <cstddef>
#include <optional>
#include <vector>

namespace derive {

/// The least tolerance of a variable that is no linear combination of those before it: the share of its sum of
/// squares that they leave unexplained.
inline constexpr double kLeastTolerance = 1e-10;

/// A symmetric matrix S of sums of squares and products, or a covariance matrix, as D L L′ D: D holds the roots of
/// its diagonal, and L is the Cholesky factor of what is left, the correlation matrix. So scaled, a pivot is a
/// variable's tolerance, whatever units the variables have.
///
/// A variable whose diagonal is 0 is constant. It and those without tolerance have a column of zeros in L; the
/// others are judged as if it were not there. O(variables³).
class Cholesky {
 public:
  /// Only the lower triangle is read.
  explicit Cholesky(const Eigen::MatrixXd& s);

  /// Neither constant nor dependent variables, and all numbers finite: L is invertible.
  bool IsRegular() const { return _constant.empty() && _dependent.empty(); }
  /// Variables in their order.
  const std::vector<std::size_t>& Constant() const { return _constant; }
  const std::vector<std::size_t>& Dependent() const { return _dependent; }

  /// Nothing when regular.
  std::optional<std::size_t> FirstSingular() const;

  const Eigen::VectorXd& Scale() const { return _scale; }  ///< the diagonal of D
  const Eigen::MatrixXd& Lower() const { return _lower; }  ///< L, zeros above its diagonal

  /// ln |S|. Requires IsRegular.
  double LogDeterminant() const;

 private:
  Eigen::VectorXd _scale;
  Eigen::MatrixXd _lower;
  std::vector<std::size_t> _constant;
  std::vector<std::size_t> _dependent;
};

}  // namespace derive

#endif
