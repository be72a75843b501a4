#define VEXA_ENGINE_LEVEL v4
#define VEXA_ENGINE_NAME "v4"
#define VEXA_ENGINE_LANES 8
#define VEXA_ENGINE_TILE_ROWS 8
#define VEXA_ENGINE_TILE_VECTORS 3
#include "level.h"

namespace vexa::engine::v4 {

extern const Kernels kKernels;
const Kernels kKernels = AllKernels();

}  // namespace vexa::engine::v4
