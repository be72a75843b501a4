#include "derive/cholesky.h"

#include <algorithm>
#include <cmath>

namespace derive {

Cholesky::Cholesky(const Eigen::MatrixXd& s)
    : _scale(s.diagonal().cwiseSqrt()), _lower(Eigen::MatrixXd::Zero(s.rows(), s.cols())) {
  const Eigen::Index size = s.rows();
  for (Eigen::Index col = 0; col < size; ++col) {
    if (_scale(col) == 0.0) {
      _constant.push_back(static_cast<std::size_t>(col));
      continue;
    }
    const Eigen::Index below = size - col;
    Eigen::VectorXd column = s.col(col).tail(below) / _scale(col);
    for (Eigen::Index row = 0; row < below; ++row) {
      const double scale = _scale(col + row);
      column(row) = scale == 0.0 ? 0.0 : column(row) / scale;
    }
    column.noalias() -= _lower.block(col, 0, below, col) * _lower.row(col).head(col).transpose();
    const double tolerance = column(0);
    // Written so that a NaN counts as dependent.
    if (!(tolerance >= kLeastTolerance)) {
      _dependent.push_back(static_cast<std::size_t>(col));
      continue;
    }
    _lower.col(col).tail(below) = column / std::sqrt(tolerance);
  }
}

std::optional<std::size_t> Cholesky::FirstSingular() const {
  if (IsRegular()) return {};
  if (_constant.empty()) return _dependent.front();
  return _dependent.empty() ? _constant.front() : std::min(_constant.front(), _dependent.front());
}

double Cholesky::LogDeterminant() const {
  return 2.0 * (_scale.array().log() + _lower.diagonal().array().log()).sum();
}

}  // namespace derive
