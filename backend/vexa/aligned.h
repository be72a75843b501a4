#pragma once

#include <cstddef>
#include <memory>
#include <new>

/// Arrays of doubles that begin on a cache line: a vector that lies across two lines takes two accesses, and a
/// store across two takes several times as long as one.

namespace vexa {

constexpr std::align_val_t kLine{64};

struct FreeAligned {
  void operator()(double* cells) const { ::operator delete[](cells, kLine); }
};

using AlignedCells = std::unique_ptr<double[], FreeAligned>;

/// Not initialised. Throws std::bad_alloc.
inline AlignedCells MakeAligned(std::size_t count) {
  return AlignedCells(static_cast<double*>(::operator new[](count * sizeof(double), kLine)));
}

/// The same; null when there is no memory.
inline AlignedCells TryMakeAligned(std::size_t count) {
  return AlignedCells(static_cast<double*>(::operator new[](count * sizeof(double), kLine, std::nothrow)));
}

}  // namespace vexa
