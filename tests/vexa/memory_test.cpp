#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <type_traits>

#include "support/bits.h"
#include "support/rows.h"
#include "support/scarcity.h"
#include "support/statistics.h"

namespace {

constexpr double kMissing = 9.0;

template <class Matrix>
std::unique_ptr<Matrix> Make() {
  if constexpr (std::is_same_v<Matrix, vexa::NSMatrixPairwise>) {
    return std::make_unique<Matrix>(kMissing, 0, 3, 7);
  } else {
    return std::make_unique<Matrix>(kMissing);
  }
}

Rows SomeRows(std::size_t count, bool weights, bool regWeights) {
  Random random(count);
  RowsSpec spec;
  spec.rows = count;
  spec.columns = 7;
  spec.weights = weights;
  spec.regWeights = regWeights;
  spec.missingCode = kMissing;
  spec.missingRate = 0.2;
  return MakeRows(random, spec);
}

template <class Matrix>
class Memory : public testing::Test {};
using Matrices = testing::Types<vexa::MatrixPairwise, vexa::SMatrixPairwise, vexa::NSMatrixPairwise>;
TYPED_TEST_SUITE(Memory, Matrices);

TYPED_TEST(Memory, IsNotAskedForOnceTheBuffersHaveGrown) {
  for (int kinds = 0; kinds < 4; ++kinds) {
    const bool weights = kinds % 2 == 1;
    const bool regWeights = kinds / 2 == 1;
    FilledBatch first(SomeRows(200, weights, regWeights));
    FilledBatch second(SomeRows(200, weights, regWeights));
    FilledBatch smaller(SomeRows(50, weights, regWeights));
    const auto matrix = Make<TypeParam>();
    const auto other = Make<TypeParam>();
    *other += *smaller;
    const std::size_t before = Allocations();
    *matrix += *first;
    const std::size_t grown = Allocations();
    EXPECT_GT(grown, before) << "or else nothing is counted";
    *matrix += *second;
    *matrix += *smaller;
    *matrix += *other;
    EXPECT_EQ(Allocations(), grown) << "weights " << weights << ", regression weights " << regWeights;
  }
}

/// Runs `step` on a matrix from `make` again and again, with one more allocation permitted each time, until it
/// succeeds.
template <class Make, class Step>
void ExpectFailuresChangeNothing(Make make, const std::vector<double>& expected, Step step) {
  for (int permitted = 0;; ++permitted) {
    SCOPED_TRACE(testing::Message() << permitted << " allocations permitted");
    const auto matrix = make();
    const std::vector<double> before = Statistics(*matrix);
    FailAllocation(permitted);
    try {
      step(*matrix);
    } catch (const std::bad_alloc&) {
    }
    const bool failed = AllocationFailed();
    if (failed) {
      ASSERT_TRUE(SameBits(Statistics(*matrix), before));
      step(*matrix);
    }
    ASSERT_TRUE(SameBits(Statistics(*matrix), expected));
    if (!failed) {
      EXPECT_GT(permitted, 0);
      return;
    }
  }
}

TYPED_TEST(Memory, AFailedAllocationChangesNothing) {
  FilledBatch batch(SomeRows(30, true, true));
  FilledBatch larger(SomeRows(70, true, true));
  const auto once = [&] {
    auto matrix = Make<TypeParam>();
    *matrix += *batch;
    return matrix;
  };
  const auto addLarger = [&](TypeParam& matrix) { matrix += *larger; };
  const auto one = once();
  const auto both = once();
  addLarger(*both);
  ExpectFailuresChangeNothing(Make<TypeParam>, Statistics(*one),
                              [&](TypeParam& matrix) { matrix += *batch; });
  ExpectFailuresChangeNothing(Make<TypeParam>, Statistics(*one), [&](TypeParam& matrix) { matrix += *one; });
  ExpectFailuresChangeNothing(once, Statistics(*both), addLarger);
}

}  // namespace
