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

bool GroupSums::Varies(std::size_t group, Eigen::Index variable) const {
  const std::size_t at = group * static_cast<std::size_t>(Variables()) + static_cast<std::size_t>(variable);
  return !_spreads.empty() && _spreads[at] > 0.0;
}

bool GroupSums::IsBelow(std::size_t group, Eigen::Index variable) const {
  // About the moved origin a spread has no smaller squares than about the mean.
  return Varies(group, variable) &&
         Cell(variable, variable, group) < LeastSquares(_rows[group], Weight(group));
}

bool GroupSums::IsHeld(std::size_t group, Eigen::Index variable) const {
  return std::isfinite(Cell(variable, variable, group)) && std::isfinite(Weight(group)) &&
         !IsBelow(group, variable);
}

bool GroupSums::IsLost(std::size_t group, Eigen::Index variable) const {
  return Varies(group, variable) && IsHeld(group, variable) &&
         IsRounding(ScatterCell(Mean(group, variable), variable, variable, group), group, variable);
}

double GroupSums::LostDigits(std::size_t group, Eigen::Index variable) const {
  if (!Varies(group, variable) || !IsHeld(group, variable) || IsLost(group, variable)) return 0.0;
  return std::log10(Cell(variable, variable, group) /
                    ScatterCell(Mean(group, variable), variable, variable, group));
}

bool GroupSums::IsRounding(double squares, std::size_t group, Eigen::Index variable) const {
  return !(squares > kRounding * Cell(variable, variable, group));
}

double GroupSums::ScatterCell(long double meanRow, Eigen::Index row, Eigen::Index col,
                              std::size_t group) const {
  return static_cast<double>(Cell(row, col, group) - meanRow * Cell(Variables(), col, group));
}

Eigen::MatrixXd GroupSums::Scatter(std::size_t group) const {
  const Eigen::Index variables = Variables();
  Eigen::MatrixXd scatter(variables, variables);
  for (Eigen::Index row = 0; row < variables; ++row) {
    const long double mean = Mean(group, row);
    for (Eigen::Index col = 0; col <= row; ++col)
      scatter(row, col) = scatter(col, row) = ScatterCell(mean, row, col, group);
  }
  std::vector<Eigen::Index> constant;
  const auto set = [&](Eigen::Index variable, double value) {
    scatter.row(variable).setConstant(value);
    scatter.col(variable).setConstant(value);
  };
  for (Eigen::Index variable = 0; variable < variables; ++variable) {
    const bool isHeld = IsHeld(group, variable);
    if (isHeld && !IsRounding(scatter(variable, variable), group, variable)) continue;
    if (isHeld && !Varies(group, variable)) {
      constant.push_back(variable);
    } else {
      set(variable, kUndefined);
    }
  }
  // Last, since the products with a constant are 0 whatever is beside it.
  for (const Eigen::Index variable : constant) set(variable, 0.0);
  return scatter;
}

}  // namespace derive
