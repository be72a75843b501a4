#include "render/number.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace render {
namespace {

constexpr double kExactIntegers = 9007199254740992.0;  // 2^53

/// Where all the digits stand before the point, fmt leaves the point, at times with a zero that is no digit of
/// the number.
std::string WithoutBarePoint(std::string number, int digits) {
  const std::size_t point = number.find('.');
  const std::size_t sign = number.front() == '-' ? 1 : 0;
  if (point != std::string::npos && point - sign >= static_cast<std::size_t>(digits))
    number.erase(point, std::min(number.find('e'), number.size()) - point);
  return number;
}

}  // namespace

std::string Shortest(double value) { return fmt::format("{}", value); }

std::string Significant(double value, int digits) {
  return WithoutBarePoint(fmt::format("{:#.{}g}", value == 0.0 ? 0.0 : value, digits), digits);
}

std::string Fixed(double value, int decimals) {
  std::string number = fmt::format("{:.{}f}", value, decimals);
  if (number.find_first_not_of("-0.") == std::string::npos && number.front() == '-') number.erase(0, 1);
  return number;
}

std::string Grouped(std::uint64_t count) {
  std::string digits = fmt::format("{}", count);
  for (std::size_t at = digits.size(); at > 3;) {
    at -= 3;
    digits.insert(at, 1, ',');
  }
  return digits;
}

std::string WeightSum(double sum, int digits) {
  if (sum >= 0.0 && sum <= kExactIntegers && sum == std::floor(sum))
    return Grouped(static_cast<std::uint64_t>(sum));
  return Significant(sum, digits);
}

}  // namespace render
