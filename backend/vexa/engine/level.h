// One translation unit per instruction set defines VEXA_ENGINE_LEVEL, _LANES, _TILE_ROWS and _TILE_VECTORS and
// includes this, which makes every kernel a symbol of the level's own.
#pragma once

#include "columns.h"
#include "crossproducts.h"
#include "lines.h"
#include "pairs.h"

namespace vexa::engine {
namespace VEXA_ENGINE_LEVEL {

constexpr Kernels AllKernels() {
  return {
      .name = VEXA_ENGINE_NAME,
      .summarise = Summarise,
      .centre = CentreColumns,
      .crossProductScratch = CrossProductScratch,
      .crossProducts = CrossProductsOf,
      .squares = Squares,
      .groupSumScratch = GroupSumScratch,
      .groupSums = GroupSumsOf,
      .pool = Pool,
      .rowKernels = RowKernelsOf,
      .writeLines = WriteLines,
      .presence = Presence,
      .extremes = Extremes,
      .pairLanes = kPairLanes,
      .pairScratch = PairScratch,
      .pairs = PairsOf,
  };
}

}  // namespace VEXA_ENGINE_LEVEL
}  // namespace vexa::engine
