#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <type_traits>
#include <typeinfo>

#include "support/bits.h"
#include "support/rows.h"
#include "support/statistics.h"
#include "vexa/matrixbase.h"
#include "vexa/matrixlistwise.h"

namespace {

/// What the laws need to know of an accumulator: how to make an empty one over `columns` columns, how to feed
/// and merge it, and all its statistics as one list.
struct ListwiseLaws {
  using Accumulator = vexa::MatrixListwise;
  static std::unique_ptr<Accumulator> Make(unsigned int /*columns*/) {
    return std::make_unique<Accumulator>();
  }
  static Accumulator& Add(Accumulator& accumulator, const Rows& rows) {
    FilledBatch batch(rows);
    return accumulator += *batch;
  }
  static std::vector<double> Statistics(const Accumulator& matrix) { return ::Statistics(matrix); }
};

/// An accumulator behind the common interface that takes ungrouped batches.
template <class Block>
struct BlockLaws {
  using Accumulator = Block;
  static vexa::MatrixBase& Add(Block& block, const Rows& rows) { return block += *FilledBatch(rows); }
  static std::vector<double> Statistics(const Block& block) { return ::Statistics(block); }
};

struct SymmetricListwiseLaws : BlockLaws<vexa::SMatrixListwise> {
  static auto Make(unsigned int /*columns*/) { return std::make_unique<Accumulator>(); }
};

struct RectangularListwiseLaws : BlockLaws<vexa::NSMatrixListwise> {
  static auto Make(unsigned int columns) {
    return std::make_unique<Accumulator>(0, 2, static_cast<int>(columns));
  }
};

struct DiscriminantLaws : BlockLaws<vexa::DiscriminantMatrix> {
  static auto Make(unsigned int columns) {
    return std::make_unique<Accumulator>(3, static_cast<int>(columns));
  }
};

struct DiscIndividualLaws {
  using Accumulator = vexa::DiscIndividualMatrix;
  static auto Make(unsigned int columns) {
    return std::make_unique<Accumulator>(3, static_cast<int>(columns));
  }
  static vexa::MatrixBase& Add(Accumulator& matrix, const Rows& rows) {
    return matrix += *FilledGroupedBatch(rows, 3);
  }
  static std::vector<double> Statistics(const Accumulator& matrix) { return ::Statistics(matrix); }
};

/// A part of the cells that SomeRows makes is missing.
constexpr double kMissing = 0.5;

struct PairwiseLaws {
  using Accumulator = vexa::MatrixPairwise;
  static auto Make(unsigned int /*columns*/) { return std::make_unique<Accumulator>(kMissing); }
  static Accumulator& Add(Accumulator& matrix, const Rows& rows) { return matrix += *FilledBatch(rows); }
  static std::vector<double> Statistics(const Accumulator& matrix) { return ::Statistics(matrix); }
};

struct SymmetricPairwiseLaws : BlockLaws<vexa::SMatrixPairwise> {
  static auto Make(unsigned int /*columns*/) { return std::make_unique<Accumulator>(kMissing); }
};

struct RectangularPairwiseLaws : BlockLaws<vexa::NSMatrixPairwise> {
  static auto Make(unsigned int columns) {
    return std::make_unique<Accumulator>(kMissing, 0, 2, static_cast<int>(columns));
  }
};

template <class Laws>
class AccumulatorLaws : public testing::Test {
 protected:
  static constexpr unsigned int kColumns = 6;

  /// Ordinary rows, so that only rounding separates one order of merging from another.
  static Rows SomeRows(unsigned int seed, std::size_t count) {
    Random random(seed);
    RowsSpec spec;
    spec.rows = count;
    spec.columns = kColumns;
    spec.weights = true;
    spec.regWeights = true;
    Rows rows = MakeRows(random, spec);
    for (auto& column : rows.columns) {
      for (double& value : column) {
        value = std::fmod(value, 1.0) + std::uniform_real_distribution<>(0, 1)(random);
        if (std::bernoulli_distribution(0.2)(random)) value = kMissing;
      }
    }
    std::uniform_int_distribution<unsigned int> group(0, 2);
    for (std::size_t row = 0; row < count; ++row) rows.groups.push_back(group(random));
    return rows;
  }

  static std::unique_ptr<typename Laws::Accumulator> From(const Rows& rows) {
    auto accumulator = Laws::Make(kColumns);
    Laws::Add(*accumulator, rows);
    return accumulator;
  }

