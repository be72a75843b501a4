#include "derive/describe.h"

#include <cmath>

#include "derive/matrix.h"

namespace derive {

Description Describe(const Cell& cell, std::uint64_t missing) {
  Description description{.n = cell.n,
                          .missing = missing,
                          .weightSum = cell.weightSum,
                          .mean = cell.meanRow,
                          .variance = Covariance(cell),
                          .range = cell.rangeRow};
  description.sd = std::sqrt(description.variance);
  description.standardError = description.sd / std::sqrt(cell.regWeightSum);
  return description;
}

}  // namespace derive
