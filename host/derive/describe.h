#ifndef HOST_DERIVE_DESCRIBE_H
#define HOST_DERIVE_DESCRIBE_H

#include <cstdint>

#include "derive/sums.h"

namespace derive {

/// One variable over its present rows. What is undefined is a NaN.
struct Description {
  std::uint64_t n = 0;
  std::uint64_t missing = 0;  ///< rows, of those with weights, that lack it
  double weightSum = 0.0;     ///< W: case weights; n without case weights
  double mean = 0.0;
  double variance = 0.0;       ///< css ÷ (W − 1), undefined when W ≤ 1
  double sd = 0.0;             ///< √variance
  double standardError = 0.0;  ///< of the mean: sd ÷ √R, R being the sum of case × regression weights
  Range range = {};
};

/// From the cell of the variable with itself.
Description Describe(const Cell& cell, std::uint64_t missing);

}  // namespace derive

#endif
