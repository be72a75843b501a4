// No include guard of its own kind: one translation unit per instruction set includes this once, after level.h
// has named the level.
#pragma once

#include <cstddef>
#include <cstdint>

/// Vectors of doubles as wide as the level's registers, in the compiler's own notation.

namespace vexa::engine {
namespace VEXA_ENGINE_LEVEL {

constexpr std::size_t kLanes = VEXA_ENGINE_LANES;

typedef double Vector __attribute__((vector_size(kLanes * sizeof(double))));
typedef std::int64_t Mask __attribute__((vector_size(kLanes * sizeof(double))));
typedef double Unaligned
    __attribute__((vector_size(kLanes * sizeof(double)), aligned(sizeof(double)), may_alias));

inline Vector Load(const double* from) { return *reinterpret_cast<const Unaligned*>(from); }
inline void Store(double* to, Vector x) { *reinterpret_cast<Unaligned*>(to) = x; }

template <std::size_t... kLane>
struct Lanes {};
template <std::size_t kCount, std::size_t... kLane>
struct MakeLanes : MakeLanes<kCount - 1, kCount - 1, kLane...> {};
template <std::size_t... kLane>
struct MakeLanes<0, kLane...> {
  using Type = Lanes<kLane...>;
};
using AllLanes = MakeLanes<kLanes>::Type;

template <std::size_t... kLane>
inline Vector Repeat(double x, Lanes<kLane...> /*lanes*/) {
  return Vector{(static_cast<void>(kLane), x)...};
}

/// The same value in every lane. (Adding it to a zero vector would not do: an addition is no copy of −0.0.)
inline Vector Broadcast(double x) { return Repeat(x, AllLanes{}); }

inline bool Any(Mask mask) {
  std::int64_t any = 0;
  for (std::size_t lane = 0; lane < kLanes; ++lane) any |= mask[lane];
  return any != 0;
}

/// Exchanges, in vectors `Distance` apart, the halves of every block of 2 × Distance lanes: one of the log2 steps
/// of a transposition.
template <std::size_t Distance, std::size_t... kLane>
inline void ExchangeHalves(Vector& a, Vector& b, Lanes<kLane...> /*lanes*/) {
  const Vector low = __builtin_shufflevector(a, b, (kLane & Distance ? kLane - Distance + kLanes : kLane)...);
  const Vector high =
      __builtin_shufflevector(a, b, (kLane & Distance ? kLane + kLanes : kLane + Distance)...);
  a = low;
  b = high;
}

template <std::size_t Distance>
inline void TransposeStep(Vector* x) {
  for (std::size_t k = 0; k < kLanes; ++k) {
    if ((k & Distance) == 0) ExchangeHalves<Distance>(x[k], x[k + Distance], AllLanes{});
  }
  if constexpr (Distance > 1) TransposeStep<Distance / 2>(x);
}

/// Lane j of vector i becomes lane i of vector j.
inline void Transpose(Vector* x) { TransposeStep<kLanes / 2>(x); }

/// a[0], a[1], a[0], a[1] and so on.
template <std::size_t... kLane>
inline Vector Alternate(const double* a, Lanes<kLane...> /*lanes*/) {
  typedef double Two __attribute__((vector_size(2 * sizeof(double)), aligned(sizeof(double)), may_alias));
  const Two two = *reinterpret_cast<const Two*>(a);
#if VEXA_ENGINE_LANES == 8 && !defined(__clang__)
  // GCC takes a detour through memory for the shuffle.
  return __builtin_ia32_broadcastf64x2_512_mask(two, Vector{}, 0xff);
#else
  return __builtin_shufflevector(two, two, (kLane % 2)...);
#endif
}

/// a[0], b[0], a[1], b[1] and so on, of the lower halves.
template <std::size_t... kLane>
inline Vector Interleave(Vector a, Vector b, Lanes<kLane...> /*lanes*/) {
  return __builtin_shufflevector(a, b, (kLane / 2 + kLane % 2 * kLanes)...);
}

/// x[kFirst], x[kFirst + 2] and so on, as the lower half.
template <std::size_t kFirst, std::size_t... kLane>
inline Vector EverySecond(Vector x, Lanes<kLane...> /*lanes*/) {
  return __builtin_shufflevector(x, x, ((2 * kLane + kFirst) % kLanes)...);
}

/// kLanes columns, row by row. Where there are fewer, the last one stands in for the rest.
struct ColumnGroup {
  double* column[kLanes];

  ColumnGroup() = default;

  ColumnGroup(const Columns& run, std::size_t first) {
    const std::size_t last = run.columns - 1;
    for (std::size_t lane = 0; lane < kLanes; ++lane) {
      column[lane] = run.Column(first + lane < last ? first + lane : last);
    }
  }

  ColumnGroup(double* const* columns, std::size_t count, std::size_t first) {
    for (std::size_t lane = 0; lane < kLanes; ++lane) {
      column[lane] = columns[first + lane < count ? first + lane : count - 1];
    }
  }

  Vector Row(std::size_t row) const {
    Vector x;
    for (std::size_t lane = 0; lane < kLanes; ++lane) x[lane] = column[lane][row];
    return x;
  }
  /// Rows `row` to `row` + kLanes − 1.
  void Rows(std::size_t row, Vector* x) const {
    for (std::size_t lane = 0; lane < kLanes; ++lane) x[lane] = Load(column[lane] + row);
    Transpose(x);
  }

  /// Subtracts the means from the same rows, also where they lie. Lanes that hold one column have one mean: all are read
  /// before any is written, so that it does not matter how often it is.
  void CentreRows(std::size_t row, Vector means, Vector* x) const {
    for (std::size_t lane = 0; lane < kLanes; ++lane)
      x[lane] = Load(column[lane] + row) - Broadcast(means[lane]);
    for (std::size_t lane = 0; lane < kLanes; ++lane) Store(column[lane] + row, x[lane]);
    Transpose(x);
  }
  void SetRow(std::size_t row, Vector x) const {
    for (std::size_t lane = 0; lane < kLanes; ++lane) column[lane][row] = x[lane];
  }
};

/// Calls visit(row, values of the group in that row) for rows first to last − 1 in ascending order.
template <class Visit>
inline void ForEachRow(const ColumnGroup& group, std::size_t first, std::size_t last, Visit visit) {
  std::size_t row = first;
  for (; row + kLanes <= last; row += kLanes) {
    Vector x[kLanes];
    group.Rows(row, x);
    for (std::size_t k = 0; k < kLanes; ++k) visit(row + k, x[k]);
  }
  for (; row < last; ++row) visit(row, group.Row(row));
}

}  // namespace VEXA_ENGINE_LEVEL
}  // namespace vexa::engine
