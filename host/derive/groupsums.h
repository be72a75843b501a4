#ifndef HOST_DERIVE_GROUPSUMS_H
#define HOST_DERIVE_GROUPSUMS_H

#include <Eigen/Core>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "derive/inrange.h"
#include "vexa/DscIndividualMatrix.h"

namespace derive {

/// Each group's weight, means and centred sums, from its raw sums.
///
/// Raw sums of squares about a far origin lose the digits that origin and spread are apart, so the host moves the
/// origin of its variables near their values first. What is left is formed with the digits of a long double.
class GroupSums {
 public:
  /// The matrix must hold data and stay where it is. `rows` are those of each level; `spreads`: level by level, or none.
  GroupSums(const vexa::DiscIndividualMatrix& matrix, std::vector<std::uint64_t> rows,
            std::vector<Spread> spreads);

  Eigen::Index Variables() const { return _matrix.NVar(); }
  std::size_t Groups() const { return static_cast<std::size_t>(_matrix.NGroup()); }

  std::uint64_t Rows(std::size_t group) const { return _rows[group]; }
  double Weight(std::size_t group) const;
  /// Of a group with weight, about the moved origin; NaN if the weight is infinite.
  long double Mean(std::size_t group, Eigen::Index variable) const;
  /// Σ w (x − mean x)(y − mean y) within a group with weight, every pair of variables. All cells are exactly 0 of a
  /// variable that is constant in the group, and NaN of one whose sums have left the range of a double at either end, or
  /// whose spread is lost.
  Eigen::MatrixXd Scatter(std::size_t group) const;
  /// Whether the variable varies in the group, but by so little that its squares are no doubles.
  bool IsBelow(std::size_t group, Eigen::Index variable) const;
  /// Whether the variable varies in the group, but by so little that its sum of squares is within the rounding of the raw
  /// sums.
  bool IsLost(std::size_t group, Eigen::Index variable) const;
  /// How many digits of the variable's sum of squares in the group are lost because its mean is far from the origin, if
  /// not all.
  double LostDigits(std::size_t group, Eigen::Index variable) const;

 private:
  bool Varies(std::size_t group, Eigen::Index variable) const;
  /// Whether the squares of the variable in the group are doubles.
  bool IsHeld(std::size_t group, Eigen::Index variable) const;
  /// Whether a sum of squares is no more than what rounding may have made of 0.
  bool IsRounding(double squares, std::size_t group, Eigen::Index variable) const;
  double ScatterCell(long double meanRow, Eigen::Index row, Eigen::Index col, std::size_t group) const;
  double Cell(Eigen::Index row, Eigen::Index col, std::size_t group) const;

  const vexa::DiscIndividualMatrix& _matrix;
  std::vector<std::uint64_t> _rows;
  std::vector<Spread> _spreads;
};

}  // namespace derive

#endif
