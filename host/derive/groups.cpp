#include "derive/groups.h"

#include <Eigen/Core>
#include <Eigen/SVD>
#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>
#include <utility>

#include "derive/cholesky.h"
#include "derive/groupsums.h"

namespace derive {
namespace {

using Eigen::Index;
using Eigen::MatrixXd;
using Eigen::VectorXd;
using LongMatrix = Eigen::Matrix<long double, Eigen::Dynamic, Eigen::Dynamic>;

constexpr double kUndefined = std::numeric_limits<double>::quiet_NaN();

Matrix FromEigen(const MatrixXd& eigen) {
  Matrix matrix{.rows = static_cast<std::size_t>(eigen.rows()),
                .cols = static_cast<std::size_t>(eigen.cols())};
  matrix.cells.reserve(matrix.rows * matrix.cols);
  for (Index row = 0; row < eigen.rows(); ++row)
    for (Index col = 0; col < eigen.cols(); ++col) matrix.cells.push_back(eigen(row, col));
  return matrix;
}

std::vector<double> FromEigen(const VectorXd& eigen) { return {eigen.begin(), eigen.end()}; }

/// Rao's F of Λ for p variables: h = groups − 1 degrees of freedom between, weights that sum to N.
/// `minusLog` is −ln Λ.
WilksTest TestWilks(double minusLog, double p, double groups, double weight) {
  const double h = groups - 1.0;
  const double squares = p * p + h * h - 5.0;
  const double s = squares > 0.0 ? std::sqrt((p * p * h * h - 4.0) / squares) : 1.0;
  const double df1 = p * h;
  const double df2 = s * (weight - 1.0 - (p + groups) / 2.0) - p * h / 2.0 + 1.0;
  // (1 − Λ^(1/s)) ÷ Λ^(1/s), without the cancellation when Λ is near 1.
  return {std::exp(-minusLog), TestF(std::expm1(minusLog / s) * (df2 / df1), df1, df2)};
}

template <class Squares>
MatrixXd CovarianceOf(const Squares& scatter, double df) {
  if (!(df > 0.0) || std::isinf(df)) return MatrixXd::Constant(scatter.rows(), scatter.cols(), kUndefined);
  MatrixXd covariance = (scatter / df).template cast<double>();
  for (Index row = 0; row < covariance.rows(); ++row) {
    for (Index col = 0; col < covariance.cols(); ++col) {
      covariance(row, col) = HeldCovariance(covariance(row, col), scatter(row, col) == 0,
                                            covariance(row, row), covariance(col, col));
    }
  }
  return covariance;
}

/// Gathers the groups of Box's test.
class Box {
 public:
  explicit Box(Index variables)
      : _variables(static_cast<double>(variables)), _pooled(MatrixXd::Zero(variables, variables)) {}

  /// Takes the sums of squares and products of a group, and their quotient by df, unless that is singular.
  void Add(std::size_t group, double df, const MatrixXd& scatter, const MatrixXd& covariance) {
    if (!(df > 0.0)) {
      _leftOut.push_back({group, {}});
      return;
    }
    const Cholesky factor(covariance);
    if (!factor.IsRegular()) {
      _leftOut.push_back({group, factor.FirstSingular()});
      return;
    }
    ++_groups;
    _pooled += scatter;
    _df += df;
    _reciprocals += 1.0 / df;
    _squaredReciprocals += 1.0 / (df * df);
    _logDeterminants += df * factor.LogDeterminant();
  }

  BoxTest Test() const {
    if (_groups < 2) return {kUndefined, TestF(kUndefined, kUndefined, kUndefined), _leftOut};
    const double p = _variables;
    const double h = static_cast<double>(_groups) - 1.0;
    double m = _df * Cholesky(_pooled / _df).LogDeterminant() - _logDeterminants;
    // ln |S| is concave: only rounding, where all groups have the same matrix, can make it negative.
    if (m < 0.0) m = 0.0;
    const double c1 = (_reciprocals - 1.0 / _df) * (2.0 * p * p + 3.0 * p - 1.0) / (6.0 * (p + 1.0) * h);
    const double c2 = (_squaredReciprocals - 1.0 / (_df * _df)) * (p - 1.0) * (p + 2.0) / (6.0 * h);
    const double f1 = p * (p + 1.0) * h / 2.0;
    const double f2 = (f1 + 2.0) / std::fabs(c2 - c1 * c1);
    if (c2 > c1 * c1) return {m, TestF(m * (1.0 - c1 - f1 / f2) / f1, f1, f2), _leftOut};
    const double b = f2 / (1.0 - c1 + 2.0 / f2);
    return {m, TestF(f2 * m / (f1 * (b - m)), f1, f2), _leftOut};
  }

