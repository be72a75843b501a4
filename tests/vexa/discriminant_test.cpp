#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <type_traits>

#include "support/bits.h"
#include "support/plain.h"
#include "support/rows.h"
#include "support/statistics.h"
#include "support/steps.h"

namespace {

/// The sums over groups and those of each group as plain loops, in the order of Statistics; they merge by addition.
struct PlainSums {
  int groups = 0;
  int vars = 0;
  double weightSum = 0.0;
  double rows = 0.0;
  plain::Column sums = {};

  /// Adds term(row) over the rows of every group, and lists the groups' sums.
  void AddGroupSums(const Rows& batch, const auto& term) {
    for (unsigned int group = 0; group < static_cast<unsigned int>(groups); ++group) {
      double sum = 0.0;
      for (std::size_t row = 0; row < batch.count; ++row) {
        if (batch.groups[row] == group) sum += term(row);
      }
      sums.push_back(sum);
    }
  }

  void Reduce(const Rows& batch, bool eachGroup) {
    if (batch.count == 0) return;
    rows = static_cast<double>(batch.count);
    const auto weight = [&](std::size_t row) { return batch.hasWeights ? batch.weights[row] : 1.0; };
    const auto at = [&](int var, std::size_t row) {
      return var == vars ? 1.0 : batch.columns[static_cast<std::size_t>(var)][row];
    };
    if (!eachGroup) {
      weightSum = batch.hasWeights ? plain::Sum(batch.weights) : rows;
      AddGroupSums(batch, weight);
      for (int var = 0; var < vars; ++var) {
        const auto first = [&](std::size_t row) { return at(var, row) * weight(row); };
        AddGroupSums(batch, first);
        AddGroupSums(batch, [&](std::size_t row) { return first(row) * at(var, row); });
        const plain::Column* x = batch.columns.data();
        for (int col = 0; col < var; ++col)
          sums.push_back(plain::CrossProduct(x[var], x[col], batch.weights));
      }
      return;
    }
    for (int r = 0; r <= vars; ++r) {
      for (int c = 0; c <= r; ++c)
        AddGroupSums(batch, [&](std::size_t row) { return (weight(row) * at(r, row)) * at(c, row); });
    }
    // The total is formed over the sorted rows.
    for (unsigned int group = 0; group < static_cast<unsigned int>(groups); ++group) {
      for (std::size_t row = 0; row < batch.count; ++row) {
        if (batch.groups[row] == group) weightSum += weight(row);
      }
    }
  }

  void Merge(const PlainSums& b) {
    if (b.rows == 0.0) return;
    if (rows == 0.0) {
      *this = b;
      return;
    }
    if (b.weightSum == 0.0) return;
    for (std::size_t k = 0; k < sums.size(); ++k) sums[k] = sums[k] + b.sums[k];
    weightSum = weightSum + b.weightSum;
    rows += b.rows;
  }

  plain::Column Statistics() const {
    plain::Column values;
    statistics::Add(values, weightSum, rows, groups, vars);
    if (weightSum > 0.0) values.insert(values.end(), sums.begin(), sums.end());
    return values;
  }
};

template <class Matrix>
struct Subject {
  using Accumulator = Matrix;
  using Plain = PlainSums;
  static constexpr bool kEachGroup = std::is_same_v<Matrix, vexa::DiscIndividualMatrix>;

  PlainSums empty;

  auto Make() const { return std::make_unique<Matrix>(empty.groups, empty.vars); }
  static auto MakeOther() { return std::make_unique<Matrix>(); }
  PlainSums PlainEmpty() const { return empty; }
  static PlainSums PlainOther() { return {}; }
  PlainSums Part(const Rows& rows) const {
    PlainSums part = empty;
    part.Reduce(rows, kEachGroup);
    return part;
  }
  /// Both matrices only read their batches.
  auto Batch(const Rows& rows, unsigned int spare) const {
    if constexpr (kEachGroup) {
      // A batch may know of fewer groups than the matrix: those that it does not name keep their zeros.
      auto most = static_cast<unsigned int>(empty.groups);
      if (rows.count % 2 == 1) most = 1 + *std::max_element(rows.groups.begin(), rows.groups.end());
      return FilledGroupedBatch(rows, most, spare);
    } else {
      return FilledBatch(rows, spare);
    }
  }
};

template <class Matrix>
class Discriminant : public testing::Test {};
using Matrices = testing::Types<vexa::DiscriminantMatrix, vexa::DiscIndividualMatrix>;
TYPED_TEST_SUITE(Discriminant, Matrices);

TYPED_TEST(Discriminant, SplitsAndMergesEqualPlainLoops) {
  for (unsigned int seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const bool large = seed % 5 == 0;
    RowsSpec spec = RandomSpec(random, large ? 600 : 200, large ? 70 : 12);
    spec.groups = 1 + seed % 12;
    const Rows rows = MakeRows(random, spec);
    const Subject<TypeParam> subject{{static_cast<int>(spec.groups), static_cast<int>(spec.columns)}};
    ASSERT_NO_FATAL_FAILURE(ExpectStepsEqualPlainLoops(random, rows, subject));
  }
}

}  // namespace
