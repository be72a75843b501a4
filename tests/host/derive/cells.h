#ifndef TESTS_HOST_DERIVE_CELLS_H
#define TESTS_HOST_DERIVE_CELLS_H

#include <cstddef>
#include <functional>
#include <utility>

#include "derive/sums.h"

namespace derive_test {

/// Sums whose cells are what a function says.
class Cells : public derive::Sums {
 public:
  using Cell = std::function<derive::Cell(std::size_t row, std::size_t col)>;

  Cells(std::size_t rows, std::size_t cols, bool isSymmetric, Cell cell, bool isListwise = false)
      : _rows(rows),
        _cols(cols),
        _isSymmetric(isSymmetric),
        _isListwise(isListwise),
        _cell(std::move(cell)) {}
  std::size_t Rows() const override { return _rows; }
  std::size_t Cols() const override { return _cols; }
  bool IsSymmetric() const override { return _isSymmetric; }
  bool IsListwise() const override { return _isListwise; }
  derive::Cell At(std::size_t row, std::size_t col) const override { return _cell(row, col); }

 private:
  std::size_t _rows, _cols;
  bool _isSymmetric, _isListwise;
  Cell _cell;
};

}  // namespace derive_test

#endif
