#ifndef HOST_DERIVE_SUMS_H
#define HOST_DERIVE_SUMS_H

#include <cstddef>
#include <cstdint>
#include <limits>

namespace derive {

/// The smallest and the largest value of a variable, as they stand in the input; NaN where there is none or nobody asked.
struct Range {
  double min = std::numeric_limits<double>::quiet_NaN();
  double max = std::numeric_limits<double>::quiet_NaN();
};

/// What an accumulator holds about one pair of variables: everything that a statistic of the pair is made of.
///
/// All of it is over the rows that this pair uses, which with pairwise handling are others than its neighbour's.
/// Weighted sums take the combined weight, case × regression.
struct Cell {
  std::uint64_t n = 0;        ///< rows
  double weightSum = 0.0;     ///< case weights; n without case weights
  double regWeightSum = 0.0;  ///< combined weights; weightSum without regression weights
  double meanRow = 0.0;       ///< in the input's own origin
  double meanCol = 0.0;
  double cssRow = 0.0;  ///< Σ w (x − mean x)²
  double cssCol = 0.0;
  double cscp = 0.0;  ///< Σ w (x − mean x)(y − mean y)
  Range rangeRow = {};
  Range rangeCol = {};
  /// The variable varies by so little that its squares leave the range of a double: css is NaN. See InRange.
  bool isBelowRow = false;
  bool isBelowCol = false;
};

/// The sums of an accumulator, whatever its shape and its handling of missing values.
class Sums {
 public:
  Sums() = default;
  virtual ~Sums() = default;
  Sums(const Sums&) = delete;
  Sums& operator=(const Sums&) = delete;

  virtual std::size_t Rows() const = 0;
  virtual std::size_t Cols() const = 0;
  /// Rows and columns are the same variables: cell (i, i) is a variable with itself, (i, j) mirrors (j, i).
  virtual bool IsSymmetric() const = 0;
  /// Every cell is over the same rows: n and both weight sums are the same in all, a variable's mean and css
  /// wherever it stands.
  virtual bool IsListwise() const = 0;

  /// Requires row < Rows() and col < Cols().
  virtual Cell At(std::size_t row, std::size_t col) const = 0;
};

}  // namespace derive

#endif
