#include "pass/origin.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace pass {
namespace {

// 2^970 is half a unit in the last place of the largest doubles: what is smaller, subtracted from one of them, leaves it
// as it is.
constexpr double kMostOrigin = 0x1p+969;

}  // namespace

double Origin(std::vector<double> sample) {
  if (sample.empty()) return 0.0;
  const auto middle = sample.begin() + static_cast<std::ptrdiff_t>(sample.size() / 2);
  std::nth_element(sample.begin(), middle, sample.end());
  const double median = *middle;
  const double size = std::abs(median);
  if (size > kMostOrigin) return 0.0;
  const bool close = std::all_of(sample.begin(), sample.end(), [&](double value) {
    return std::signbit(value) == std::signbit(median) && 2.0 * std::abs(value) >= size &&
           std::abs(value) <= 2.0 * size;
  });
  return close ? median : 0.0;
}

}  // namespace pass
