#pragma once

#include <algorithm>
#include <cstddef>

#include "aligned.h"
#include "engine/engine.h"

namespace vexa {

class DataBatch;

/// The last rows of a batch, which are not in its columns yet. They are kept side by side until there is one to fill a line
/// of every column: so a row takes half of the stores, and the pages of the columns are visited once for all rows of a
/// line.
class PendingRows {
 public:
  /// @param batch the batch as constructed, of at least engine::kRowBlock columns
  /// @param keptAtOnce rows of the batch that come with their values alone: all that it holds, or none
  /// @throws std::bad_alloc
  PendingRows(const engine::Kernels& kernels, const DataBatch& batch, unsigned int keptAtOnce);

  /// Whether the batch's row number `row` is the last one of a line.
  static bool FillsLine(unsigned int row) { return row % engine::kLineRows == engine::kLineRows - 1; }

  /// Whether there is nothing to do for the next row, number `row`, but to keep it: the batch is not full, the row comes
  /// without weights and group, and does not fill a line. One comparison, as more would take longer than a narrow row.
  bool KeepsAtOnce(unsigned int row) const { return row < _stop; }

  /// Takes the values of the batch's row number `row`, which does not fill a line.
  void Keep(const double* values, unsigned int row) const {
    _kernels.copy(values, _nColumns, _rooms[row % engine::kLineRows]);
  }

  /// Writes the values of the batch's row number `row`, which fills a line, and those that are pending before it. The cells
  /// of the first column begin at `to`, those of the next one `stride` doubles behind it.
  void FillLine(const double* values, unsigned int row, double* to, std::size_t stride) {
    if (row - _settled != engine::kLineRows - 1) [[unlikely]]
      return FinishLine(values, row, to, stride);
    Settle(row + 1);
    _kernels.writeKept(_kept, values, _nColumns, to + (row + 1 - engine::kLineRows), stride);
  }

  /// Writes those of the batch's `nRows` rows that are not in its columns yet.
  void Write(unsigned int nRows, double* to, std::size_t stride);

  /// Says that `nRows` rows are in the columns, however they got there.
  void Settle(unsigned int nRows) {
    _settled = nRows;
    _stop = std::min(nRows / engine::kLineRows * engine::kLineRows + engine::kLineRows - 1, _keptAtOnce);
  }

 private:
  void FinishLine(const double* values, unsigned int row, double* to, std::size_t stride);

  const engine::RowKernels _kernels;
  const std::size_t _nColumns;
  const std::size_t _width;
  /// The next row that is not kept at once: the last one of its line, or the batch's end. 0 where no row is.
  unsigned int _stop = 0;
  unsigned int _settled = 0;
  const unsigned int _keptAtOnce;
  AlignedCells _cells;
  double* _kept;
  /// Of all rows of a line but the one that fills it, side by side from _kept on: looked up, as that is shorter than a product.
  double* _rooms[engine::kLineRows - 1];
};

}  // namespace vexa
