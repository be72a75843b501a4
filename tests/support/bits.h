#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

/// Comparison to the last bit. Any NaN equals any other NaN: payload and sign depend on the compiler.
inline bool SameBits(double a, double b) {
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

inline std::string Hex(double x) {
  char text[80];
  std::snprintf(text, sizeof text, "%a (%016llx)", x,
                static_cast<unsigned long long>(std::bit_cast<std::uint64_t>(x)));
  return text;
}

/// The first cell in which two lists differ, with both values in hexadecimal.
inline testing::AssertionResult SameBits(const std::vector<double>& actual,
                                         const std::vector<double>& expected) {
  if (actual.size() != expected.size()) {
    return testing::AssertionFailure() << actual.size() << " values, expected " << expected.size();
  }
  for (std::size_t k = 0; k < actual.size(); ++k) {
    if (!SameBits(actual[k], expected[k])) {
      return testing::AssertionFailure() << "value " << k << " of " << actual.size() << " is "
                                         << Hex(actual[k]) << ", expected " << Hex(expected[k]);
    }
  }
  return testing::AssertionSuccess();
}
