#include "vexa/instructionset.h"

#include "engine/engine.h"

namespace vexa {

const char* InstructionSet() {
  const engine::Kernels* active = engine::Active();
  return active ? active->name : "plain";  // which only tests choose
}

}  // namespace vexa
