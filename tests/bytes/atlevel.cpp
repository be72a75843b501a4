#include <cstdio>
#include <cstdlib>

#include "vexa/engine/engine.h"

// Loaded ahead of the library, the same objects take its place: the program is the one that people run, and what it
// sums with is chosen here. The library itself has no such switch.

namespace {

constexpr int kLacking = 77;

[[gnu::constructor]] void ChooseInstructionSet() {
  const char* level = std::getenv("VEXA_TEST_LEVEL");
  if (level != nullptr && vexa::engine::Force(level)) return;
  std::fprintf(stderr, "%s: this machine lacks its instructions\n", level != nullptr ? level : "nothing");
  std::_Exit(kLacking);
}

}  // namespace
