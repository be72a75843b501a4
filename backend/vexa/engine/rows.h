#pragma once

#include "engine.h"
#include "vectors.h"

/// Chunks of rows out of which those that do not count have been taken.

namespace vexa::engine {
namespace VEXA_ENGINE_LEVEL {

/// A right panel of this many rows fills half of a first-level cache.
constexpr std::size_t kChunkRows = 128;
constexpr std::size_t kWordRows = 64;
static_assert(kChunkRows % kWordRows == 0);

inline std::size_t Min(std::size_t a, std::size_t b) { return a < b ? a : b; }

/// Writes the present ones among `rows` values one behind the other and returns their number; `to` has room for all of
/// them and kLanes more.
inline std::size_t Compact(const double* x, RowBits present, std::size_t rows, double* to) {
  double* const begin = to;
  for (std::size_t row = 0; row < rows; row += kWordRows) {
    std::uint64_t bits = present[row / kWordRows];
#if VEXA_ENGINE_LANES == 8
    std::size_t k = row;
    for (; k + kLanes <= rows && bits != 0; k += kLanes, bits >>= kLanes) {
      const auto mask = static_cast<unsigned char>(bits);
      Store(to, __builtin_ia32_compressdf512_mask(Load(x + k), Vector{}, mask));
      to += __builtin_popcount(mask);
    }
    const std::size_t base = k;
#else
    const std::size_t base = row;
#endif
    for (; bits != 0; bits &= bits - 1) *to++ = x[base + static_cast<std::size_t>(__builtin_ctzll(bits))];
  }
  return static_cast<std::size_t>(to - begin);
}

/// Some rows one after the other, at most kChunkRows of them when not all count; `first` is a multiple of that then.
struct RowRange {
  std::size_t first;
  std::size_t rows;
  RowBits present;  ///< of the first row; null: all count

  RowRange(std::size_t row, std::size_t count, RowBits bits)
      : first(row), rows(count), present(bits ? bits + row / kWordRows : bits) {}

  std::size_t Count() const {
    if (!present) return rows;
    std::size_t count = 0;
    for (std::size_t k = 0; k < rows; k += kWordRows) {
      count += static_cast<std::size_t>(__builtin_popcountll(present[k / kWordRows]));
    }
    return count;
  }
};

/// Room for the values of an array in the rows of a range that count.
class RangeRoom {
 public:
  /// The values where they are, or in the room when not all count.
  template <class Value>
  Value* Take(Value* x, const RowRange& range) {
    if (!x || !range.present) return x ? x + range.first : x;
    Compact(x + range.first, range.present, range.rows, _values);
    return _values;
  }

 private:
  alignas(kScratchAlignment) double _values[kChunkRows + kLanes];
};

/// The same for a group of columns.
class GroupRoom {
 public:
  ColumnGroup Take(ColumnGroup group, const RowRange& range) {
    for (std::size_t lane = 0; lane < kLanes; ++lane)
      group.column[lane] = _rooms[lane].Take(group.column[lane], range);
    return group;
  }

 private:
  RangeRoom _rooms[kLanes];
};

}  // namespace VEXA_ENGINE_LEVEL
}  // namespace vexa::engine
