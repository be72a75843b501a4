#include "derive/regression.h"

#include <Eigen/Core>
#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

#include "derive/cholesky.h"
#include "derive/definite.h"
#include "derive/matrix.h"

namespace derive {
namespace {

using Eigen::Index;
using Eigen::MatrixXd;
using Eigen::VectorXd;
// About zero, sums of a variable far from it agree in all the digits of a double that tell its rows apart.
using Real = long double;
using RealMatrix = Eigen::Matrix<Real, Eigen::Dynamic, Eigen::Dynamic>;
using RealVector = Eigen::Matrix<Real, Eigen::Dynamic, 1>;

constexpr double kUndefined = std::numeric_limits<double>::quiet_NaN();

/// What a sum of squares or products may be wrong by, relative to the squares of its variables.
constexpr Real kSumsError = 0x1p-48L;

/// Steps of refinement. A step gains what the factor has: with the condition that kLeastTolerance leaves, six
/// digits at least.
constexpr int kRefinements = 3;

/// The sums of one pair, about the means or about zero.
struct PairMoments {
  Real squaresRow;
  Real squaresCol;
  Real products;

  /// Undefined when a square is beyond its range, which would make of any product a 0 that looks like a result.
  Real Cosine() const {
    if (std::isinf(squaresRow) || std::isinf(squaresCol)) return kUndefined;
    return products / std::sqrt(squaresRow) / std::sqrt(squaresCol);
  }
};

/// What the equations are made of: variables by their number in the sums, the response last.
class Moments {
 public:
  Moments(const Sums& sums, const std::vector<double>& origin, bool areCentred)
      : _sums(sums), _origin(origin), _areCentred(areCentred) {}

  std::size_t Response() const { return _sums.Cols() - 1; }
  bool AreListwise() const { return _sums.IsListwise(); }
  /// What sums of squares know of the cases, less what the mean takes of it.
  Real Cases(double weightSum) const { return weightSum - (_areCentred ? 1.0L : 0.0L); }

  Real Mean(std::size_t variable) const { return Mean(variable, _sums.At(variable, variable).meanRow); }
  PairMoments Of(std::size_t row, std::size_t col) const {
    const Cell cell = _sums.At(row, col);
    if (_areCentred) return {cell.cssRow, cell.cssCol, cell.cscp};
    const Real meanRow = Mean(row, cell.meanRow);
    const Real meanCol = Mean(col, cell.meanCol);
    const Real weight = cell.regWeightSum;
    return {cell.cssRow + weight * meanRow * meanRow, cell.cssCol + weight * meanCol * meanCol,
            cell.cscp + weight * meanRow * meanCol};
  }
  bool HasRows(std::size_t variable) const { return _sums.At(variable, variable).n > 0; }
  bool IsBelow(std::size_t variable) const { return _sums.At(variable, variable).isBelowRow; }
  Real Squares(std::size_t variable) const { return Of(variable, variable).squaresRow; }
  /// What makes cosines of the variables their sums, but for the factor of all sums: with pairwise sums, where cases
  /// differ, the deviation.
  Real Scale(std::size_t variable) const {
    const Real squares = Squares(variable);
    return std::sqrt(AreListwise() ? squares : squares / Cases(_sums.At(variable, variable).weightSum));
  }

  /// The smallest of a weight sum among the pairs of some variables.
  double Smallest(double Cell::*weightSum, const std::vector<std::size_t>& variables) const {
    if (AreListwise()) return _sums.At(0, 0).*weightSum;
    double smallest = std::numeric_limits<double>::infinity();
    for (const std::size_t row : variables) {
      for (const std::size_t col : variables)
        if (col <= row) smallest = std::min(smallest, _sums.At(row, col).*weightSum);
    }
    return smallest;
  }

 private:
  Real Mean(std::size_t variable, double mean) const { return static_cast<Real>(_origin[variable]) + mean; }

