#include "derive/definite.h"

#include <Eigen/Cholesky>
#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cassert>
#include <cmath>
#include <vector>

namespace derive {
namespace {

/// What a correlation may be wrong by; no eigenvalue is then wrong by more than this for each variable.
constexpr double kCellError = 0x1p-44;

/// Variables whose correlations with each other are all defined.
std::vector<std::size_t> Defined(const Matrix& correlations) {
  std::vector<std::size_t> kept;
  for (std::size_t row = 0; row < correlations.rows; ++row) {
    const bool isDefined = !std::isnan(correlations.At(row, row)) &&
                           std::none_of(kept.begin(), kept.end(), [&](std::size_t col) {
                             return std::isnan(correlations.At(row, col));
                           });
    if (isDefined) kept.push_back(row);
  }
  return kept;
}

}  // namespace

std::optional<Indefinite> FindIndefinite(const Matrix& correlations) {
  assert(correlations.rows == correlations.cols);
  const std::vector<std::size_t> variables = Defined(correlations);
  const auto size = static_cast<Eigen::Index>(variables.size());
  const double slack = kCellError * static_cast<double>(size);
  Eigen::MatrixXd part(size, size);
  const auto place = [&](Eigen::Index at) { return variables[static_cast<std::size_t>(at)]; };
  const auto fill = [&] {
    for (Eigen::Index col = 0; col < size; ++col) {
      for (Eigen::Index row = col; row < size; ++row)
        part(row, col) = correlations.At(place(row), place(col));
    }
  };
  // The factor tells the usual case a dozen times faster than eigenvalues do. It overwrites the matrix.
  fill();
  part.diagonal().array() += slack;
  if (Eigen::LLT<Eigen::Ref<Eigen::MatrixXd>>(part).info() == Eigen::Success) return {};
  fill();
  const double smallest =
      Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd>(part, Eigen::EigenvaluesOnly).eigenvalues()(0);
  if (!(smallest < -slack)) return {};
  return Indefinite{smallest, variables.size()};
}

}  // namespace derive
