#pragma once

#include <time.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace bench {

enum class Clock : clockid_t {
  kThread = CLOCK_THREAD_CPUTIME_ID,  ///< runs while this thread does: others on a busy machine do not count
  kWall = CLOCK_MONOTONIC,            ///< for work of several threads
};

inline double Now(Clock clock) {
  timespec now{};
  clock_gettime(static_cast<clockid_t>(clock), &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// Seconds that the work takes.
template <class Work>
double Seconds(const Work& work, Clock clock = Clock::kThread) {
  const double begin = Now(clock);
  work();
  return Now(clock) - begin;
}

/// The value below which this share of the values lies; 0.5 is the median.
inline double Quantile(std::vector<double> values, double share) {
  const auto at =
      values.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), at, values.end());
  return *at;
}

/// Makes the compiler believe that somebody reads the memory behind the pointer.
inline void Keep(const void* memory) { asm volatile("" : : "r"(memory) : "memory"); }

}  // namespace bench
