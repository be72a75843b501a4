#include "derive/groupsums.h"

#include <cassert>
#include <cmath>
#include <limits>
#include <utility>

namespace derive {
namespace {

/// Rounding that a raw sum of squares may carry: half an ulp per row of one batch, the largest of which has some
/// thousands, and as much again per level of the merge tree. Below it, no digit of a spread is left.
constexpr long double kRounding = 1e-12L;

constexpr double kUndefined = std::numeric_limits<double>::quiet_NaN();

}  // namespace

GroupSums::GroupSums(const vexa::DiscIndividualMatrix& matrix, std::vector<std::uint64_t> rows,
                     std::vector<Spread> spreads)
    : _matrix(matrix), _rows(std::move(rows)), _spreads(std::move(spreads)) {
  assert(matrix.WeightSum() > 0.0);
  assert(_rows.size() == Groups());
  assert(_spreads.empty() || _spreads.size() == Groups() * static_cast<std::size_t>(Variables()));
}

double GroupSums::Cell(Eigen::Index row, Eigen::Index col, std::size_t group) const {
  return _matrix.TSSP(static_cast<int>(row), static_cast<int>(col), static_cast<int>(group));
}

double GroupSums::Weight(std::size_t group) const { return Cell(Variables(), Variables(), group); }

long double GroupSums::Mean(std::size_t group, Eigen::Index variable) const {
  const double weight = Weight(group);
  if (std::isinf(weight)) return std::numeric_limits<long double>::quiet_NaN();
  return static_cast<long double>(Cell(Variables(), variable, group)) / weight;
}

bool GroupSums::IsBelow(std::size_t group, Eigen::Index variable) const {
  if (_spreads.empty()) return false;
  // About the moved origin a spread has no smaller squares than about the mean.
  const std::size_t at = group * static_cast<std::size_t>(Variables()) + static_cast<std::size_t>(variable);
  return _spreads[at] > 0.0 && Cell(variable, variable, group) < LeastSquares(_rows[group], Weight(group));
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
    const double raw = Cell(variable, variable, group);
    const bool isHeld = std::isfinite(raw) && std::isfinite(Weight(group)) && !IsBelow(group, variable);
    if (isHeld && scatter(variable, variable) > kRounding * raw) continue;
    scatter.row(variable).setConstant(isHeld ? 0.0 : kUndefined);
    scatter.col(variable).setConstant(isHeld ? 0.0 : kUndefined);
  }
  return scatter;
}

}  // namespace derive
