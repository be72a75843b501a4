#pragma once

#include <vector>

#include "export.h"

/// Copies of the rows on which one column, or each of two, is present.
///
/// A value is missing when it equals the missing code as a double, and only then: NaN is always present, a NaN
/// code marks nothing, and a code of 0.0 also takes −0.0. Weights are not tested; a row of weight 0 is copied
/// like any other.
///
/// n is never negative. Inputs and outputs must not overlap. What the outputs held is discarded, their storage
/// is kept: once their capacity has reached n nothing is allocated. Throws std::bad_alloc, which leaves the
/// outputs valid but unspecified. Cost: one pass. May be called from several threads on distinct outputs.

namespace vexa {

/// Copies the present values of x to outX, in row order, and the weights of their rows to outWeights and
/// outRegWeights, which stay empty for null weights.
VEXA_EXPORT void CopyNonmissing(const double* x, const double* weights, const double* regWeights,
                                double missing, int n, std::vector<double>& outX,
                                std::vector<double>& outWeights, std::vector<double>& outRegWeights);

/// The same for the rows on which both x and y are present.
VEXA_EXPORT void CopyCompletePairs(const double* x, const double* y, const double* weights,
                                   const double* regWeights, double missing, int n, std::vector<double>& outX,
                                   std::vector<double>& outY, std::vector<double>& outWeights,
                                   std::vector<double>& outRegWeights);

}  // namespace vexa