  const Sums& _sums;
  const std::vector<double>& _origin;
  const bool _areCentred;
};

/// The predictors that have a cosine with others; the rest goes to `leftOut`.
std::vector<std::size_t> Varying(const Moments& moments, LeftOutPredictors& leftOut) {
  std::vector<std::size_t> varying;
  for (std::size_t variable = 0; variable < moments.Response(); ++variable) {
    const Real squares = moments.Squares(variable);
    if (moments.IsBelow(variable)) {
      leftOut.below.push_back(variable);
    } else if (moments.HasRows(variable) && !std::isfinite(static_cast<double>(squares))) {
      leftOut.overflown.push_back(variable);
    } else if (squares > 0.0L) {
      varying.push_back(variable);
    } else {
      leftOut.constant.push_back(variable);
    }
  }
  return varying;
}

/// The cosines of the variables, a correlation matrix unless they are about zero. A response that is 0 throughout has
/// the cosine 0 with all.
RealMatrix Cosines(const Moments& moments, const std::vector<std::size_t>& variables) {
  const bool isZero = moments.HasRows(variables.back()) && moments.Squares(variables.back()) == 0.0L;
  const auto size = static_cast<Index>(variables.size());
  RealMatrix cosines = RealMatrix::Identity(size, size);
  for (std::size_t row = 1; row < variables.size(); ++row) {
    if (isZero && row + 1 == variables.size()) break;
    for (std::size_t col = 0; col < row; ++col) {
      const Real cosine = moments.Of(variables[row], variables[col]).Cosine();
      cosines(static_cast<Index>(row), static_cast<Index>(col)) = cosine;
      cosines(static_cast<Index>(col), static_cast<Index>(row)) = cosine;
    }
  }
  return cosines;
}

std::optional<Contradiction> FindContradiction(const RealMatrix& cosines,
                                               const std::vector<std::size_t>& variables) {
  Matrix matrix{.rows = variables.size(), .cols = variables.size()};
  for (std::size_t row = 0; row < variables.size(); ++row) {
    for (std::size_t col = 0; col < variables.size(); ++col) {
      const auto cosine = static_cast<double>(cosines(static_cast<Index>(row), static_cast<Index>(col)));
      if (!std::isfinite(cosine)) return Contradiction{{{variables[row], variables[col]}}, kUndefined};
      matrix.cells.push_back(cosine);
    }
  }
  const std::optional<Indefinite> indefinite = FindIndefinite(matrix);
  if (!indefinite) return {};
  return Contradiction{{}, indefinite->smallestEigenvalue};
}

/// Takes those out that the ones before them determine, and returns the places of the rest.
std::vector<Index> Independent(const Cholesky& factor, std::vector<std::size_t>& predictors,
                               LeftOutPredictors& leftOut) {
  std::vector<Index> kept;
  std::vector<std::size_t> independent;
  for (std::size_t at = 0; at < predictors.size(); ++at) {
    if (std::binary_search(factor.Dependent().begin(), factor.Dependent().end(), at)) {
      leftOut.dependent.push_back(predictors[at]);
    } else {
      kept.push_back(static_cast<Index>(at));
      independent.push_back(predictors[at]);
    }
  }
  predictors = std::move(independent);
  return kept;
}

/// A system with a positive definite matrix of unit diagonal, and its factor in doubles.
class Equations {
 public:
  Equations(RealMatrix matrix, MatrixXd lower) : _matrix(std::move(matrix)), _lower(std::move(lower)) {}

  const RealMatrix& Left() const { return _matrix; }

  /// For right sides next to each other.
  RealMatrix Solve(const RealMatrix& right) const {
    RealMatrix solution = Approximate(right);
    for (int step = 0; step < kRefinements; ++step) solution += Approximate(right - _matrix * solution);
    return solution;
  }

  /// Diagonal of the inverse. Refined it costs three products of the matrix with its inverse, in long doubles.
  RealVector InverseDiagonal(bool isRefined) const {
    const Index size = _matrix.rows();
    if (isRefined) return Solve(RealMatrix::Identity(size, size)).diagonal();
    MatrixXd inverse = MatrixXd::Identity(size, size);
    _lower.triangularView<Eigen::Lower>().solveInPlace(inverse);
    return inverse.colwise().squaredNorm().transpose().cast<Real>();
  }

  /// √(λmax ÷ λmin)
  double Condition() const {
    if (_matrix.rows() == 0) return kUndefined;
    const Eigen::SelfAdjointEigenSolver<MatrixXd> solver(_matrix.cast<double>(), Eigen::EigenvaluesOnly);
    const VectorXd& values = solver.eigenvalues();
    return std::sqrt(values(values.size() - 1) / values(0));
  }

 private:
  RealMatrix Approximate(const RealMatrix& right) const {
    MatrixXd solution = right.cast<double>();
    _lower.triangularView<Eigen::Lower>().solveInPlace(solution);
    _lower.transpose().triangularView<Eigen::Upper>().solveInPlace(solution);
    return solution.cast<Real>();
  }

