#define VEXA_ENGINE_LEVEL baseline
#define VEXA_ENGINE_NAME "baseline"
#define VEXA_ENGINE_LANES 2
#define VEXA_ENGINE_TILE_ROWS 4
#define VEXA_ENGINE_TILE_VECTORS 3
#include "level.h"

namespace vexa::engine::baseline {

extern const Kernels kKernels;
const Kernels kKernels = AllKernels();

}  // namespace vexa::engine::baseline
