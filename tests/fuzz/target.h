#ifndef TESTS_FUZZ_TARGET_H
#define TESTS_FUZZ_TARGET_H

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

/// How often the inputs came to what the target is for: a target that nothing reaches finds nothing.
inline std::size_t reached = 0;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

inline void Expect(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "differs: %s\n", what);
  std::abort();
}

/// The bits of numbers; any NaN is like any other.
inline std::string BytesOf(std::vector<double> values) {
  for (double& value : values)
    if (std::isnan(value)) value = std::numeric_limits<double>::quiet_NaN();
  return {reinterpret_cast<const char*>(values.data()), values.size() * sizeof(double)};
}

#endif
