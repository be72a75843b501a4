#pragma once

#include "engine.h"
#include "vectors.h"

/// Rows into columns: rows are copied side by side until they fill a line of every column, and then each line is written
/// once and whole.

namespace vexa::engine {
namespace VEXA_ENGINE_LEVEL {

/// Values that move together. Eight would need as many shuffles for a value, and a processor takes half as many of them
/// in a cycle.
constexpr std::size_t kMoved = kLanes < kRowBlock ? kLanes : kRowBlock;
static_assert(kRowBlock % kMoved == 0 && kLineRows % kMoved == 0);

typedef double Moved __attribute__((vector_size(kMoved * sizeof(double))));
typedef double UnalignedMoved
    __attribute__((vector_size(kMoved * sizeof(double)), aligned(sizeof(double)), may_alias));

inline Moved LoadMoved(const double* from) { return *reinterpret_cast<const UnalignedMoved*>(from); }
inline void StoreMoved(double* to, Moved x) { *reinterpret_cast<UnalignedMoved*>(to) = x; }

/// Vector by vector, as the block is read again: a load of what is still on its way from two stores has to wait for both.
inline void CopyBlock(const double* from, double* to) {
  for (std::size_t k = 0; k < kRowBlock; k += kMoved) StoreMoved(to + k, LoadMoved(from + k));
}

/// The last block may hold some values for the second time.
inline void CopyRow(const double* row, std::size_t columns, double* to) {
  const double* const last = row + columns - kRowBlock;
#pragma GCC unroll 4
  for (; row < last; row += kRowBlock, to += kRowBlock) CopyBlock(row, to);
  CopyBlock(last, to);
}

/// Rows wherever they are.
struct AnyRows {
  const double* const* rows;
  const double* Row(std::size_t row) const { return rows[row]; }
};

/// Rows side by side, whose addresses take fewer registers than there are.
struct KeptRows {
  const double* first;
  std::size_t width;
  const double* Row(std::size_t row) const { return first + row * width; }
};

/// Writes the last kColumns columns of a block, which the rows have at `at` and the last row at lastBlock; the cells of the
/// first one of these columns begin at `to`.
template <std::size_t kColumns, class Rows>
inline void WriteBlock(const Rows& rows, std::size_t at, const double* lastBlock, double* to,
                       std::size_t stride) {
  constexpr std::size_t kSkipped = kRowBlock - kColumns;
  const auto value = [=](std::size_t row) { return row == kLineRows - 1 ? lastBlock : rows.Row(row) + at; };
  for (std::size_t k = 0; k < kLineRows; k += kMoved) {
#if VEXA_ENGINE_LANES == 2
    double* cell = to + k;
    for (std::size_t pair = kSkipped / 2 * 2; pair < kRowBlock; pair += 2) {
      const Moved x = LoadMoved(value(k) + pair);
      const Moved y = LoadMoved(value(k + 1) + pair);
      if (pair >= kSkipped) StoreMoved(cell, Moved{x[0], y[0]}), cell += stride;
      StoreMoved(cell, Moved{x[1], y[1]});
      cell += stride;
    }
#else
    const Moved x0 = LoadMoved(value(k));
    const Moved x1 = LoadMoved(value(k + 1));
    const Moved x2 = LoadMoved(value(k + 2));
    const Moved x3 = LoadMoved(value(k + 3));
    const Moved even01 = __builtin_shufflevector(x0, x1, 0, 4, 2, 6);
    const Moved odd01 = __builtin_shufflevector(x0, x1, 1, 5, 3, 7);
    const Moved even23 = __builtin_shufflevector(x2, x3, 0, 4, 2, 6);
    const Moved odd23 = __builtin_shufflevector(x2, x3, 1, 5, 3, 7);
    double* cell = to + k;
    if (kSkipped < 1) StoreMoved(cell, __builtin_shufflevector(even01, even23, 0, 1, 4, 5)), cell += stride;
    if (kSkipped < 2) StoreMoved(cell, __builtin_shufflevector(odd01, odd23, 0, 1, 4, 5)), cell += stride;
    if (kSkipped < 3) StoreMoved(cell, __builtin_shufflevector(even01, even23, 2, 3, 6, 7)), cell += stride;
    StoreMoved(cell, __builtin_shufflevector(odd01, odd23, 2, 3, 6, 7));
#endif
  }
}

/// The rows have their last block at `last`, the last row has it at its end.
template <class Rows>
inline void WriteBlocks(const Rows& rows, std::size_t last, const double* lastRow, std::size_t columns,
                        double* to, std::size_t stride) {
  std::size_t col = 0;
  for (; col + kRowBlock <= columns; col += kRowBlock, to += kRowBlock * stride)
    WriteBlock<kRowBlock>(rows, col, lastRow + col, to, stride);
  const double* const lastBlock = lastRow + columns - kRowBlock;
  switch (columns - col) {
    case 3:
      return WriteBlock<3>(rows, last, lastBlock, to, stride);
    case 2:
      return WriteBlock<2>(rows, last, lastBlock, to, stride);
    case 1:
      return WriteBlock<1>(rows, last, lastBlock, to, stride);
  }
}

inline void WriteLines(const double* const* rows, std::size_t columns, double* to, std::size_t stride) {
  WriteBlocks(AnyRows{rows}, columns - kRowBlock, rows[kLineRows - 1], columns, to, stride);
}

inline void WriteKept(const double* kept, const double* lastRow, std::size_t columns, double* to,
                      std::size_t stride) {
  const std::size_t width = KeptWidth(columns);
  WriteBlocks(KeptRows{kept, width}, width - kRowBlock, lastRow, columns, to, stride);
}

/// Rows of so few columns have functions of their own, as loops and their addresses take as long as the values.
constexpr std::size_t kNarrow = 16;

template <std::size_t kColumns>
void CopyNarrowRow(const double* row, std::size_t columns, double* to) {
  static_cast<void>(columns);
  CopyRow(row, kColumns, to);
}

template <std::size_t kColumns>
void WriteNarrowKept(const double* kept, const double* lastRow, std::size_t columns, double* to,
                     std::size_t stride) {
  static_cast<void>(columns);
  WriteKept(kept, lastRow, kColumns, to, stride);
}

template <std::size_t kColumns>
constexpr RowKernels NarrowKernels() {
  return {CopyNarrowRow<kColumns>, WriteNarrowKept<kColumns>};
}

inline RowKernels RowKernelsOf(std::size_t columns) {
  static constexpr RowKernels kNarrowKernels[] = {
      NarrowKernels<4>(),  NarrowKernels<5>(),  NarrowKernels<6>(),  NarrowKernels<7>(),  NarrowKernels<8>(),
      NarrowKernels<9>(),  NarrowKernels<10>(), NarrowKernels<11>(), NarrowKernels<12>(), NarrowKernels<13>(),
      NarrowKernels<14>(), NarrowKernels<15>(), NarrowKernels<16>()};
  static_assert(sizeof kNarrowKernels / sizeof *kNarrowKernels == kNarrow - kRowBlock + 1);
  return columns <= kNarrow ? kNarrowKernels[columns - kRowBlock] : RowKernels{CopyRow, WriteKept};
}

}  // namespace VEXA_ENGINE_LEVEL
}  // namespace vexa::engine
