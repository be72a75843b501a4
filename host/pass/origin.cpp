#include "pass/origin.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace pass {
namespace {

// 2^970 is half a unit in the last place of the largest doubles: what is smaller, subtracted from one of them, leaves it
// as it is.
constexpr double kMostOrigin = 0x1p+969;

bool IsNear(double value, double median) {
  const double size = std::abs(median);
  return std::signbit(value) == std::signbit(median) && 2.0 * std::abs(value) >= size &&
         std::abs(value) <= 2.0 * size;
}

}  // namespace

double Origin(std::vector<double> sample) {
  if (sample.empty()) return 0.0;
  const auto middle = sample.begin() + static_cast<std::ptrdiff_t>(sample.size() / 2);
  std::nth_element(sample.begin(), middle, sample.end());
  const double median = *middle;
  if (std::abs(median) > kMostOrigin) return 0.0;
  const bool close =
      std::all_of(sample.begin(), sample.end(), [&](double value) { return IsNear(value, median); });
  return close ? median : 0.0;
}

double Origin(std::vector<Weighed> sample) {
  if (sample.empty()) return 0.0;
  std::sort(sample.begin(), sample.end(),
            [](const Weighed& a, const Weighed& b) { return a.value < b.value; });
  double total = 0.0;
  for (const Weighed& one : sample) total += one.weight;
  double below = 0.0;
  const auto found = std::find_if(sample.begin(), sample.end() - 1, [&](const Weighed& one) {
    below += one.weight;
    return below > total / 2.0;
  });
  const double median = found->value;
  if (std::abs(median) > kMostOrigin) return 0.0;
  double near = 0.0;
  for (const Weighed& one : sample)
    if (IsNear(one.value, median)) near += one.weight;
  return near >= total / 2.0 ? median : 0.0;
}

}  // namespace pass