 private:
  double _variables;
  std::size_t _groups = 0;
  MatrixXd _pooled;
  double _df = 0.0;
  double _reciprocals = 0.0;
  double _squaredReciprocals = 0.0;
  double _logDeterminants = 0.0;
  std::vector<WithoutBox> _leftOut;
};

void FindGroups(const GroupSums& sums, GroupAnalysis& analysis) {
  for (std::size_t level = 0; level < sums.Groups(); ++level) {
    const double weight = sums.Weight(level);
    if (weight > 0.0) {
      analysis.groups.push_back({.level = level, .n = sums.Rows(level), .weight = weight});
      analysis.weight += weight;
    } else {
      analysis.emptyLevels.push_back(level);
    }
  }
}

/// Takes one group after the other, because the matrices of all of them need not fit in memory side by side.
LongMatrix SumWithin(const GroupSums& sums, GroupAnalysis& analysis) {
  const Index variables = sums.Variables();
  LongMatrix within = LongMatrix::Zero(variables, variables);
  Box box(variables);
  for (std::size_t at = 0; at < analysis.groups.size(); ++at) {
    Group& group = analysis.groups[at];
    const MatrixXd scatter = sums.Scatter(group.level);
    within += scatter.cast<long double>();
    const MatrixXd covariance = CovarianceOf(scatter, group.weight - 1.0);
    box.Add(at, group.weight - 1.0, scatter, covariance);
    for (const double variance : covariance.diagonal()) group.deviations.push_back(std::sqrt(variance));
  }
  analysis.box = box.Test();
  return within;
}

/// The groups' means about the grand mean, groups × variables. They come together about the first group's origin: about
/// zero, large ones would lose the digits in which they differ.
LongMatrix CentredMeans(const GroupSums& sums, const std::vector<double>& origin, GroupAnalysis& analysis) {
  LongMatrix means(static_cast<Index>(analysis.groups.size()), sums.Variables());
  for (Index variable = 0; variable < means.cols(); ++variable) {
    long double sum = 0.0L;
    const auto offset = [&](std::size_t level) -> long double {
      return origin[level * static_cast<std::size_t>(means.cols()) + static_cast<std::size_t>(variable)];
    };
    const long double first = offset(analysis.groups.front().level);
    for (Index at = 0; at < means.rows(); ++at) {
      Group& group = analysis.groups[static_cast<std::size_t>(at)];
      const long double mean = sums.Mean(group.level, variable);
      means(at, variable) = mean + (offset(group.level) - first);
      sum += group.weight * means(at, variable);
      group.means.push_back(static_cast<double>(mean + offset(group.level)));
    }
    means.col(variable).array() -= sum / analysis.weight;
  }
  return means;
}

double DegreesWithin(const GroupAnalysis& analysis) {
  return analysis.weight - static_cast<double>(analysis.groups.size());
}

VectorXd Weights(const GroupAnalysis& analysis) {
  VectorXd weights(static_cast<Index>(analysis.groups.size()));
  std::transform(analysis.groups.begin(), analysis.groups.end(), weights.begin(),
                 [](const Group& group) { return group.weight; });
  return weights;
}

LongMatrix SumBetween(const LongMatrix& means, const VectorXd& weights) {
  const LongMatrix weighted = weights.cast<long double>().asDiagonal() * means;
  LongMatrix between(means.cols(), means.cols());
  between.triangularView<Eigen::Lower>() = weighted.transpose() * means;
  return between.selfadjointView<Eigen::Lower>();
}

void TestEachVariable(double df, GroupAnalysis& analysis) {
  const double h = static_cast<double>(analysis.groups.size()) - 1.0;
  for (std::size_t variable = 0; variable < analysis.within.rows; ++variable) {
    // A quotient by itself may be below the range of a double.
    const long double between = analysis.between.At(variable, variable) / static_cast<long double>(h);
    const long double within = analysis.within.At(variable, variable) / static_cast<long double>(df);
    analysis.univariate.push_back(TestF(static_cast<double>(between / within), h, df));
  }
}

struct LeftSingular {
  VectorXd values;
  MatrixXd vectors;  ///< as many columns as values
};

/// By way of a square matrix: Eigen 3.4 would take the same way for any other, but destroys what it has for that twice
/// when memory runs out.
LeftSingular LeftSingularOf(const MatrixXd& matrix) {
  const bool isTall = matrix.rows() >= matrix.cols();
  const Index size = std::min(matrix.rows(), matrix.cols());
  const Eigen::ColPivHouseholderQR<MatrixXd> qr(isTall ? matrix : MatrixXd(matrix.transpose()));
  const MatrixXd upper = qr.matrixQR().topRows(size).triangularView<Eigen::Upper>();
  const Eigen::BDCSVD<MatrixXd> svd(isTall ? upper : MatrixXd(upper.transpose()), Eigen::ComputeFullU);
  if (!isTall) return {svd.singularValues(), qr.colsPermutation() * svd.matrixU()};
  MatrixXd vectors = MatrixXd::Zero(matrix.rows(), size);
  vectors.topRows(size) = svd.matrixU();
  vectors.applyOnTheLeft(qr.householderQ());
  return {svd.singularValues(), vectors};
}

/// The functions from the groups' centred means. With S = D L L′ D and B = Z′Z, the problem B v = λ (N − g) S v
/// is that of the singular values √λ and left singular vectors u = L′ D v of L⁻¹ D⁻¹ Z′ ÷ √(N − g). So no product
/// is formed that would square the condition number, and a small eigenvalue keeps its digits beside a large one.
CanonicalFunctions Separate(const Cholesky& pooled, const LongMatrix& means, const VectorXd& weights,
                            double df) {
  const MatrixXd roots = (weights / df).cwiseSqrt().asDiagonal() * means.cast<double>();
  MatrixXd scaled = pooled.Scale().cwiseInverse().asDiagonal() * roots.transpose();
  const auto lower = pooled.Lower().triangularView<Eigen::Lower>();
  lower.solveInPlace(scaled);

  const LeftSingular singular = LeftSingularOf(scaled);
  const Index count = std::min(means.cols(), means.rows() - 1);
  const VectorXd values = singular.values.head(count);
  const VectorXd eigenvalues = values.array().square();
  MatrixXd standardised = singular.vectors.leftCols(count);
  MatrixXd structure = lower * standardised;
  const MatrixXd scores = means.cast<double>() * pooled.Scale().cwiseInverse().asDiagonal();
  pooled.Lower().transpose().triangularView<Eigen::Upper>().solveInPlace(standardised);
  for (Index function = 0; function < count; ++function) {
    Index largest = 0;
    standardised.col(function).cwiseAbs().maxCoeff(&largest);
    if (standardised(largest, function) > 0.0) continue;
    standardised.col(function) = -standardised.col(function);
    structure.col(function) = -structure.col(function);
  }
  return {.eigenvalues = FromEigen(eigenvalues),
          .proportions = FromEigen(VectorXd(eigenvalues / eigenvalues.sum())),
          .correlations = FromEigen(VectorXd(values.array() / (1.0 + eigenvalues.array()).sqrt())),
          .standardised = FromEigen(standardised),
          .centroids = FromEigen(MatrixXd(scores * standardised)),
          .structure = FromEigen(MatrixXd(structure.cwiseMax(-1.0).cwiseMin(1.0)))};
}

/// Coefficients S⁻¹m and constants ln prior − ½ m′S⁻¹m, from y = L⁻¹ D⁻¹ m: m′S⁻¹m = y′y.
ClassificationFunctions Classify(const Cholesky& pooled, const GroupAnalysis& analysis, Priors priors) {
  const VectorXd inverseScale = pooled.Scale().cwiseInverse();
  const auto groups = static_cast<Index>(analysis.groups.size());
  ClassificationFunctions functions;
  MatrixXd coefficients(inverseScale.size(), groups);
  for (Index at = 0; at < groups; ++at) {
    const Group& group = analysis.groups[static_cast<std::size_t>(at)];
    const Eigen::Map<const VectorXd> mean(group.means.data(), inverseScale.size());
    VectorXd solved = inverseScale.cwiseProduct(mean);
    pooled.Lower().triangularView<Eigen::Lower>().solveInPlace(solved);
    const double prior =
        priors == Priors::kSize ? group.weight / analysis.weight : 1.0 / static_cast<double>(groups);
    functions.priors.push_back(prior);
    functions.constants.push_back(std::log(prior) - 0.5 * solved.squaredNorm());
    pooled.Lower().transpose().triangularView<Eigen::Upper>().solveInPlace(solved);
    coefficients.col(at) = inverseScale.cwiseProduct(solved);
  }
  functions.coefficients = FromEigen(coefficients);
  return functions;
}

/// Sorts out the variables whose sums of squares are no doubles, or whose variance is none. Those of which only means
/// differ, by too little, become undefined with it.
void FindOutOfRange(const GroupSums& sums, const LongMatrix& within, const MatrixXd& covariance,
                    LongMatrix& between, const GroupAnalysis& analysis, Singularity& singularity) {
  // The means are long doubles, which lose nothing.
  constexpr double kLeast = LeastSquares(1);
  const double df = DegreesWithin(analysis);
  for (Index variable = 0; variable < within.rows(); ++variable) {
    const auto inAny = [&](bool (GroupSums::*is)(std::size_t, Index) const) {
      return std::any_of(analysis.groups.begin(), analysis.groups.end(),
                         [&](const Group& group) { return (sums.*is)(group.level, variable); });
    };
    bool isBelow = inAny(&GroupSums::IsBelow);
    const long double total = within(variable, variable) + between(variable, variable);
    isBelow = isBelow || (total > 0.0L && total < kLeast);
    if (isBelow && between(variable, variable) > 0.0L && between(variable, variable) < kLeast) {
      between.row(variable).setConstant(kUndefined);
      between.col(variable).setConstant(kUndefined);
    }
    const double variance = covariance(variable, variable);
    const bool isLost = !isBelow && inAny(&GroupSums::IsLost);
    const bool isBeyond =
        !isBelow && !isLost && (std::isinf(variance) || !std::isfinite(static_cast<double>(total)));
    isBelow = isBelow ||
              (!isLost && !isBeyond && df > 0.0 && within(variable, variable) > 0.0L && !(variance > 0.0));
    const auto at = static_cast<std::size_t>(variable);
    if (isBelow) singularity.below.push_back(at);
    if (isLost) singularity.lost.push_back(at);
    if (isBeyond) singularity.overflown.push_back(at);
  }
}

std::vector<double> LostDigits(const GroupSums& sums, const GroupAnalysis& analysis) {
  std::vector<double> lost(static_cast<std::size_t>(sums.Variables()));
  for (std::size_t variable = 0; variable < lost.size(); ++variable) {
    for (const Group& group : analysis.groups) {
      const double own = sums.LostDigits(group.level, static_cast<Index>(variable));
      lost[variable] = std::max(lost[variable], own);
    }
  }
  return lost;
}

}  // namespace

GroupAnalysis AnalyseGroups(const vexa::DiscIndividualMatrix& matrix, const std::vector<double>& origin,
                            const std::vector<std::uint64_t>& rows, Priors priors,
                            std::vector<Spread> spreads) {
  const GroupSums sums(matrix, rows, std::move(spreads));
  GroupAnalysis analysis;
  FindGroups(sums, analysis);
  const LongMatrix within = SumWithin(sums, analysis);
  const LongMatrix means = CentredMeans(sums, origin, analysis);
  const VectorXd weights = Weights(analysis);
  LongMatrix between = SumBetween(means, weights);
  const double df = DegreesWithin(analysis);
  const MatrixXd covariance = CovarianceOf(within, df);
  Singularity& singularity = analysis.singularity;
  singularity.isTooHeavy = std::isinf(analysis.weight);
  if (singularity.isTooHeavy) {
    between.setConstant(kUndefined);
  } else {
    FindOutOfRange(sums, within, covariance, between, analysis, singularity);
  }
  analysis.within = FromEigen(MatrixXd(within.cast<double>()));
  analysis.between = FromEigen(MatrixXd(between.cast<double>()));
  analysis.total = FromEigen(MatrixXd((within + between).cast<double>()));
  analysis.covariance = FromEigen(covariance);
  TestEachVariable(df, analysis);
  analysis.lostDigits = LostDigits(sums, analysis);

  singularity.isTooLight = !(df > 0.0);
  if (singularity.IsThere()) return analysis;
  const Cholesky pooled(covariance);
  singularity.constant = pooled.Constant();
  singularity.dependent = pooled.Dependent();
  if (singularity.IsThere()) return analysis;

  if (analysis.groups.size() > 1) {
    analysis.canonical = Separate(pooled, means, weights, df);
    double minusLog = 0.0;
    for (const double eigenvalue : analysis.canonical->eigenvalues) minusLog += std::log1p(eigenvalue);
    analysis.wilks = TestWilks(minusLog, static_cast<double>(means.cols()),
                               static_cast<double>(analysis.groups.size()), analysis.weight);
  }
  analysis.classification = Classify(pooled, analysis, priors);
  return analysis;
}

}  // namespace derive
