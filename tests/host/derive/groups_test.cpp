// The analysis of groups against its definitions, written with determinants and inverses over centred rows, and
// what is left of it when something cannot be inverted.

#include "derive/groups.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "vexa/databatchbygroup.h"

namespace derive_test {
namespace {

using derive::GroupAnalysis;
using derive::Matrix;
using Eigen::MatrixXd;
using Eigen::VectorXd;
using testing::DoubleNear;
using testing::ElementsAre;
using testing::Pointwise;

struct Case {
  unsigned int level;
  double weight;
  VectorXd values;
};

/// Sums the cases in the order given and analyses them. The origin of a level is `step` from that of the last.
GroupAnalysis Analyse(const std::vector<Case>& cases, unsigned int levels,
                      derive::Priors priors = derive::Priors::kEqual, double step = 0.0,
                      std::vector<derive::Spread> spreads = {}) {
  const auto variables = static_cast<unsigned int>(cases.front().values.size());
  double weight = 0.0;
  unsigned int level = 0;
  vexa::DataBatchByGroup batch(variables, static_cast<unsigned int>(cases.size()), &weight, nullptr, &level,
                               levels);
  std::vector<std::uint64_t> rows(levels);
  std::vector<double> origins;
  for (level = 0; level < levels; ++level) origins.insert(origins.end(), variables, (level + 1) * step);
  for (const Case& one : cases) {
    std::transform(one.values.begin(), one.values.end(), batch.NextRow(),
                   [&](double value) { return value - (one.level + 1) * step; });
    weight = one.weight;
    level = one.level;
    batch.AddRow();
    ++rows[level];
  }
  batch.SortByGroup();
  vexa::DiscIndividualMatrix matrix(static_cast<int>(levels), static_cast<int>(variables));
  matrix += batch;
  return derive::AnalyseGroups(matrix, origins, rows, priors, std::move(spreads));
}

/// Groups that differ in their means and in their spreads; level 1 of four stays empty.
std::vector<Case> SomeCases(unsigned int seed, unsigned int levels, Eigen::Index variables, int count) {
  std::mt19937_64 random(seed);
  std::normal_distribution<double> normal;
  const MatrixXd noise = MatrixXd::NullaryExpr(variables, variables, [&] { return normal(random); });
  const MatrixXd mix = MatrixXd::Identity(variables, variables) + 0.3 * noise;
  std::vector<Case> cases;
  for (int row = 0; row < count; ++row) {
    const auto level = static_cast<unsigned int>(row) % levels;
    if (levels == 4 && level == 1) continue;
    VectorXd values = mix * VectorXd::NullaryExpr(variables, [&] { return normal(random); });
    values = (1.0 + 0.3 * level) * values.array() + 0.5 * level;
    values(0) += level == 0 ? 3.0 : 0.0;
    cases.push_back({level, 0.5 + row % 3, values});
  }
  return cases;
}

MatrixXd ToEigen(const Matrix& matrix) {
  return Eigen::Map<const Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>>(
      matrix.cells.data(), static_cast<Eigen::Index>(matrix.rows), static_cast<Eigen::Index>(matrix.cols));
}

VectorXd ToEigen(const std::vector<double>& list) {
  return Eigen::Map<const VectorXd>(list.data(), static_cast<Eigen::Index>(list.size()));
}

/// Σ w (x − mean)(x − mean)′ over the cases that belong.
struct Moments {
  double weight = 0.0;
  VectorXd mean;
  MatrixXd scatter;

