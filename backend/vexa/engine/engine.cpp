#include "engine.h"

namespace vexa::engine {

namespace baseline {
extern const Kernels kKernels;
}
#if defined(__x86_64__)
namespace v3 {
extern const Kernels kKernels;
}
namespace v4 {
extern const Kernels kKernels;
}
#endif

namespace {

bool Always() { return true; }

#if defined(__x86_64__)
// Feature by feature, because not every compiler knows the levels by name: all that the objects of a level are
// compiled for.
bool HasV3() {
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2") &&
         __builtin_cpu_supports("popcnt");
}

bool HasV4() {
  return HasV3() && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
         __builtin_cpu_supports("avx512cd") && __builtin_cpu_supports("avx512dq") &&
         __builtin_cpu_supports("avx512vl");
}
#endif

struct Level {
  const Kernels* kernels;
  bool (*supported)();
};

/// Best first.
constexpr Level kLevels[] = {
#if defined(__x86_64__)
    {&v4::kKernels, HasV4},
    {&v3::kKernels, HasV3},
#endif
    {&baseline::kKernels, Always},
};

const Kernels* Best() {
#if defined(__x86_64__)
  // Who asks first may be the constructor of somebody's global.
  __builtin_cpu_init();
#endif
  for (const Level& level : kLevels) {
    if (level.supported()) return level.kernels;
  }
  return nullptr;
}

bool SameText(const char* a, const char* b) {
  for (; *a && *a == *b; ++a, ++b) {
  }
  return *a == *b;
}

const Kernels*& ActiveKernels() {
  static const Kernels* active = Best();
  return active;
}

}  // namespace

const Kernels* Active() { return ActiveKernels(); }

const Kernels* ActiveForRows(std::size_t columns) { return columns < kRowBlock ? nullptr : ActiveKernels(); }

bool Worthwhile(const Columns& run, std::size_t rowsOfFour) {
  return run.columns >= 4 && run.rows >= 24 && (run.columns - 3) * run.rows >= rowsOfFour;
}

bool Force(const char* name) {
  if (SameText(name, "plain")) {
    ActiveKernels() = nullptr;
    return true;
  }
  for (const Level& level : kLevels) {
    if (SameText(name, level.kernels->name) && level.supported()) {
      ActiveKernels() = level.kernels;
      return true;
    }
  }
  return false;
}

}  // namespace vexa::engine
