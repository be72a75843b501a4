#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <new>
#include <type_traits>
#include <typeinfo>

#include "support/bits.h"
#include "support/rows.h"
#include "support/scarcity.h"
#include "support/statistics.h"
#include "vexa/matrixbase.h"

// What holds of every accumulator, whatever it sums.

namespace {

constexpr int kColumns = 6;
constexpr int kMissing = 9;

/// An accumulator and the arguments for an empty one over batches of kColumns columns in three groups.
template <class Class, int... kArguments>
struct Of {
  using Accumulator = Class;
  static auto Make() { return std::make_unique<Class>(kArguments...); }
};

template <class Accumulator>
auto& Add(Accumulator& accumulator, const Rows& rows) {
  if constexpr (std::is_same_v<Accumulator, vexa::DiscIndividualMatrix>) {
    return accumulator += *FilledGroupedBatch(rows, 3);
  } else {
    return accumulator += *FilledBatch(rows);
  }
}

/// Rows of values near 0, so that only rounding separates one order of merging from another.
Rows SomeRows(unsigned int seed, std::size_t count, bool weights = true, bool regWeights = true) {
  Random random(seed);
  RowsSpec spec;
  spec.rows = count;
  spec.columns = kColumns;
  spec.weights = weights;
  spec.regWeights = regWeights;
  spec.groups = 3;
  Rows rows = MakeRows(random, spec);
  for (auto& column : rows.columns) {
    for (double& value : column)
      value = std::bernoulli_distribution(0.2)(random) ? kMissing : std::remainder(value, 1.0);
  }
  return rows;
}

template <class Subject>
class Laws : public testing::Test {
 public:
  static auto From(const Rows& rows) {
    auto accumulator = Subject::Make();
    Add(*accumulator, rows);
    return accumulator;
  }
};

using Accumulators =
    testing::Types<Of<vexa::MatrixListwise>, Of<vexa::SMatrixListwise>,
                   Of<vexa::NSMatrixListwise, 0, 2, kColumns>, Of<vexa::DiscriminantMatrix, 3, kColumns>,
                   Of<vexa::DiscIndividualMatrix, 3, kColumns>, Of<vexa::MatrixPairwise, kMissing>,
                   Of<vexa::SMatrixPairwise, kMissing>, Of<vexa::NSMatrixPairwise, kMissing, 0, 2, kColumns>>;
TYPED_TEST_SUITE(Laws, Accumulators);

TYPED_TEST(Laws, SplitAndOrderOnlyRound) {
  const Rows rows = SomeRows(1, 90);
  const auto stream = this->From(rows.Slice(0, 1));
  Add(*stream, rows.Slice(1, 50));
  Add(*stream, rows.Slice(51, 39));
  const auto forward = this->From(rows.Slice(0, 20));
  *forward += *this->From(rows.Slice(20, 70));
  const auto backward = this->From(rows.Slice(20, 70));
  *backward += *this->From(rows.Slice(0, 20));
  const std::vector<double> whole = Statistics(*this->From(rows));
  for (const auto* parts : {&stream, &forward, &backward}) {
    const std::vector<double> values = Statistics(**parts);
    ASSERT_EQ(values.size(), whole.size());
    for (std::size_t k = 0; k < whole.size(); ++k)
      ASSERT_NEAR(values[k], whole[k], 1e-9 * (1.0 + std::fabs(whole[k])));
  }
}

TYPED_TEST(Laws, EmptyIsNeutralAndMergingReturnsTheLeftObject) {
  const auto full = this->From(SomeRows(3, 30));
  const auto empty = TypeParam::Make();
  const std::vector<double> before = Statistics(*full);
  EXPECT_EQ(&(*full += *empty), full.get());
  EXPECT_EQ(&Add(*full, SomeRows(3, 0)), full.get());
  Rows weightless = SomeRows(8, 10);
  weightless.weights.assign(10, 0.0);
  *full += *this->From(weightless);
  EXPECT_TRUE(SameBits(Statistics(*full), before)) << "nor does a part of weight 0 change anything";
  *empty += *TypeParam::Make();
  EXPECT_EQ(empty->NRows(), 0U);
  *empty += *full;
  EXPECT_TRUE(SameBits(Statistics(*empty), before));
}

TYPED_TEST(Laws, CopiesAreIndependent) {
  auto original = this->From(SomeRows(4, 30));
  const std::vector<double> before = Statistics(*original);
  const auto copy = TypeParam::Make();
  *copy += *original;
  Add(*original, SomeRows(5, 10));
  original.reset();
  EXPECT_TRUE(SameBits(Statistics(*copy), before));
}

TYPED_TEST(Laws, AddingItselfDoubles) {
  const Rows rows = SomeRows(6, 30);
  const auto itself = this->From(rows);
  const auto doubled = this->From(rows);
  *doubled += *this->From(rows);
  *itself += *itself;
  EXPECT_TRUE(SameBits(Statistics(*itself), Statistics(*doubled)));
}

/// The laws of the interface that all accumulators but the full matrices share.
template <class Subject>
class InterfaceLaws : public Laws<Subject> {};

using Interchangeable =
    testing::Types<Of<vexa::SMatrixListwise>, Of<vexa::NSMatrixListwise, 0, 2, kColumns>,
                   Of<vexa::DiscriminantMatrix, 3, kColumns>, Of<vexa::DiscIndividualMatrix, 3, kColumns>,
                   Of<vexa::SMatrixPairwise, kMissing>, Of<vexa::NSMatrixPairwise, kMissing, 0, 2, kColumns>>;
TYPED_TEST_SUITE(InterfaceLaws, Interchangeable);

/// An accumulator of a class that nobody else can be merged with.
class Stranger : public vexa::MatrixBase {
 public:
  explicit Stranger(unsigned int rows) : _rows(rows) {}
  using MatrixBase::operator+=;
  unsigned int NRows() const override { return _rows; }
  MatrixBase& operator+=(vexa::DataBatch& /*batch*/) override { return *this; }
  MatrixBase& operator+=(MatrixBase& /*other*/) override { return *this; }

