#include "derive/groupsums.h"

#include <cassert>

namespace derive {
namespace {

/// Rounding that a raw sum of squares may carry: half an ulp per row of one batch, the largest of which has some
/// thousands, and as much again per level of the merge tree. Below it, no digit of a spread is left.
constexpr long double kRounding = 1e-12L;

}  // namespace

GroupSums::GroupSums(const vexa::DiscIndividualMatrix& matrix) : _matrix(matrix) {
  assert(matrix.WeightSum() > 0.0);
}

double GroupSums::Cell(Eigen::Index row, Eigen::Index col, std::size_t group) const {
  return _matrix.TSSP(static_cast<int>(row), static_cast<int>(col), static_cast<int>(group));
}

double GroupSums::Weight(std::size_t group) const { return Cell(Variables(), Variables(), group); }

long double GroupSums::Mean(std::size_t group, Eigen::Index variable) const {
  return static_cast<long double>(Cell(Variables(), variable, group)) / Weight(group);
}

Eigen::MatrixXd GroupSums::Scatter(std::size_t group) const {
  const Eigen::Index variables = Variables();
  Eigen::MatrixXd scatter(variables, variables);
  for (Eigen::Index row = 0; row < variables; ++row) {
    const long double mean = Mean(group, row);
    for (Eigen::Index col = 0; col <= row; ++col) {
      const long double raw = Cell(row, col, group);
      scatter(row, col) = static_cast<double>(raw - mean * Cell(variables, col, group));
      scatter(col, row) = scatter(row, col);
    }
  }
  for (Eigen::Index variable = 0; variable < variables; ++variable) {
    if (scatter(variable, variable) > kRounding * Cell(variable, variable, group)) continue;
    scatter.row(variable).setZero();
    scatter.col(variable).setZero();
  }
  return scatter;
}

}  // namespace derive
