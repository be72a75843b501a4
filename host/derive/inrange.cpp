#include "derive/inrange.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>
#include <utility>

namespace derive {
namespace {

constexpr double kUndefined = std::numeric_limits<double>::quiet_NaN();
constexpr double kLeastSpread = 0x1p-485;

bool IsBelow(double squares, double least, Spread spread, Rows rows, double weight) {
  if (!(squares < least && spread > 0.0)) return false;
  return squares > 0.0 || rows == Rows::kAll || spread * std::min(std::sqrt(weight), 1.0) < kLeastSpread;
}

}  // namespace

Cell InRange(Cell cell, Spread row, Spread col, Rows rows) {
  if (std::isinf(cell.weightSum) || std::isinf(cell.regWeightSum)) {
    cell.meanRow = cell.meanCol = cell.cssRow = cell.cssCol = cell.cscp = kUndefined;
    return cell;
  }
  // What is not there or weighs nothing has no spread to lose, nor has a single row.
  if (cell.n < 2 || !(cell.regWeightSum > 0.0)) return cell;
  const double least = LeastSquares(cell.n, cell.regWeightSum);
  cell.isBelowRow = IsBelow(cell.cssRow, least, row, rows, cell.regWeightSum);
  cell.isBelowCol = IsBelow(cell.cssCol, least, col, rows, cell.regWeightSum);
  if (cell.isBelowRow) cell.cssRow = kUndefined;
  if (cell.isBelowCol) cell.cssCol = kUndefined;
  // Beside a variable of another size the products may still be held, and beside a constant they are 0.
  const bool hasConstant = cell.cssRow == 0.0 || cell.cssCol == 0.0;
  if ((cell.isBelowRow || cell.isBelowCol) && !hasConstant && std::abs(cell.cscp) < least)
    cell.cscp = kUndefined;
  return cell;
}

SumsInRange::SumsInRange(const Sums& sums, std::vector<Spread> spreads)
    : _sums(sums), _spreads(std::move(spreads)) {
  assert(_spreads.size() == (_sums.IsSymmetric() ? _sums.Cols() : _sums.Rows() + _sums.Cols()));
}

Cell SumsInRange::At(std::size_t row, std::size_t col) const {
  const bool isOwn = IsSymmetric() && row == col;
  return InRange(_sums.At(row, col), _spreads[row], _spreads[IsSymmetric() ? col : Rows() + col],
                 IsListwise() || isOwn ? derive::Rows::kAll : derive::Rows::kSome);
}

}  // namespace derive
