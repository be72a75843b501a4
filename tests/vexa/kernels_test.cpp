#include "vexa/kernels.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "support/bits.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
const std::vector<double> kNone;

TEST(Kernels, NoElements) {
  std::vector<double> empty;
  EXPECT_TRUE(SameBits(vexa::Sum(nullptr, 0), 0.0));
  EXPECT_TRUE(SameBits(vexa::WeightedSum(nullptr, 5), 5.0));
  const double weight = 3.0;
  EXPECT_TRUE(SameBits(vexa::WeightedSum(&weight, 0), 0.0));
  EXPECT_TRUE(SameBits(vexa::WeightedMean(nullptr, nullptr, 0.0, 0), 0.0));
  EXPECT_TRUE(SameBits(vexa::Maxs(empty), -1.79e308));
  EXPECT_TRUE(SameBits(vexa::Mins(empty), +1.79e308));
}

// 1e16 swallows a 1 added to it but not a 2: any other order or grouping of these sums shows.
TEST(Kernels, SumsInAscendingOrderAndProductsFromTheLeft) {
  const std::vector<double> x = {1e16, 1.0, 1.0, -1e16};
  EXPECT_TRUE(SameBits(vexa::Sum(x), 0.0));
  EXPECT_TRUE(SameBits(vexa::WeightedSum(x, kNone), 0.0));
  const std::vector<double> a = {1e200, 3.0};
  const std::vector<double> b = {1e200, 1.0 / 3.0};
  const std::vector<double> d = {1e-200, 1e16 / 3.0};
  EXPECT_TRUE(SameBits(vexa::ProductSum(a, b, d), std::numeric_limits<double>::infinity()));
  const std::vector<double> third = {1.0 / 49.0};
  const std::vector<double> fortyNine = {49.0};
  const std::vector<double> tiny = {1e-30};
  EXPECT_TRUE(SameBits(vexa::CrossProduct(third, tiny, fortyNine), (49.0 * (1.0 / 49.0)) * 1e-30));
  EXPECT_TRUE(SameBits(vexa::ProductSum(tiny, third, fortyNine), (1e-30 * (1.0 / 49.0)) * 49.0));
}

// A fused multiply-add would keep the 2^-104 that rounding the product drops.
TEST(Kernels, RoundsTheProductBeforeAdding) {
  const double next = 1.0 + std::numeric_limits<double>::epsilon();
  const std::vector<double> a = {-1.0 - 2 * std::numeric_limits<double>::epsilon(), next};
  const std::vector<double> b = {1.0, next};
  EXPECT_TRUE(SameBits(vexa::ProductSum(a, b), 0.0));
}

TEST(Kernels, CombinesWeights) {
  std::vector<double> weights = {1.0, 2.0, 3.0};
  const std::vector<double> reg = {4.0, 5.0, 6.0};
  EXPECT_EQ(vexa::CombineWeights(nullptr, reg.data(), 3), reg.data());
  EXPECT_EQ(vexa::CombineWeights(nullptr, nullptr, 3), nullptr);
  EXPECT_EQ(vexa::CombineWeights(weights.data(), nullptr, 3U), weights.data());
  EXPECT_TRUE(SameBits(weights, {1.0, 2.0, 3.0}));
  EXPECT_EQ(vexa::CombineWeights(weights.data(), reg.data(), 2), weights.data());
  EXPECT_TRUE(SameBits(weights, {4.0, 10.0, 3.0}));

  std::vector<double> first;
  std::vector<double> second = reg;
  vexa::CombineWeights(first, second);
  EXPECT_TRUE(SameBits(first, reg));
  EXPECT_TRUE(second.empty());
  vexa::CombineWeights(first, second);
  EXPECT_TRUE(SameBits(first, reg));
  std::vector<double> longer = {2.0, 2.0, 2.0, 2.0};
  vexa::CombineWeights(first, longer);
  EXPECT_TRUE(SameBits(first, {8.0, 10.0, 12.0}));
}