  template <class Belongs>
  Moments(const std::vector<Case>& cases, Belongs belongs)
      : mean(VectorXd::Zero(cases.front().values.size())) {
    scatter = mean * mean.transpose();
    for (const Case& one : cases) {
      if (!belongs(one)) continue;
      weight += one.weight;
      mean += one.weight * one.values;
    }
    mean /= weight;
    for (const Case& one : cases) {
      if (belongs(one)) scatter += one.weight * (one.values - mean) * (one.values - mean).transpose();
    }
  }
};

/// With one variable Rao's F is that of the variable, and Box's test is Bartlett's with an F, as textbooks print it (Dixon
/// and Massey 1969).
void ExpectTestsOfOneVariable(const GroupAnalysis& analysis) {
  const derive::FTest& rao = analysis.wilks->test;
  const derive::FTest& own = analysis.univariate[0];
  EXPECT_NEAR(rao.f, own.f, 1e-10 * own.f);
  EXPECT_EQ(rao.df1, own.df1);
  EXPECT_NEAR(rao.df2, own.df2, 1e-10);
  const auto groups = static_cast<double>(analysis.groups.size());
  double reciprocals = -1.0 / (analysis.weight - groups);
  for (const derive::Group& group : analysis.groups) reciprocals += 1.0 / (group.weight - 1.0);
  const double a = reciprocals / (3.0 * (groups - 1.0));
  const double df2 = (groups + 1.0) / (a * a);
  const double m = analysis.box.m;
  EXPECT_NEAR(analysis.box.test.df2, df2, 1e-9 * df2);
  const double f = df2 * m / ((groups - 1.0) * (df2 / (1.0 - a + 2.0 / df2) - m));
  EXPECT_NEAR(analysis.box.test.f, f, 1e-9 * f);
}

void ExpectClose(const MatrixXd& actual, const MatrixXd& expected, double tolerance = 1e-10) {
  ASSERT_EQ(actual.rows(), expected.rows());
  ASSERT_EQ(actual.cols(), expected.cols());
  EXPECT_LE((actual - expected).norm(), tolerance * (expected.norm() + 1e-3)) << actual << "\n\n" << expected;
}

/// Units of the variables change nothing that has none.
void ExpectNothingOfUnits(const GroupAnalysis& before, std::vector<Case> cases, unsigned int levels) {
  for (Case& one : cases) one.values(one.values.size() - 1) *= -1e-147;
  const std::vector<derive::Spread> spreads(levels * before.within.rows, 1e-147);
  const GroupAnalysis after = Analyse(cases, levels, derive::Priors::kEqual, 0.0, spreads);
  EXPECT_NEAR(after.wilks->lambda, before.wilks->lambda, 1e-12);
  EXPECT_NEAR(after.box.m, before.box.m, 1e-8);
  EXPECT_THAT(after.canonical->eigenvalues, Pointwise(DoubleNear(1e-9), before.canonical->eigenvalues));
  ExpectClose(ToEigen(after.canonical->structure).cwiseAbs(),
              ToEigen(before.canonical->structure).cwiseAbs());
}

TEST(Groups, AgreeWithTheirDefinitions) {
  for (unsigned int seed = 0; seed < 40; ++seed) {
    SCOPED_TRACE(seed);
    const unsigned int levels = 2 + seed / 6 % 3;
    const Eigen::Index variables = 1 + seed % 6;
    const std::vector<Case> cases = SomeCases(seed, levels, variables, 120);
    const GroupAnalysis analysis = Analyse(cases, levels, derive::Priors::kSize, seed % 2 * 0.25);
    const auto groups = static_cast<double>(analysis.groups.size());
    ASSERT_EQ(analysis.groups.size(), levels == 4 ? 3U : levels);
    EXPECT_EQ(analysis.emptyLevels.size(), levels == 4 ? 1U : 0U);

    const Moments all(cases, [](const Case&) { return true; });
    MatrixXd within = MatrixXd::Zero(variables, variables);
    double m = 0.0;
    for (const derive::Group& group : analysis.groups) {
      const Moments own(cases, [&](const Case& one) { return one.level == group.level; });
      within += own.scatter;
      const MatrixXd covariance = own.scatter / (own.weight - 1.0);
      m -= (own.weight - 1.0) * std::log(covariance.determinant());
      EXPECT_NEAR(group.weight, own.weight, 1e-12);
      ExpectClose(ToEigen(group.means), own.mean);
      ExpectClose(ToEigen(group.deviations), covariance.diagonal().cwiseSqrt());
    }
    const double df = all.weight - groups;
    const MatrixXd s = within / df;
    const MatrixXd between = all.scatter - within;
    ExpectClose(ToEigen(analysis.within), within);
    ExpectClose(ToEigen(analysis.between), between);
    ExpectClose(ToEigen(analysis.total), all.scatter);
    ExpectClose(ToEigen(analysis.covariance), s);
    EXPECT_NEAR(analysis.wilks->lambda, within.determinant() / all.scatter.determinant(), 1e-10);
    EXPECT_NEAR(analysis.box.m, m + df * std::log(s.determinant()), 1e-8);
    EXPECT_THAT(analysis.box.leftOut, testing::IsEmpty());
    if (variables == 1) ExpectTestsOfOneVariable(analysis);
    if (groups == 2) {
      // The statistic of two groups is Hotelling's, whose F is exact.
      const derive::FTest& rao = analysis.wilks->test;
      const double ratio = (1.0 - analysis.wilks->lambda) / analysis.wilks->lambda;
      EXPECT_EQ(rao.df1, variables);
      EXPECT_NEAR(rao.df2, analysis.weight - 1.0 - rao.df1, 1e-9);
      EXPECT_NEAR(rao.f, ratio * rao.df2 / rao.df1, 1e-9 * rao.f);
    }

    const derive::CanonicalFunctions& canonical = *analysis.canonical;
    const VectorXd eigenvalues = ToEigen(canonical.eigenvalues);
    ASSERT_EQ(eigenvalues.size(), std::min<Eigen::Index>(variables, static_cast<Eigen::Index>(groups) - 1));
    EXPECT_TRUE(std::is_sorted(eigenvalues.begin(), eigenvalues.end(), std::greater<>()));
    const MatrixXd v = s.diagonal().cwiseSqrt().cwiseInverse().asDiagonal() * ToEigen(canonical.standardised);
    ExpectClose(v.transpose() * s * v, MatrixXd::Identity(v.cols(), v.cols()));
    ExpectClose(between * v, within * v * eigenvalues.asDiagonal(), 1e-9);
    ExpectClose(ToEigen(canonical.structure), s.diagonal().cwiseSqrt().cwiseInverse().asDiagonal() * s * v);
    const MatrixXd centroids = ToEigen(canonical.centroids);
    VectorXd weights(centroids.rows());
    for (std::size_t at = 0; at < analysis.groups.size(); ++at) {
      weights(static_cast<Eigen::Index>(at)) = analysis.groups[at].weight;
      ExpectClose(centroids.row(static_cast<Eigen::Index>(at)),
                  (ToEigen(analysis.groups[at].means) - all.mean).transpose() * v, 1e-9);
    }
    ExpectClose(centroids.transpose() * weights.asDiagonal() * centroids,
                df * MatrixXd(eigenvalues.asDiagonal()), 1e-8);
    for (Eigen::Index function = 0; function < v.cols(); ++function) {
      const VectorXd column = ToEigen(canonical.standardised).col(function);
      EXPECT_EQ(column.maxCoeff(), column.cwiseAbs().maxCoeff());
      EXPECT_NEAR(canonical.correlations[static_cast<std::size_t>(function)],
                  std::sqrt(eigenvalues(function) / (1.0 + eigenvalues(function))), 1e-12);
    }

    ExpectNothingOfUnits(analysis, cases, levels);

    const derive::ClassificationFunctions& functions = *analysis.classification;
    for (std::size_t at = 0; at < analysis.groups.size(); ++at) {
      const VectorXd mean = ToEigen(analysis.groups[at].means);
      const VectorXd coefficients = ToEigen(functions.coefficients).col(static_cast<Eigen::Index>(at));
      ExpectClose(s * coefficients, mean, 1e-9);
      EXPECT_NEAR(functions.priors[at], analysis.groups[at].weight / all.weight, 1e-12);
      EXPECT_NEAR(functions.constants[at], std::log(functions.priors[at]) - 0.5 * mean.dot(coefficients),
                  1e-8);
    }
  }
}

// Rounding must not show as a negative M, which has no F, nor as a zero with a sign.
TEST(Groups, EqualGroupsDifferInNothing) {
  for (unsigned int seed = 0; seed < 20; ++seed) {
    std::vector<Case> cases = SomeCases(seed, 1, 2, 18);
    for (std::size_t at = 0; at < 18; ++at) cases.push_back({1, cases[at].weight, cases[at].values});
    EXPECT_FALSE(std::signbit(Analyse(cases, 2).wilks->test.f));
    for (std::size_t at = 18; at < 36; ++at) cases[at].values.array() += 0.1;
    EXPECT_NEAR(Analyse(cases, 2).box.test.p, 1.0, 1e-9);
  }
}

TEST(Groups, TailsOfF) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  EXPECT_NEAR(derive::TestF(4.351243503329, 1, 20).p, 0.05, 1e-12);
  EXPECT_NEAR(derive::TestF(3.841458820694, 1, kInfinity).p, 0.05, 1e-12);
  EXPECT_EQ(derive::TestF(0, 1, 20).p, 1.0);
  EXPECT_LT(derive::TestF(1e4, 3, 100).p, 1e-90);
  EXPECT_TRUE(std::isnan(derive::TestF(2, 1, 0).p));
  EXPECT_TRUE(std::isnan(derive::TestF(2, 0, 5).f));
  EXPECT_TRUE(std::isnan(derive::TestF(NAN, 1, 5).p));
  EXPECT_TRUE(std::isnan(derive::TestF(kInfinity, 1, 5).f));
  EXPECT_EQ(derive::TestF(NAN, 1, 5).df2, 5.0);
}

// What is dependent or left out of Box's test is named in the program's tests.
TEST(Groups, NameWhatIsSingularAndKeepTheRest) {
  const auto change = [](auto values) {
    std::vector<Case> cases = SomeCases(6, 3, 4, 90);
    for (Case& one : cases) values(one);
    return Analyse(cases, 3);
  };
  // One value in each group, but not the same, and none that raw sums hold exactly.
  const GroupAnalysis constant = change([](Case& one) { one.values(1) = 0.1 + 0.2 * one.level; });
  EXPECT_THAT(constant.singularity.constant, ElementsAre(1));
  EXPECT_THAT(constant.singularity.dependent, ElementsAre());
  EXPECT_FALSE(constant.wilks || constant.canonical || constant.classification);
  EXPECT_EQ(constant.within.At(1, 1), 0.0);
  EXPECT_EQ(constant.groups[2].deviations[1], 0.0);
  EXPECT_GT(constant.between.At(1, 1), 0.0);
  EXPECT_TRUE(std::isnan(constant.univariate[1].f) && std::isnan(constant.box.m));
  EXPECT_GT(constant.univariate[0].f, 0.0);
  const GroupAnalysis huge = change([](Case& one) {
    one.values(1) = 7.0;
    one.values(2) *= 1e200;
  });
  EXPECT_THAT(huge.singularity.overflown, ElementsAre(2));
  EXPECT_TRUE(std::isnan(huge.groups[0].deviations[2])) << "no silent zero";
  EXPECT_EQ(huge.within.At(2, 1), 0.0) << "beside a constant";
  EXPECT_GT(huge.univariate[0].f, 0.0);
}

TEST(Groups, OneGroupOrTooLittleOrTooMuchWeight) {
  std::vector<Case> cases = SomeCases(8, 1, 2, 20);
  const GroupAnalysis one = Analyse(cases, 2);
  EXPECT_FALSE(one.wilks || one.canonical);
  EXPECT_TRUE(one.classification.has_value());
  EXPECT_TRUE(std::isnan(one.univariate[0].f));

  for (Case& light : cases) light.weight = 1.0 / 64;
  const GroupAnalysis light = Analyse(cases, 2);
  EXPECT_THAT(light.emptyLevels, ElementsAre(1));
  EXPECT_TRUE(light.singularity.isTooLight);
  EXPECT_TRUE(std::isnan(light.covariance.At(0, 0)));
  EXPECT_GT(light.within.At(0, 0), 0.0);

  // Each group's weight is a double, and that of both is none.
  for (std::size_t at = 0; at < cases.size(); ++at) {
    cases[at].level = at % 2;
    cases[at].weight = 1e307;
    cases[at].values *= 0.01;
  }
  const GroupAnalysis heavy = Analyse(cases, 2);
  EXPECT_TRUE(heavy.singularity.isTooHeavy);
  EXPECT_TRUE(std::isnan(heavy.between.At(0, 0)));
}

}  // namespace
}  // namespace derive_test
