#include <gtest/gtest.h>

#include <cstdio>

#include "vexa/engine/engine.h"

constexpr int kSkipped = 77;

/// Runs every test at the instruction set that the first argument names and fails when it is not the active one.
int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (argc < 2) {
    std::fputs("which instruction set?\n", stderr);
    return 2;
  }
  const std::string level = argv[1];
  if (!vexa::engine::Force(level.c_str())) {
    // Only what the machine decides is skipped; a name that no machine knows is a fault of the caller.
    const bool known = level == "v3" || level == "v4";
    std::printf("%s: this machine lacks its instructions\n", level.c_str());
    return known ? kSkipped : 1;
  }
  const vexa::engine::Kernels* active = vexa::engine::Active();
  if ((active ? active->name : std::string("plain")) != level) {
    std::printf("%s was asked for but is not active\n", level.c_str());
    return 1;
  }
  return RUN_ALL_TESTS();
}
