#ifndef HOST_DERIVE_REGRESSION_H
#define HOST_DERIVE_REGRESSION_H

#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include "derive/distributions.h"
#include "derive/sums.h"

namespace derive {

struct RegressionModel {
  bool hasIntercept = true;
  double level = 0.95;  ///< of the confidence limits, between 0 and 1
};

/// A term of the fitted equation. What is undefined is NaN.
struct Coefficient {
  std::optional<std::size_t> variable = {};  ///< nothing: the intercept
  double estimate;
  double standardError;
  TTest test;  ///< of the hypothesis that it is 0
  double lower;
  double upper;
  double standardised;       ///< × deviation of the predictor ÷ deviation of the response
  double standardisedLower;  ///< likewise: the deviations are taken as known
  double standardisedUpper;
  double tolerance;  ///< 1 − R² of the predictor on all others
};

/// Predictors that take no part, each list in the order given.
struct LeftOutPredictors {
  std::vector<std::size_t> overflown = {};  ///< the sum of squares is beyond a double
  std::vector<std::size_t> below = {};  ///< it varies, but that sum is below what a double holds: see InRange
  std::vector<std::size_t> constant = {};   ///< it is 0
  std::vector<std::size_t> dependent = {};  ///< those before it determine it: see kLeastTolerance
};

/// Correlations that are each over rows of their own, and that no data could have together.
struct Contradiction {
  /// Two variables whose correlation is undefined, unless all are defined.
  std::optional<std::pair<std::size_t, std::size_t>> undefined = {};
  double smallestEigenvalue;
};

struct Regression {
  /// When there is one, nothing below is.
  std::optional<Contradiction> contradiction = {};

  std::vector<Coefficient> coefficients = {};  ///< the intercept, if any, then the predictors in their order
  LeftOutPredictors leftOut = {};
  double weight;        ///< W: the cases, as weighed by the case weights
  double residualDf;    ///< W − coefficients
  double modelSquares;  ///< totalSquares − residualSquares
  double residualSquares;
  double totalSquares;   ///< of the response, about its mean; about zero without intercept
  double residualError;  ///< √(residualSquares ÷ residualDf)
  double rSquared;       ///< modelSquares ÷ totalSquares
  double adjustedRSquared;
  FTest test;  ///< of the hypothesis that all coefficients but the intercept are 0
  /// √(λmax ÷ λmin) of the predictors' correlation matrix; about zero without intercept.
  double condition;
  bool isTooHeavy = false;  ///< a sum of weights is beyond a double: nothing is defined
  bool isBelow =
      false;  ///< the response varies, but its sum of squares is below what a double holds: see InRange
  /// The residuals are no more than the rounding of the sums: they are taken for 0.
  bool isExact = false;
};

/// The least squares regression of the last variable of symmetric sums on all others.
///
/// The means of `sums` are about `origin`: with it added, they would be rounded and an equation without intercept
/// would lose the digits that origin and spread are apart.
///
/// With C the sums of squares and products of the predictors and c those with the response, the coefficients solve
/// C b = c, s² = (c_yy − b′c) ÷ df, var b = s² C⁻¹, and var of the intercept = s² (1 ÷ R + m′C⁻¹m) with the means m
/// and R the sum of the combined weights. Regression weights scale C and c, not the degrees of freedom. Without
/// intercept all sums are about zero, css + R m m.
///
/// With sums that are pairwise, the correlations are those of the pairs, the deviations and means those of the
/// variables, and W and R the smallest among the pairs used; a correlation matrix that is not positive semidefinite is a
/// contradiction.
///
/// O(variables³).
Regression Regress(const Sums& sums, const std::vector<double>& origin, const RegressionModel& model);

}  // namespace derive

#endif
