#include "scratch.h"

#include <memory>
#include <new>

#include "engine/engine.h"

namespace vexa {

namespace {

struct Release {
  void operator()(double* room) const {
    ::operator delete[](room, std::align_val_t{engine::kScratchAlignment});
  }
};

struct Room {
  std::unique_ptr<double[], Release> room;
  std::size_t count = 0;
};

}  // namespace

double* Scratch(std::size_t count) {
  thread_local Room kept;
  if (kept.count < count) {
    kept.count = 0;
    kept.room.reset(static_cast<double*>(
        ::operator new[](count * sizeof(double), std::align_val_t{engine::kScratchAlignment}, std::nothrow)));
    if (!kept.room) return nullptr;
    kept.count = count;
  }
  return kept.room.get();
}

}  // namespace vexa
