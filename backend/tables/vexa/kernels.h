#pragma once

#include <vector>

#include "export.h"

/// The sums and elementwise steps that every accumulator is made of, over contiguous arrays.
///
/// The order of every operation is part of the interface, because the last bits of every statistic depend on
/// it: a sum is one running double that starts at 0.0 and takes its terms in ascending index order, and a
/// product of three factors is (first × second) × third. Nothing is reassociated or fused, so the result does
/// not depend on the machine's vector width.
///
/// Counts are never negative. A null weight pointer, or an empty weight vector, means that every element
/// weighs 1. Nothing here allocates (except that vectors may exchange their storage), throws or checks its
/// arguments, and every function may be called from several threads on distinct arrays. Cost: one pass.

namespace vexa {

/// Stand for an extreme not yet seen: the minimum of nothing is maxvalue (1.79e308), the maximum of nothing
/// is minvalue (−1.79e308). Variables, not constants: the functions below read their current value.
VEXA_EXPORT extern double minvalue;
VEXA_EXPORT extern double maxvalue;

/// x₀ + x₁ + …; 0.0 for no elements.
VEXA_EXPORT double Sum(const double* x, int n);
VEXA_EXPORT double Sum(const std::vector<double>& x);

/// The total weight of n elements: n itself for null weights, else their sum.
VEXA_EXPORT double WeightedSum(const double* weights, int n);
/// Σ xₖ × wₖ; Σ xₖ when weights is empty.
VEXA_EXPORT double WeightedSum(const std::vector<double>& x, const std::vector<double>& weights);

/// Σ aₖ × bₖ. The vector form runs over the size of a.
VEXA_EXPORT double ProductSum(const double* a, const double* b, int n);
VEXA_EXPORT double ProductSum(const std::vector<double>& a, const std::vector<double>& b);
/// Σ (aₖ × bₖ) × dₖ. The vector form runs over the size of a.
VEXA_EXPORT double ProductSum(const double* a, const double* b, const double* d, int n);
VEXA_EXPORT double ProductSum(const std::vector<double>& a, const std::vector<double>& b,
                              const std::vector<double>& d);

/// Combined weights, case × regression. With both arrays the case weights are multiplied in place and
/// returned; with one of them that one is returned untouched; with neither, null.
VEXA_EXPORT const double* CombineWeights(double* weights, const double* regWeights, int n);
VEXA_EXPORT const double* CombineWeights(double* weights, const double* regWeights, unsigned int n);
/// The same for vectors: weights holds the combined weights afterwards. When only regWeights has elements the
/// two exchange their contents. With both, regWeights must be at least as long as weights.
VEXA_EXPORT void CombineWeights(std::vector<double>& weights, std::vector<double>& regWeights);

/// The mean of x: the weighted sum divided by total, the weights' sum as the caller formed it.
///
/// The leading run of equal values v is taken as one product, v × (sum of its weights), to which the sum over
/// the rest is added; when all n values are equal the result is v itself and total is not read, so a constant
/// column has an exact mean even for a total of 0. Otherwise a total of 0 divides by zero. No elements: 0.0.
/// A NaN in first place gives a NaN.
VEXA_EXPORT double WeightedMean(const double* x, const double* weights, const double& total, int n);
VEXA_EXPORT double WeightedMean(const std::vector<double>& x, const std::vector<double>& weights,
                                double total);

/// The largest (smallest) element; minvalue (maxvalue) for none. A NaN in first place is returned, a later
/// one is passed over.
VEXA_EXPORT double Maxs(const double* x, int n);
VEXA_EXPORT double Maxs(std::vector<double>& x);
VEXA_EXPORT double Mins(const double* x, int n);
VEXA_EXPORT double Mins(std::vector<double>& x);

/// xₖ = xₖ − shift, in place.
VEXA_EXPORT void CenterData(double* x, double shift, int n);
VEXA_EXPORT void CenterData(std::vector<double>& x, double shift);

/// Σ (wₖ × xₖ) × yₖ, or Σ xₖ × yₖ without weights. The vector form runs over the size of weights, or of x
/// without.
VEXA_EXPORT double CrossProduct(const double* x, const double* y, const double* weights, int n);
VEXA_EXPORT double CrossProduct(const std::vector<double>& x, const std::vector<double>& y,
                                const std::vector<double>& weights);

/// Adds each element to its group's sum and its square to its group's sum of squares. Codes are indexes into
/// both arrays, which are added to, never cleared.
VEXA_EXPORT void GroupWeightedSumX(const double* x, const unsigned int* groups, double* sums, double* squares,
                                   int n);
/// The same with t = xₖ × wₖ: sums take t, sums of squares t × xₖ.
VEXA_EXPORT void GroupWeightedSumX(const double* x, const unsigned int* groups, const double* weights,
                                   double* sums, double* squares, int n);

/// Adds each element's weight (1.0 without weights) to its group's total and to the overall total.
VEXA_EXPORT void WeightByGroup(const unsigned int* groups, std::vector<double>& totals, double& total, int n);
VEXA_EXPORT void WeightByGroup(const unsigned int* groups, const double* weights, std::vector<double>& totals,
                               double& total, int n);

}  // namespace vexa
