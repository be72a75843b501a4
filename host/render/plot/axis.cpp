#include "render/plot/axis.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "render/plot/label.h"

namespace render {
namespace {

constexpr double kAir = 0.04;

}  // namespace

std::vector<Tick> RoundTicks(double min, double max, int count) {
  const double rough = (max - min) / count;
  const double power = std::pow(10.0, std::floor(std::log10(rough)));
  if (!std::isfinite(power) || power == 0.0) return {};
  const double digit = rough / power;
  const double step = power * (digit <= 1.0 ? 1.0 : digit <= 2.0 ? 2.0 : digit <= 5.0 ? 5.0 : 10.0);
  std::vector<Tick> ticks;
  // A value is a multiple of the step, not a sum of steps, whose rounding would show in the labels.
  const double first = std::ceil(min / step - 1e-9);
  const double last = std::floor(max / step + 1e-9);
  for (int tick = 0; tick <= static_cast<int>(last - first); ++tick) {
    const double value = (first + tick) * step;
    ticks.push_back({value, WithMinus(fmt::format("{:.6g}", value == 0.0 ? 0.0 : value))});
  }
  return ticks;
}

Axis AxisOver(double min, double max, double start, double length) {
  // All values alike: whatever the width, they are in its middle.
  if (!(max > min)) {
    const double half = std::max(std::abs(min) / 2.0, 1.0);
    return {min - half, max + half, start, length};
  }
  // The halves are added up: the width of the widest range of doubles is none.
  const double air = (max / 2.0 - min / 2.0) * 2.0 * kAir;
  return std::isfinite(air) ? Axis{min - air, max + air, start, length} : Axis{min, max, start, length};
}

}  // namespace render