 private:
  unsigned int _rows;
};

TYPED_TEST(InterfaceLaws, OneOfAnotherClassIsRefusedUnlessItIsEmpty) {
  Stranger emptyStranger(0);
  Stranger stranger(5);
  for (const std::size_t rows : {0U, 20U}) {
    const auto accumulator = this->From(SomeRows(9, rows));
    vexa::MatrixBase& base = *accumulator;
    const std::vector<double> before = Statistics(*accumulator);
    EXPECT_THROW(base += stranger, std::bad_cast);
    EXPECT_EQ(&(base += emptyStranger), &base);
    EXPECT_TRUE(SameBits(Statistics(*accumulator), before));
  }
}

TYPED_TEST(InterfaceLaws, OnlyTheMatricesOfEachGroupTakeGroupedBatches) {
  const Rows rows = SomeRows(10, 20);
  const auto full = this->From(rows);
  vexa::MatrixBase& base = *full;
  const std::vector<double> before = Statistics(*full);
  FilledGroupedBatch grouped(rows, 3);
  EXPECT_EQ(&(base += *grouped), &base);
  EXPECT_EQ(&(*full += *grouped), &base);
  constexpr bool kTakes = std::is_same_v<typename TypeParam::Accumulator, vexa::DiscIndividualMatrix>;
  EXPECT_EQ(full->NRows(), kTakes ? 60U : 20U);
  EXPECT_EQ(SameBits(Statistics(*full), before), !kTakes);
}

/// Whoever keeps rows with missing values has buffers, which stay.
template <class Subject>
class PairwiseLaws : public Laws<Subject> {};

using Pairwise = testing::Types<Of<vexa::MatrixPairwise, kMissing>, Of<vexa::SMatrixPairwise, kMissing>,
                                Of<vexa::NSMatrixPairwise, kMissing, 0, 2, kColumns>>;
TYPED_TEST_SUITE(PairwiseLaws, Pairwise);

TYPED_TEST(PairwiseLaws, NoMemoryIsAskedForOnceTheBuffersHaveGrown) {
  for (int kinds = 0; kinds < 4; ++kinds) {
    const auto rows = [&](std::size_t count) { return SomeRows(1, count, kinds % 2 == 1, kinds / 2 == 1); };
    FilledBatch first(rows(200));
    FilledBatch second(rows(200));
    FilledBatch smaller(rows(50));
    const auto matrix = TypeParam::Make();
    const auto other = this->From(rows(50));
    const std::size_t before = Allocations();
    *matrix += *first;
    const std::size_t grown = Allocations();
    EXPECT_GT(grown, before) << "or else nothing is counted";
    *matrix += *second;
    *matrix += *smaller;
    *matrix += *other;
    EXPECT_EQ(Allocations(), grown) << kinds;
  }
}

/// Runs `step` on an accumulator from `make` again and again, with one more allocation permitted each time, until it
/// succeeds.
template <class Make, class Step>
void ExpectFailuresChangeNothing(Make make, const std::vector<double>& expected, Step step) {
  bool failed = true;
  for (int permitted = 0; failed; ++permitted) {
    SCOPED_TRACE(testing::Message() << permitted << " allocations permitted");
    const auto matrix = make();
    const std::vector<double> before = Statistics(*matrix);
    FailAllocation(permitted);
    try {
      step(*matrix);
    } catch (const std::bad_alloc&) {
    }
    failed = AllocationFailed();
    ASSERT_TRUE(failed || permitted > 0);
    if (failed) {
      ASSERT_TRUE(SameBits(Statistics(*matrix), before));
      step(*matrix);
    }
    ASSERT_TRUE(SameBits(Statistics(*matrix), expected));
  }
}

TYPED_TEST(PairwiseLaws, AFailedAllocationChangesNothing) {
  FilledBatch batch(SomeRows(1, 30));
  FilledBatch larger(SomeRows(2, 70));
  const auto once = [] { return Laws<TypeParam>::From(SomeRows(1, 30)); };
  const auto one = once();
  const auto both = once();
  *both += *larger;
  ExpectFailuresChangeNothing(TypeParam::Make, Statistics(*one), [&](auto& matrix) { matrix += *batch; });
  ExpectFailuresChangeNothing(TypeParam::Make, Statistics(*one), [&](auto& matrix) { matrix += *one; });
  ExpectFailuresChangeNothing(once, Statistics(*both), [&](auto& matrix) { matrix += *larger; });
}

}  // namespace
