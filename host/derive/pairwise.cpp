#include "derive/pairwise.h"

#include <cassert>
#include <cmath>
#include <limits>
#include <utility>

namespace derive {
namespace {

/// The largest spread, relative to the mean, that pooling can make of a constant v.
///
/// A record without rows that takes in another has the mean (v·R) ÷ R, which is up to 2 units of roundoff from v. What
/// is pooled of two such means lies between them, so that all of them are within 4 units of each other; they add no more
/// to the css than R (2uv)² between them, R (2uv)² where they were first rounded, and R (uv)² in each of at most 40
/// merges that follow each other: √48 units in all.
constexpr double kPooledConstant = 0x1p-50;

/// Whether a css is within the rounding of a constant's.
bool IsConstant(double css, double regWeightSum, double mean) {
  return std::sqrt(css) <= kPooledConstant * std::abs(mean) * std::sqrt(regWeightSum);
}

/// A cell whose means are those of the record, about the moved origin.
Cell Finished(Cell cell, double originRow, double originCol) {
  if (IsConstant(cell.cssRow, cell.regWeightSum, cell.meanRow)) cell.cssRow = cell.cscp = 0.0;
  if (IsConstant(cell.cssCol, cell.regWeightSum, cell.meanCol)) cell.cssCol = cell.cscp = 0.0;
  // Without weight there is no mean, and what the record holds in its place is nothing of the data's.
  const bool hasMean = cell.regWeightSum > 0.0;
  cell.meanRow = hasMean ? cell.meanRow + originRow : std::numeric_limits<double>::quiet_NaN();
  cell.meanCol = hasMean ? cell.meanCol + originCol : std::numeric_limits<double>::quiet_NaN();
  return cell;
}

template <class Variable>
Cell OfVariable(const Variable& variable, double origin) {
  return Finished({.n = static_cast<std::uint64_t>(variable.NRows()),
                   .weightSum = variable.WeightSum(),
                   .regWeightSum = variable.RegWeightSum(),
                   .meanRow = variable.Mean(),
                   .meanCol = variable.Mean(),
                   .cssRow = variable.CSS(),
                   .cssCol = variable.CSS(),
                   .cscp = variable.CSS()},
                  origin, origin);
}

/// The first variable of the pair is the cell's row.
template <class Pair>
Cell OfPair(const Pair& pair, double originRow, double originCol) {
  return Finished({.n = static_cast<std::uint64_t>(pair.NRows()),
                   .weightSum = pair.WeightSum(),
                   .regWeightSum = pair.RegWeightSum(),
                   .meanRow = pair.Mean0(),
                   .meanCol = pair.Mean1(),
                   .cssRow = pair.CSS0(),
                   .cssCol = pair.CSS1(),
                   .cscp = pair.CSCP()},
                  originRow, originCol);
}

}  // namespace

PairwiseSums::PairwiseSums(const vexa::MatrixPairwise& matrix, std::vector<double> origin,
                           std::vector<Range> ranges)
    : _matrix(matrix), _origin(std::move(origin)), _ranges(std::move(ranges)) {
  assert(_matrix.NRows() > 0);
  assert(_origin.size() == _matrix.NColumns());
  assert(_ranges.empty() || _ranges.size() == _matrix.NColumns());
}

Cell PairwiseSums::At(std::size_t row, std::size_t col) const {
  if (row < col) {
    // The matrix keeps the lower triangle.
    Cell cell = At(col, row);
    std::swap(cell.meanRow, cell.meanCol);
    std::swap(cell.cssRow, cell.cssCol);
    std::swap(cell.rangeRow, cell.rangeCol);
    return cell;
  }
  const auto r = static_cast<unsigned int>(row);
  const auto c = static_cast<unsigned int>(col);
  Cell cell = row == col ? OfVariable(_matrix.Var(r), _origin[row])
                         : OfPair(_matrix.Pair(r, c), _origin[row], _origin[col]);
  if (_ranges.empty()) return cell;
  cell.rangeRow = _ranges[row];
  cell.rangeCol = _ranges[col];
  return cell;
}

PairwiseRectangleSums::PairwiseRectangleSums(const vexa::NSMatrixPairwise& block, std::vector<double> origin)
    : _block(block), _origin(std::move(origin)) {
  assert(_block.NRows() > 0 && _block.Col0() == 0);
  assert(_origin.size() == _block.NColumns());
}

Cell PairwiseRectangleSums::At(std::size_t row, std::size_t col) const {
  const std::size_t right = Rows() + col;
  return OfPair(_block.Pair(static_cast<int>(row), static_cast<int>(right)), _origin[row], _origin[right]);
}

std::vector<Cell> VariableCells(const vexa::NSMatrixPairwise& block, const std::vector<double>& origin,
                                std::span<const Range> ranges) {
  if (block.NRows() == 0) return std::vector<Cell>(origin.size(), Finished({}, 0.0, 0.0));
  assert(block.Col0() == 0);
  assert(origin.size() == block.NColumns() && ranges.size() == block.NColumns());
  std::vector<Cell> cells;
  cells.reserve(origin.size());
  for (std::size_t variable = 0; variable < origin.size(); ++variable) {
    cells.push_back(OfVariable(block.Var(static_cast<int>(variable)), origin[variable]));
    cells.back().rangeRow = cells.back().rangeCol = ranges[variable];
  }
  return cells;
}

}  // namespace derive
