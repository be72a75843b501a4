#pragma once

#include <cstddef>

/// What a core can do at most, with vectors as wide as those of each of the engine's instruction sets: loops with
/// nothing in the way of their arithmetic.

namespace bench {

struct Yardstick {
  /// Chains of x = x·a + b in registers: enough of them that only the execution units limit the loop.
  void (*chains)(long steps);
  double operationsOfStep;
  /// x[k] += y[k].
  void (*add)(double* x, const double* y, std::size_t count);
};

/// Multiplications and additions rounded one after the other, as the library's sums are, in the vectors of the engine's
/// active instruction set; in the narrowest ones when no instruction set is active.
const Yardstick& Separate();

/// The same with each multiplication fused with its addition; null where that instruction set or this machine
/// cannot.
const Yardstick* Fused();

/// Separate multiplications and additions per second, the best of a few short runs.
double SeparatePeak();

}  // namespace bench