  RealMatrix _matrix;
  MatrixXd _lower;
};

/// Sums of squares, R² and the test of all predictors. `betas` are the standardised coefficients.
void FitWhole(const Equations& equations, const RealVector& right, const RealVector& betas, Real totalSquares,
              Real cases, Regression& regression) {
  // In this form an error of the coefficients counts with its square.
  Real share = 1.0L - 2.0L * betas.dot(right) + betas.dot(equations.Left() * betas);
  const Real terms = 1.0L + betas.cwiseAbs().sum();
  regression.isExact = totalSquares > 0.0L && share <= kSumsError * terms * terms;
  if (regression.isExact) share = 0.0L;

  const double df = regression.residualDf;
  const bool hasDf = df > 0.0 && std::isfinite(df);
  const Real residual = totalSquares > 0.0L ? share * totalSquares : totalSquares;
  regression.totalSquares = static_cast<double>(totalSquares);
  regression.residualSquares = static_cast<double>(residual);
  regression.modelSquares = static_cast<double>(totalSquares - residual);
  regression.residualError = hasDf ? static_cast<double>(std::sqrt(residual / df)) : kUndefined;
  const bool hasSpread = totalSquares > 0.0L && std::isfinite(regression.totalSquares);
  regression.rSquared = hasSpread ? static_cast<double>(1.0L - share) : kUndefined;
  regression.adjustedRSquared =
      hasSpread && hasDf ? static_cast<double>(1.0L - share * cases / df) : kUndefined;
  const auto predictors = static_cast<double>(betas.size());
  const Real f = (1.0L - share) / share * (df / predictors);
  regression.test = TestF(hasSpread ? static_cast<double>(f) : kUndefined, predictors, df);
}

Coefficient Term(Real estimate, Real error, const Regression& regression, double level) {
  const double width = TQuantile(level, regression.residualDf) * static_cast<double>(error);
  const auto value = static_cast<double>(estimate);
  return {.estimate = value,
          .standardError = static_cast<double>(error),
          .test = TestT(static_cast<double>(estimate / error), regression.residualDf),
          .lower = value - width,
          .upper = value + width,
          .standardised = kUndefined,
          .standardisedLower = kUndefined,
          .standardisedUpper = kUndefined,
          .tolerance = kUndefined};
}

}  // namespace

Regression Regress(const Sums& sums, const std::vector<double>& origin, const RegressionModel& model) {
  assert(sums.IsSymmetric() && sums.Cols() > 0);
  assert(origin.size() == sums.Cols());
  const Moments moments(sums, origin, model.hasIntercept);
  Regression regression;
  std::vector<std::size_t> predictors = Varying(moments, regression.leftOut);
  std::vector<std::size_t> all = predictors;
  all.push_back(moments.Response());
  const RealMatrix cosines = Cosines(moments, all);
  if (!moments.AreListwise()) regression.contradiction = FindContradiction(cosines, all);
  if (regression.contradiction) return regression;

  const auto varying = static_cast<Index>(predictors.size());
  const Cholesky factor(cosines.topLeftCorner(varying, varying).cast<double>());
  const std::vector<Index> kept = Independent(factor, predictors, regression.leftOut);
  const Equations equations(cosines(kept, kept), factor.Lower()(kept, kept));
  const RealVector right = cosines.col(varying)(kept);
  const RealVector betas = equations.Solve(right);
  const RealVector inverse = equations.InverseDiagonal(!model.hasIntercept);
  regression.condition = equations.Condition();

  all = predictors;
  all.push_back(moments.Response());
  regression.weight = moments.Smallest(&Cell::weightSum, all);
  regression.isTooHeavy =
      std::isinf(regression.weight) || std::isinf(moments.Smallest(&Cell::regWeightSum, all));
  if (regression.isTooHeavy) regression.leftOut = {};
  regression.isBelow = moments.IsBelow(moments.Response());
  regression.residualDf =
      regression.weight - static_cast<double>(predictors.size()) - (model.hasIntercept ? 1.0 : 0.0);
  const Real cases = moments.Cases(regression.weight);
  const Real factorOfAll = moments.AreListwise() ? 1.0L : cases;
  const Real scale = moments.Scale(moments.Response());
  FitWhole(equations, right, betas, scale * scale * factorOfAll, cases, regression);

  const Real error = regression.residualError / std::sqrt(factorOfAll);
  RealVector means(betas.size());  // of the predictors, in units of their scale
  std::vector<Coefficient> coefficients;
  for (Index at = 0; at < betas.size(); ++at) {
    const std::size_t variable = predictors[static_cast<std::size_t>(at)];
    const Real ownScale = moments.Scale(variable);
    means(at) = moments.Mean(variable) / ownScale;
    Coefficient term = Term(betas(at) * scale / ownScale, error * std::sqrt(inverse(at)) / ownScale,
                            regression, model.level);
    term.variable = variable;
    term.standardised = static_cast<double>(betas(at));
    const Coefficient scaled =
        Term(betas(at), error * std::sqrt(inverse(at)) / scale, regression, model.level);
    term.standardisedLower = scaled.lower;
    term.standardisedUpper = scaled.upper;
    term.tolerance = std::min(static_cast<double>(1.0L / inverse(at)), 1.0);
    coefficients.push_back(term);
  }
  if (model.hasIntercept) {
    const Real estimate = moments.Mean(moments.Response()) - scale * betas.dot(means);
    const Real combined = moments.Smallest(&Cell::regWeightSum, all);
    const Real variance = factorOfAll / combined + means.dot(RealVector(equations.Solve(means)));
    regression.coefficients.push_back(Term(estimate, error * std::sqrt(variance), regression, model.level));
  }
  regression.coefficients.insert(regression.coefficients.end(), coefficients.begin(), coefficients.end());
  return regression;
}

}  // namespace derive
