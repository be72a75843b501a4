#include "scratch.h"

#include "aligned.h"
#include "engine/engine.h"

namespace vexa {

static_assert(static_cast<std::size_t>(kLine) % engine::kScratchAlignment == 0);

double* Scratch(std::size_t count) {
  thread_local AlignedCells kept;
  thread_local std::size_t size = 0;
  if (size < count) {
    size = 0;
    kept.reset();
    kept = TryMakeAligned(count);
    if (kept) size = count;
  }
  return kept.get();
}

}  // namespace vexa
