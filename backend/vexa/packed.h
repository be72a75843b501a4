#pragma once

#include <algorithm>
#include <cstddef>

/// Sizes and indexes of packed lower triangles, row after row. The index type is the caller's, because it
/// bounds the width of the caller's matrix and must stay what its interface promises.

namespace vexa {

/// Cells before row `row` of a triangle with its diagonal, which are also the cells of a triangle of `row`
/// rows.
template <class Index>
constexpr Index TriangleRow(Index row) {
  return row * (row + 1) / 2;
}

/// The same for a triangle without its diagonal.
template <class Index>
constexpr Index StrictTriangleRow(Index row) {
  return row * (row - 1) / 2;
}

/// Index of the cell of two columns, given in either order, in a triangle with its diagonal.
template <class Index>
constexpr Index TriangleCell(Index row, Index col) {
  return row < col ? TriangleRow(col) + row : TriangleRow(row) + col;
}

/// The same for two distinct columns in a triangle without its diagonal.
template <class Index>
constexpr Index StrictTriangleCell(Index row, Index col) {
  return row < col ? StrictTriangleRow(col) + row : StrictTriangleRow(row) + col;
}

/// A fresh array with a copy of the cells, owned by the caller; null for null.
inline double* CopyCells(const double* cells, std::size_t count) {
  if (!cells) return nullptr;
  double* copy = new double[count];
  std::copy_n(cells, count, copy);
  return copy;
}

/// Adds the cells of b to those of a, which may be the same ones.
inline void AddCells(double* a, const double* b, std::size_t count) {
  for (std::size_t cell = 0; cell < count; ++cell) a[cell] += b[cell];
}

}  // namespace vexa
