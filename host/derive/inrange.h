#ifndef HOST_DERIVE_INRANGE_H
#define HOST_DERIVE_INRANGE_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "derive/sums.h"

namespace derive {

/// The least sum of squares over `n` rows of something that varies of which a double holds all digits.
///
/// A square below 2^-1022 is rounded to a multiple of 2^-1074, or to 0: n of them make an error of up to n 2^-1075,
/// which is within the rounding of a sum of at least n 2^-1022.
constexpr double LeastSquares(std::uint64_t n) { return static_cast<double>(n) * 0x1p-1022; }
/// Of more rows than there are.
inline constexpr double kLeastSquares = LeastSquares(std::uint64_t{1} << 52);
/// Of rows that weigh so much together. A product w x of a weight that is not normal has lost digits before it is
/// multiplied by a large x.
constexpr double LeastSquares(std::uint64_t n, double weight) {
  return weight < LeastSquares(n) ? kLeastSquares : LeastSquares(n);
}

/// How a variable varies over all of its rows: some distance between two of its values, 0 if all are the same. Only one
/// below √kLeastSquares needs to be the largest.
using Spread = double;

enum class Rows { kAll, kSome };

/// The cell without what the range of a double has spoilt, which is NaN in the result: of weights that are too large
/// together, everything that they weigh; of a variable that varies by too little, its sum of squares, and the products where they are too small as well.
/// What else is too large is no finite number by itself. `rows`: whether the cell is over all rows of the variables; in
/// some of them one that varies may be constant.
Cell InRange(Cell cell, Spread row, Spread col, Rows rows);

/// Sums whose cells are in range.
class SumsInRange : public Sums {
 public:
  /// `spreads[i]` is that of variable i, of a rectangle those of its rows first. The sums must stay where they are.
  SumsInRange(const Sums& sums, std::vector<Spread> spreads);

  std::size_t Rows() const override { return _sums.Rows(); }
  std::size_t Cols() const override { return _sums.Cols(); }
  bool IsSymmetric() const override { return _sums.IsSymmetric(); }
  bool IsListwise() const override { return _sums.IsListwise(); }
  Cell At(std::size_t row, std::size_t col) const override;

 private:
  const Sums& _sums;
  std::vector<Spread> _spreads;
};

}  // namespace derive

#endif