TEST(Kernels, MeanTakesTheLeadingRunApart) {
  EXPECT_TRUE(SameBits(vexa::WeightedMean({2, 2, 2}, {0, 0, 0}, 0.0), 2.0));
  EXPECT_TRUE(SameBits(vexa::WeightedMean({0.1, 0.1, 0.1}, kNone, 3.0), 0.1));
  EXPECT_TRUE(SameBits(vexa::WeightedMean({1, 1, 4}, kNone, 3.0), 2.0));
  EXPECT_TRUE(SameBits(vexa::WeightedMean({-0.0, 0.0}, kNone, 2.0), -0.0));
  EXPECT_TRUE(SameBits(vexa::WeightedMean({0.1, 0.1, 0.1, 0.7}, kNone, 4.0), (0.7 + 0.1 * 3.0) / 4.0));
  EXPECT_TRUE(
      SameBits(vexa::WeightedMean({0.1, 0.1, 0.7}, {0.3, 0.6, 2}, 2.9), (2 * 0.7 + 0.1 * (0.3 + 0.6)) / 2.9));
  EXPECT_TRUE(SameBits(vexa::WeightedMean({kNaN, 1}, kNone, 2.0), kNaN));
  EXPECT_TRUE(SameBits(vexa::WeightedMean({1, 2}, {1, -1}, 0.0), -std::numeric_limits<double>::infinity()));
}

TEST(Kernels, ExtremesKeepTheFirstAndReadTheGlobals) {
  std::vector<double> nanFirst = {kNaN, 1};
  std::vector<double> nanInside = {1, kNaN, 3};
  EXPECT_TRUE(SameBits(vexa::Maxs(nanFirst), kNaN));
  EXPECT_TRUE(SameBits(vexa::Mins(nanFirst), kNaN));
  EXPECT_TRUE(SameBits(vexa::Maxs(nanInside), 3.0));
  EXPECT_TRUE(SameBits(vexa::Mins(nanInside), 1.0));
  std::vector<double> zeros = {-0.0, 0.0};
  EXPECT_TRUE(SameBits(vexa::Maxs(zeros), -0.0));

  std::vector<double> empty;
  const double oldMin = vexa::minvalue;
  const double oldMax = vexa::maxvalue;
  vexa::minvalue = -7.0;
  vexa::maxvalue = 8.0;
  EXPECT_TRUE(SameBits(vexa::Maxs(empty), -7.0));
  EXPECT_TRUE(SameBits(vexa::Mins(nullptr, 0), 8.0));
  vexa::minvalue = oldMin;
  vexa::maxvalue = oldMax;
}

TEST(Kernels, GroupSumsAddToWhatIsThere) {
  const std::vector<double> x = {1, 2, 3};
  const std::vector<unsigned int> groups = {1, 0, 1};
  const std::vector<double> weights = {0.5, 2, 4};
  std::vector<double> sums = {100, 0};
  std::vector<double> squares = {0, 0};
  vexa::GroupWeightedSumX(x.data(), groups.data(), nullptr, sums.data(), squares.data(), 3);
  vexa::GroupWeightedSumX(x.data(), groups.data(), weights.data(), sums.data(), squares.data(), 3);
  EXPECT_TRUE(SameBits(sums, {100 + 2 + 4, 4 + 0.5 + 12}));
  EXPECT_TRUE(SameBits(squares, {4 + 8, 10 + 0.5 + 36}));

  std::vector<double> totals = {0, 0};
  double total = 0.0;
  vexa::WeightByGroup(groups.data(), nullptr, totals, total, 3);
  vexa::WeightByGroup(groups.data(), weights.data(), totals, total, 3);
  EXPECT_TRUE(SameBits(totals, {1 + 2, 2 + 0.5 + 4}));
  EXPECT_TRUE(SameBits(total, 3 + 6.5));
}

}  // namespace
