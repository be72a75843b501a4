#define VEXA_ENGINE_LEVEL v3
#define VEXA_ENGINE_NAME "v3"
#define VEXA_ENGINE_LANES 4
#define VEXA_ENGINE_TILE_ROWS 4
#define VEXA_ENGINE_TILE_VECTORS 3
#include "level.h"

namespace vexa::engine::v3 {

extern const Kernels kKernels;
const Kernels kKernels = AllKernels();

}  // namespace vexa::engine::v3