  static void ExpectClose(const std::vector<double>& a, const std::vector<double>& b) {
    ASSERT_EQ(a.size(), b.size());
    for (std::size_t k = 0; k < a.size(); ++k) ASSERT_NEAR(a[k], b[k], 1e-9 * (1.0 + std::fabs(b[k])));
  }
};

using Accumulators =
    testing::Types<ListwiseLaws, SymmetricListwiseLaws, RectangularListwiseLaws, DiscriminantLaws,
                   DiscIndividualLaws, PairwiseLaws, SymmetricPairwiseLaws, RectangularPairwiseLaws>;
TYPED_TEST_SUITE(AccumulatorLaws, Accumulators);

TYPED_TEST(AccumulatorLaws, AStreamOfBatchesEqualsOneBatchUpToRounding) {
  const Rows rows = this->SomeRows(1, 90);
  const auto whole = this->From(rows);
  const auto stream = this->From(rows.Slice(0, 1));
  TypeParam::Add(*stream, rows.Slice(1, 50));
  TypeParam::Add(*stream, rows.Slice(51, 39));
  this->ExpectClose(TypeParam::Statistics(*stream), TypeParam::Statistics(*whole));
}

TYPED_TEST(AccumulatorLaws, MergeOrderOnlyRounds) {
  const Rows rows = this->SomeRows(2, 60);
  auto ab = this->From(rows.Slice(0, 20));
  auto ba = this->From(rows.Slice(20, 40));
  const auto a = this->From(rows.Slice(0, 20));
  const auto b = this->From(rows.Slice(20, 40));
  *ab += *b;
  *ba += *a;
  this->ExpectClose(TypeParam::Statistics(*ab), TypeParam::Statistics(*ba));
}

TYPED_TEST(AccumulatorLaws, EmptyIsNeutralAndMergingReturnsTheLeftObject) {
  const Rows rows = this->SomeRows(3, 30);
  auto full = this->From(rows);
  auto empty = TypeParam::Make(this->kColumns);
  auto alsoEmpty = TypeParam::Make(this->kColumns);
  const std::vector<double> before = TypeParam::Statistics(*full);
  EXPECT_EQ(&(*full += *empty), full.get());
  EXPECT_EQ(&TypeParam::Add(*full, rows.Slice(0, 0)), full.get());
  EXPECT_TRUE(SameBits(TypeParam::Statistics(*full), before));
  *empty += *alsoEmpty;
  EXPECT_EQ(empty->NRows(), 0U);
  *empty += *full;
  EXPECT_TRUE(SameBits(TypeParam::Statistics(*empty), before));
}

TYPED_TEST(AccumulatorLaws, CopiesAreIndependent) {
  const Rows rows = this->SomeRows(4, 30);
  auto original = this->From(rows);
  const std::vector<double> before = TypeParam::Statistics(*original);
  auto copy = TypeParam::Make(this->kColumns);
  *copy += *original;
  TypeParam::Add(*original, this->SomeRows(5, 10));
  EXPECT_TRUE(SameBits(TypeParam::Statistics(*copy), before));
  original.reset();
  EXPECT_TRUE(SameBits(TypeParam::Statistics(*copy), before));
}

TYPED_TEST(AccumulatorLaws, AddingItselfDoubles) {
  const Rows rows = this->SomeRows(6, 30);
  auto itself = this->From(rows);
  auto doubled = this->From(rows);
  const auto other = this->From(rows);
  *itself += *itself;
  *doubled += *other;
  EXPECT_TRUE(SameBits(TypeParam::Statistics(*itself), TypeParam::Statistics(*doubled)));
}

TYPED_TEST(AccumulatorLaws, MergingAPartOfZeroWeightChangesNothing) {
  auto full = this->From(this->SomeRows(7, 30));
  const std::vector<double> before = TypeParam::Statistics(*full);
  Rows weightless = this->SomeRows(8, 10);
  weightless.weights.assign(10, 0.0);
  *full += *this->From(weightless);
  EXPECT_TRUE(SameBits(TypeParam::Statistics(*full), before));
}

/// The laws of the interface that all accumulators but the full matrices share.
template <class Laws>
class InterfaceLaws : public AccumulatorLaws<Laws> {};

using InterchangeableAccumulators =
    testing::Types<SymmetricListwiseLaws, RectangularListwiseLaws, DiscriminantLaws, DiscIndividualLaws,
                   SymmetricPairwiseLaws, RectangularPairwiseLaws>;
TYPED_TEST_SUITE(InterfaceLaws, InterchangeableAccumulators);

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
  const auto full = this->From(this->SomeRows(9, 20));
  const auto empty = TypeParam::Make(this->kColumns);
  Stranger emptyStranger(0);
  Stranger stranger(5);
  for (const auto* accumulator : {&full, &empty}) {
    vexa::MatrixBase& base = **accumulator;
    const std::vector<double> before = TypeParam::Statistics(**accumulator);
    EXPECT_THROW(base += stranger, std::bad_cast);
    EXPECT_EQ(&(base += emptyStranger), &base);
    EXPECT_TRUE(SameBits(TypeParam::Statistics(**accumulator), before));
  }
}

TYPED_TEST(InterfaceLaws, OnlyTheMatricesOfEachGroupTakeGroupedBatches) {
  const Rows rows = this->SomeRows(10, 20);
  const auto full = this->From(rows);
  vexa::MatrixBase& base = *full;
  const std::vector<double> before = TypeParam::Statistics(*full);
  FilledGroupedBatch grouped(rows, 3);
  EXPECT_EQ(&(base += *grouped), &base);
  EXPECT_EQ(&(*full += *grouped), &base);
  constexpr bool kTakes = std::is_same_v<typename TypeParam::Accumulator, vexa::DiscIndividualMatrix>;
  EXPECT_EQ(full->NRows(), kTakes ? 60U : 20U);
  EXPECT_EQ(SameBits(TypeParam::Statistics(*full), before), !kTakes);
}

}  // namespace
