#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <type_traits>
#include <typeinfo>

#include "support/bits.h"
#include "support/rows.h"
#include "support/scarcity.h"
#include "support/statistics.h"
#include "vexa/matrixbase.h"

// What holds of every accumulator, whatever it sums. That empty ones are neutral, that copies are independent and that
// one can be added to itself is seen where random steps are compared with plain loops.

namespace {

constexpr int kColumns = 6;
constexpr int kMissing = 9;

/// An accumulator and the arguments for an empty one over batches of kColumns columns in three groups.
template <class Class, int... kArguments>
struct Of {
  using Accumulator = Class;
  template <class Made = Class>
  static auto Make() {
    return std::make_unique<Made>(kArguments...);
  }
};

struct GroupedBatch : FilledGroupedBatch {
  explicit GroupedBatch(const Rows& rows) : FilledGroupedBatch(rows, 3) {}
};

/// The batch that an accumulator takes, filled.
template <class Accumulator>
using BatchOf =
    std::conditional_t<std::is_same_v<Accumulator, vexa::DiscIndividualMatrix>, GroupedBatch, FilledBatch>;

template <class Accumulator>
auto& Add(Accumulator& accumulator, const Rows& rows) {
  return accumulator += *BatchOf<Accumulator>(rows);
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
    testing::Types<Of<vexa::MatrixListwise>, Of<vexa::SMatrixListwise, 0, 0>,
                   Of<vexa::NSMatrixListwise, 0, 2, kColumns>, Of<vexa::DiscriminantMatrix, 3, kColumns>,
                   Of<vexa::DiscIndividualMatrix, 3, kColumns>, Of<vexa::MatrixPairwise, kMissing>,
                   Of<vexa::SMatrixPairwise, kMissing, 0, 0>,
                   Of<vexa::NSMatrixPairwise, kMissing, 0, 2, kColumns>>;
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

// Short of memory. Whatever fails can be done again, with the bits of the first time.

TYPED_TEST(Laws, AFailedAllocationChangesNothing) {
  using Accumulator = typename TypeParam::Accumulator;
  using Data = typename Accumulator::Data;
  const Rows rows = SomeRows(1, 30);
  const Rows more = SomeRows(2, 70);
  const auto part = this->From(more);
  const auto empty = [] { return TypeParam::Make(); };
  const auto filled = [&] { return this->From(rows); };
  const auto addRows = [&](Accumulator& target, auto& batch) { target += *batch; };
  const auto addPart = [&](Accumulator& target, auto& /*batch*/) { target += *part; };
  const auto expectRetriable = [&](const auto& make, const auto& step) {
    const auto expected = make();
    BatchOf<Accumulator> batch(more);
    step(*expected, batch);
    EXPECT_TRUE(EachAllocationFails([&](const auto& scarcely) {
      const auto target = make();
      const std::vector<double> before = Statistics(*target);
      BatchOf<Accumulator> taken(more);
      if (scarcely([&] { step(*target, taken); })) {
        ASSERT_TRUE(SameBits(Statistics(*target), before));
        BatchOf<Accumulator> again(more);
        step(*target, again);
      }
      ASSERT_TRUE(SameBits(Statistics(*target), Statistics(*expected)));
    }));
  };
  expectRetriable(empty, addRows);
  expectRetriable(empty, addPart);
  expectRetriable(filled, addRows);
  expectRetriable(filled, addPart);
  // An accumulator itself, and a copy that replaces what is there.
  EXPECT_TRUE(EachAllocationFails([&](const auto& scarcely) { scarcely([&] { TypeParam::Make(); }); }));
  const auto dataOf = [&](const Rows& content) {
    auto data = TypeParam::template Make<Data>();
    BatchOf<Accumulator> batch(content);
    data->Init(*batch);
    return data;
  };
  EXPECT_EQ(dataOf(rows.Slice(0, 0))->_nRows, 0U);
  const auto source = dataOf(more);
  EXPECT_TRUE(EachAllocationFails([&](const auto& scarcely) {
    const auto target = dataOf(rows);
    const auto replace = [&] { target->Init(*source); };
    if (scarcely(replace)) {
      ASSERT_EQ(target->_nRows, 30U);
      replace();
    }
    ASSERT_EQ(target->_nRows, 70U);
    ASSERT_EQ(target->_weightSum, source->_weightSum);
  }));
}

TYPED_TEST(Laws, AccessorsAskForNoMemory) {
  const auto matrix = this->From(SomeRows(3, 30));
  const auto asked = [](const auto& step) {
    const std::size_t before = Allocations();
    step();
    return Allocations() - before;
  };
  std::size_t count = 0;
  const std::size_t byAccessors = asked([&] { count = Statistics(*matrix).size(); });
  EXPECT_EQ(byAccessors, asked([&] {
              std::vector<double> values;
              while (values.size() < count) values.push_back(0.0);
            }));
}

// The matrices make records of their own, so that of these only the handles are left.
TEST(Scarcity, OfBatchesAndHandles) {
  const Rows rows = SomeRows(7, 40);
  const double* x = rows.columns[0].data();
  const double* y = rows.columns[1].data();
  const double* w = rows.weights.data();
  const double* r = rows.regWeights.data();
  const unsigned int group = 0;
  FilledGroupedBatch sorted(rows, 3);
  /// Shows what came of it.
  using Operation = std::function<std::vector<double>()>;
  const auto copied = [&]<class Handle>(std::type_identity<Handle>, auto... columns) -> Operation {
    return [=] {
      vexa::WorkArea work;
      work._missing = kMissing;
      Handle handle;
      handle.Init(columns..., w, r, work, 40);
      const std::unique_ptr<Handle> copy(handle.Copy());
      return std::vector<double>{static_cast<double>(copy->NRows()), copy->RegWeightSum()};
    };
  };
  const Operation operations[] = {
      [&] {
        vexa::DataBatch batch(5, 100, w, r, &group);
        for (int row = 0; row < 100; ++row) batch.AddRow(x);
        return std::vector<double>{batch.Column(4)[99]};
      },
      [&] {
        vexa::DataBatchByGroup batch(5, 100, w, r, &group, 2);
        batch.NextRow()[4] = 3;
        batch.AddRow();
        batch.SortByGroup();
        return std::vector<double>{batch.Column(4)[0]};
      },
      [&] { return sorted->SortByGroup(), Contents(*sorted); },
      copied(std::type_identity<vexa::VarStat>(), x),
      copied(std::type_identity<vexa::PairStat>(), x, y),
  };
  for (const Operation& operation : operations) {
    SCOPED_TRACE(&operation - operations);
    const std::vector<double> expected = operation();
    EXPECT_TRUE(EachAllocationFails([&](const auto& scarcely) {
      std::vector<double> values;
      if (scarcely([&] { values = operation(); })) values = operation();
      ASSERT_TRUE(SameBits(values, expected));
    }));
  }
}

}  // namespace
