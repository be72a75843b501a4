#include "derive/listwise.h"

#include <cassert>
#include <utility>

namespace derive {

namespace {

/// The cell of two columns, in the accumulator's own numbering, of any listwise accumulator.
template <class Accumulator, class Index>
Cell CellOf(const Accumulator& sums, const std::vector<double>& origin, Index row, Index col) {
  return {.n = sums.NRows(),
          .weightSum = sums.WeightSum(),
          .regWeightSum = sums.RegWeightSum(),
          .meanRow = sums.Mean(row) + origin[static_cast<std::size_t>(row)],
          .meanCol = sums.Mean(col) + origin[static_cast<std::size_t>(col)],
          .cssRow = sums.CCP(row, row),
          .cssCol = sums.CCP(col, col),
          .cscp = sums.CCP(row, col)};
}

}  // namespace

ListwiseSums::ListwiseSums(const vexa::MatrixListwise& matrix, std::vector<double> origin)
    : _matrix(matrix), _origin(std::move(origin)) {
  assert(_matrix.NRows() > 0);
  assert(_origin.size() == _matrix.NColumns());
}

Cell ListwiseSums::At(std::size_t row, std::size_t col) const {
  return CellOf(_matrix, _origin, static_cast<unsigned int>(row), static_cast<unsigned int>(col));
}

BlockSums::BlockSums(const vexa::SMatrixListwise& block, std::vector<double> origin,
                     std::vector<Range> ranges)
    : _block(block), _origin(std::move(origin)), _ranges(std::move(ranges)) {
  assert(_block.NRows() > 0);
  assert(_block.Col0() == 0);
  assert(_origin.size() == _block.NColumns() && _ranges.size() == _block.NColumns());
}

Cell BlockSums::At(std::size_t row, std::size_t col) const {
  Cell cell = CellOf(_block, _origin, static_cast<int>(row), static_cast<int>(col));
  cell.rangeRow = _ranges[row];
  cell.rangeCol = _ranges[col];
  return cell;
}

RectangleSums::RectangleSums(const vexa::NSMatrixListwise& block, std::vector<double> origin)
    : _block(block), _origin(std::move(origin)) {
  assert(_block.NRows() > 0);
  assert(_block.Col0() == 0);
  assert(_origin.size() == _block.NColumns());
}

Cell RectangleSums::At(std::size_t row, std::size_t col) const {
  return CellOf(_block, _origin, static_cast<int>(row), static_cast<int>(Rows() + col));
}

}  // namespace derive
