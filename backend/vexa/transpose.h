#pragma once

#include <cstddef>

/// Rows into columns, a cache line of each column at a time, so that each line is written once and whole.

namespace vexa {

/// Values of a column in one cache line.
constexpr unsigned int kLineRows = 64 / sizeof(double);

/// Writes kLineRows rows to the cells of nColumns columns, those of the first one at `to`, and asks for the lines after
/// the next ones.
inline void WriteLines(const double* const* rows, std::size_t nColumns, double* to, std::size_t stride) {
  typedef double Two __attribute__((vector_size(2 * sizeof(double)), aligned(sizeof(double)), may_alias));
  std::size_t col = 0;
  for (; col + 2 <= nColumns; col += 2, to += 2 * stride) {
    __builtin_prefetch(to + 2 * kLineRows, 1);
    __builtin_prefetch(to + stride + 2 * kLineRows, 1);
    // One line after the other: a host's own capacity may put both on the same set of the first-level cache.
    Two second[kLineRows / 2];
    for (unsigned int k = 0; k < kLineRows; k += 2) {
      const Two upper = *reinterpret_cast<const Two*>(rows[k] + col);
      const Two lower = *reinterpret_cast<const Two*>(rows[k + 1] + col);
      *reinterpret_cast<Two*>(to + k) = Two{upper[0], lower[0]};
      second[k / 2] = Two{upper[1], lower[1]};
    }
    for (unsigned int k = 0; k < kLineRows; k += 2) *reinterpret_cast<Two*>(to + stride + k) = second[k / 2];
  }
  if (col < nColumns) {
    for (unsigned int k = 0; k < kLineRows; ++k) to[k] = rows[k][col];
  }
}

}  // namespace vexa
