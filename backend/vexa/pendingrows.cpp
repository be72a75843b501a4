#include "pendingrows.h"

#include <cstdint>
#include <iterator>

#include "vexa/databatch.h"

namespace vexa {

using engine::kLineRows;
using engine::kRowBlock;

namespace {

constexpr std::uintptr_t kPage = 4096;

struct Bytes {
  const void* begin;
  std::size_t size;
};

/// Whether some byte of one lies at the same place of its page as some byte of the other.
bool Alias(const Bytes& a, const Bytes& b) {
  const std::uintptr_t distance =
      reinterpret_cast<std::uintptr_t>(a.begin) - reinterpret_cast<std::uintptr_t>(b.begin);
  return distance % kPage < b.size || -distance % kPage < a.size;
}

}  // namespace

PendingRows::PendingRows(const engine::Kernels& kernels, const DataBatch& batch, unsigned int keptAtOnce)
    : _kernels(kernels.rowKernels(batch.NColumns())),
      _nColumns(batch.NColumns()),
      _width(engine::KeptWidth(_nColumns)),
      _keptAtOnce(keptAtOnce) {
  const std::size_t size = (kLineRows - 1) * _width;
  const bool narrow = size * sizeof(double) <= kPage / 4;
  _cells = MakeAligned(size + (narrow ? kPage / sizeof(double) : 0));
  _kept = _cells.get();
  // A processor first takes two addresses for the same one if the last 12 bits are: rows of 10 columns took up to seven times
  // as long where a copy had these in common with the counters. Wide rows mind it less. Narrow ones find
  // a place within a page: what the two objects rule out is less than that.
  const auto aliases = [&] {
    const Bytes kept = {_kept, size * sizeof(double)};
    return Alias(kept, {&batch, sizeof batch}) || Alias(kept, {this, sizeof *this});
  };
  while (narrow && aliases()) _kept += kLineRows;
  for (std::size_t row = 0; row < std::size(_rooms); ++row) _rooms[row] = _kept + row * _width;
  Settle(0);
}

void PendingRows::FinishLine(const double* values, unsigned int row, double* to, std::size_t stride) {
  Write(row, to, stride);
  for (std::size_t col = 0; col < _nColumns; ++col) to[row + col * stride] = values[col];
  Settle(row + 1);
}

void PendingRows::Write(unsigned int nRows, double* to, std::size_t stride) {
  // No row twice: an accumulator may have changed those that are written.
  for (; _settled != nRows; ++_settled) {
    const double* const kept = _rooms[_settled % kLineRows];
    double* cell = to + _settled;
    for (std::size_t col = 0; col < _nColumns; ++col, cell += stride) {
      const bool inLastBlock = col >= _nColumns / kRowBlock * kRowBlock;
      *cell = kept[inLastBlock ? col + (_width - _nColumns) : col];
    }
  }
}

}  // namespace vexa
