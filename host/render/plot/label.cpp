#include "render/plot/label.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdlib>
#include <utility>

namespace render {
namespace {

constexpr double kLongest = 99999.5;

}  // namespace

std::string WithMinus(std::string number) {
  for (std::size_t at = 0; (at = number.find('-', at)) != std::string::npos;) number.replace(at, 1, "−");
  return number;
}

std::string ShortNumber(double value) {
  const double size = std::abs(value);
  if (size >= 999.5 && size < kLongest) return WithMinus(fmt::format("{:.0f}", value));
  std::string number = fmt::format("{:.3g}", value);
  // e+07 and e-07 are e7 and e-7.
  if (const std::size_t exponent = number.find('e'); exponent != std::string::npos)
    number = number.substr(0, exponent + 1) + std::to_string(std::stoi(number.substr(exponent + 1)));
  return WithMinus(std::move(number));
}

std::string PowerOfTen(int power) {
  // What is short enough is written out.
  return WithMinus(std::abs(power) <= 3 ? fmt::format("{:g}", std::pow(10.0, power))
                                        : fmt::format("1e{}", power));
}

}  // namespace render
