#include "scratch.h"

#include "aligned.h"
#include "engine/engine.h"

namespace vexa {

static_assert(static_cast<std::size_t>(kLine) % engine::kScratchAlignment == 0);

double* Scratch(std::size_t count) {
  thread_local AlignedCells kept;
  thread_local std::size_t size = 0;
  if (size < count) {
    AlignedCells grown = TryMakeAligned(count);
    if (!grown) return nullptr;
    kept.swap(grown);
    size = count;
  }
  return kept.get();
}

}  // namespace vexa
