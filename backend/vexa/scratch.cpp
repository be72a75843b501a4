#include "scratch.h"

#include "aligned.h"
#include "engine/engine.h"

namespace vexa {

static_assert(static_cast<std::size_t>(kLine) % engine::kScratchAlignment == 0);

namespace {

class Room {
 public:
  double* Fit(std::size_t count) {
    if (_size < count) {
      AlignedCells grown = TryMakeAligned(count);
      if (!grown) return nullptr;
      _cells.swap(grown);
      _size = count;
    }
    return _cells.get();
  }

 private:
  AlignedCells _cells;
  std::size_t _size = 0;
};

}  // namespace

double* Scratch(std::size_t count) {
  thread_local Room room;
  // The analyzer takes the room of the call before for freed: it does not follow thread_local.
  return room.Fit(count);  // NOLINT(clang-analyzer-cplusplus.NewDelete)
}

}  // namespace vexa
