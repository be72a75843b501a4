#include "vexa/kernels.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "support/bits.h"
#include "support/plain.h"
#include "support/rows.h"

namespace {

using plain::Column;

// Every overload but those over groups, which the discriminant matrix calls; what other accumulators call is compared once
// more with all that they do with it.
TEST(Kernels, EqualPlainLoops) {
  for (unsigned int seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    RowsSpec spec = RandomSpec(random, 60, 1);
    spec.columns = 3;
    spec.rows += 1;
    Rows rows = MakeRows(random, spec);
    Column& x = rows.columns[0];
    const Column& y = rows.columns[1];
    const Column& z = rows.columns[2];
    const Column& w = rows.weights;
    const double* weights = w.empty() ? nullptr : w.data();
    const int n = static_cast<int>(spec.rows);
    const double total = weights ? plain::Sum(w) : n;
    const double sum = plain::Sum(x);
    const double mean = plain::Mean(x, w, total);
    const double product = plain::CrossProduct(x, y, w);
    EXPECT_TRUE(SameBits({vexa::Sum(x), vexa::Sum(x.data(), n), vexa::WeightedSum(weights, n),
                          vexa::WeightedSum(x, w), vexa::ProductSum(x, y), vexa::ProductSum(x, y, z),
                          vexa::CrossProduct(x, y, w), vexa::CrossProduct(x.data(), y.data(), weights, n),
                          vexa::WeightedMean(x, w, total), vexa::WeightedMean(x.data(), weights, total, n),
                          vexa::Maxs(x), vexa::Maxs(x.data(), n), vexa::Mins(x), vexa::Mins(x.data(), n)},
                         {sum, sum, total, weights ? plain::CrossProduct(x, w, {}) : sum,
                          plain::CrossProduct(x, y, {}), plain::CrossProduct(y, z, x), product, product, mean,
                          mean, plain::Max(x), plain::Max(x), plain::Min(x), plain::Min(x)}));

    const Column centred = plain::Centred(x, mean);
    vexa::CenterData(x, mean);
    EXPECT_TRUE(SameBits(x, centred));
  }
}

TEST(Kernels, NoElements) {
  Column none;
  const double weight = 3.0;
  EXPECT_TRUE(SameBits({vexa::Sum(nullptr, 0), vexa::WeightedSum(&weight, 0), vexa::Maxs(none),
                        vexa::Mins(none), vexa::WeightedMean(nullptr, nullptr, 0.0, 0)},
                       {0.0, 0.0, -1.79e308, 1.79e308, 0.0}));
  const double oldMin = std::exchange(vexa::minvalue, -7.0);
  const double oldMax = std::exchange(vexa::maxvalue, 8.0);
  EXPECT_TRUE(SameBits({vexa::Maxs(none), vexa::Mins(nullptr, 0)}, {-7.0, 8.0}));
  vexa::minvalue = oldMin;
  vexa::maxvalue = oldMax;
}

TEST(Kernels, CombineWeightsOfTwoLists) {
  const Column reg = {4.0, 5.0, 6.0};
  Column first;
  Column second = reg;
  for (int time = 0; time < 2; ++time) {
    vexa::CombineWeights(first, second);
    EXPECT_TRUE(SameBits(first, reg));
    EXPECT_TRUE(second.empty());
  }
  Column longer = {2.0, 2.0, 2.0, 2.0};
  vexa::CombineWeights(first, longer);
  EXPECT_TRUE(SameBits(first, {8.0, 10.0, 12.0}));
  EXPECT_EQ(vexa::CombineWeights(first.data(), reg.data(), 2), first.data());
  EXPECT_TRUE(SameBits(first, {32.0, 50.0, 12.0}));
  EXPECT_EQ(vexa::CombineWeights(nullptr, reg.data(), 3), reg.data());
}

}  // namespace
