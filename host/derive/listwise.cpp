#include "derive/listwise.h"

#include <cassert>
#include <utility>

namespace derive {

ListwiseSums::ListwiseSums(const vexa::MatrixListwise& matrix, std::vector<double> origin)
    : _matrix(matrix), _origin(std::move(origin)) {
  assert(_matrix.NRows() > 0);
  assert(_origin.size() == _matrix.NColumns());
}

Cell ListwiseSums::At(std::size_t row, std::size_t col) const {
  const auto r = static_cast<unsigned int>(row);
  const auto c = static_cast<unsigned int>(col);
  return {.n = _matrix.NRows(),
          .weightSum = _matrix.WeightSum(),
          .regWeightSum = _matrix.RegWeightSum(),
          .meanRow = _matrix.Mean(r) + _origin[row],
          .meanCol = _matrix.Mean(c) + _origin[col],
          .cssRow = _matrix.CCP(r, r),
          .cssCol = _matrix.CCP(c, c),
          .cscp = _matrix.CCP(r, c)};
}

}  // namespace derive
