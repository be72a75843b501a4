#pragma once

#include "engine.h"
#include "vectors.h"

/// Which rows of a run count. Those that do not are passed through the vectors like all others and left out where a
/// vector of a row becomes part of a sum or takes its place among the packed rows.

namespace vexa::engine {
namespace VEXA_ENGINE_LEVEL {

constexpr std::size_t kWordRows = 64;

inline std::size_t Min(std::size_t a, std::size_t b) { return a < b ? a : b; }
inline std::size_t Max(std::size_t a, std::size_t b) { return a < b ? b : a; }

template <bool kAll>
inline bool Counts(RowBits present, std::size_t row) {
  return kAll || (present[row / kWordRows] >> row % kWordRows & 1) != 0;
}

/// The rows that count among `rows` ones from `row` on, a multiple of kWordRows.
inline std::size_t CountRows(RowBits present, std::size_t row, std::size_t rows) {
  if (!present) return rows;
  std::size_t count = 0;
  for (std::size_t k = row; k < row + rows; k += kWordRows)
    count += static_cast<std::size_t>(__builtin_popcountll(present[k / kWordRows]));
  return count;
}

/// A row that does not count becomes +0.0, bit by bit: a sum that began at +0.0 is never −0.0, so that adding it changes
/// nothing.
inline Vector OrZero(bool counts, Vector term) {
  // From memory, because a broadcast out of a register takes the port of the transpositions.
  static constexpr std::int64_t kMasks[] = {0, -1};
  return reinterpret_cast<Vector>(reinterpret_cast<Mask>(term) & (Mask{} + kMasks[counts]));
}

}  // namespace VEXA_ENGINE_LEVEL
}  // namespace vexa::engine
