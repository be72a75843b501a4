#include "yardsticks.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "clock.h"
#include "vexa/engine/engine.h"

namespace bench {

namespace baseline {
extern const Yardstick kYardstick;
}
#if defined(__x86_64__)
namespace v3 {
extern const Yardstick kYardstick;
}
namespace v4 {
extern const Yardstick kYardstick;
}
namespace v3_fused {
extern const Yardstick kYardstick;
}
namespace v4_fused {
extern const Yardstick kYardstick;
}
#endif

namespace {

struct Level {
  const char* name;
  const Yardstick* separate;
  const Yardstick* fused;
};

constexpr Level kLevels[] = {
#if defined(__x86_64__)
    {"v4", &v4::kYardstick, &v4_fused::kYardstick},
    {"v3", &v3::kYardstick, &v3_fused::kYardstick},
#endif
    {"baseline", &baseline::kYardstick, nullptr},
};

const Level& ActiveLevel() {
  const vexa::engine::Kernels* active = vexa::engine::Active();
  const auto is = [active](const Level& level) {
    return std::strcmp(level.name, active ? active->name : "baseline") == 0;
  };
  return *std::find_if(std::begin(kLevels), std::end(kLevels), is);
}

}  // namespace

const Yardstick& Separate() { return *ActiveLevel().separate; }

const Yardstick* Fused() {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("fma")) return ActiveLevel().fused;
#endif
  return nullptr;
}

double SeparatePeak() {
  constexpr long kSteps = 200'000;
  const Yardstick& yardstick = Separate();
  double seconds = Seconds([&] { yardstick.chains(kSteps); });
  for (int run = 1; run < 5; ++run) seconds = std::min(seconds, Seconds([&] { yardstick.chains(kSteps); }));
  return static_cast<double>(kSteps) * yardstick.operationsOfStep / seconds;
}

}  // namespace bench
