#include "render/number.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace render {
namespace {

constexpr double kExactIntegers = 9007199254740992.0;  // 2^53

// Powers of ten from which on, and below which, a number is written with an exponent.
constexpr int kLargePower = 12;
constexpr int kSmallPower = -5;

}  // namespace

std::string Shortest(double value) { return fmt::format("{}", value); }

std::string Significant(double value, int digits) {
  if (!std::isfinite(value)) return fmt::format("{}", value);
  std::string scientific = fmt::format("{:.{}e}", value, digits - 1);
  // The power of the rounded number: 9.99 with two digits is 10.
  const int power = std::stoi(scientific.substr(scientific.find('e') + 1));
  if (power < kSmallPower || power >= kLargePower) return scientific;
  return Fixed(value, std::max(digits - 1 - power, 0));
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
  return std::isfinite(sum) ? Significant(sum, digits) : "more than a double holds";
}

}  // namespace render
