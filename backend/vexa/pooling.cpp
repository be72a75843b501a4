#include "pooling.h"

#include "engine/engine.h"

namespace vexa {

void PoolCells(double* cellsA, const double* cellsB, const double* fromA, double a, const double* fromB,
               double b, std::size_t count) {
  if (const engine::Kernels* kernels = engine::Active()) {
    kernels->pool({cellsA, cellsB, fromA, a, fromB, b, count});
    return;
  }
  for (std::size_t k = 0; k < count; ++k) {
    cellsA[k] = PooledCell(cellsA[k], cellsB[k], fromA[k], a, fromB[k], b);
  }
}

}  // namespace vexa
