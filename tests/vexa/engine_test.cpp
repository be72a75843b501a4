#include "vexa/engine/engine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>

#include "support/bits.h"
#include "support/rows.h"
#include "support/statistics.h"
#include "vexa/pendingrows.h"

// The instruction set under test against the plain kernels, on shapes that fill, just miss or just exceed what the engine
// works in: vectors, tiles, chunks of rows, blocks of columns.

namespace {

/// Makes the plain kernels the active ones for as long as it lives.
class PlainKernels {
 public:
  PlainKernels() : _before(vexa::engine::Active()) { vexa::engine::Force("plain"); }
  ~PlainKernels() {
    if (_before) vexa::engine::Force(_before->name);
  }
  PlainKernels(const PlainKernels&) = delete;
  PlainKernels& operator=(const PlainKernels&) = delete;

 private:
  const vexa::engine::Kernels* _before;
};

using Values = std::vector<double>;
using Sizes = std::vector<std::size_t>;

/// What accumulators of every kind make of the rows, as one batch, and what they leave in it. The columns begin at odd
/// addresses, further apart than they are long, with NaN between.
Values AllStatistics(const Rows& rows) {
  const auto columns = static_cast<int>(rows.columns.size());
  constexpr unsigned int kGroups = 6;
  const unsigned int spare = rows.count % 2 == 0 ? 5 : 4;
  Values all;
  const auto take = [&](auto&& accumulator, auto&& batch) {
    accumulator += *batch;
    for (const Values& values : {Statistics(accumulator), Contents(*batch)})
      all.insert(all.end(), values.begin(), values.end());
  };
  take(vexa::MatrixListwise(), FilledBatch(rows, spare));
  take(vexa::SMatrixListwise(columns / 2, columns), FilledBatch(rows, spare));
  for (const int middle : {(columns + 2) / 3, 5, columns - 5}) {
    if (middle > 0 && middle < columns)
      take(vexa::NSMatrixListwise(0, middle, columns), FilledBatch(rows, spare));
  }
  take(vexa::DiscriminantMatrix(kGroups, columns), FilledBatch(rows, spare));
  take(vexa::DiscIndividualMatrix(kGroups, columns), FilledGroupedBatch(rows, kGroups - 1, spare));
  return all;
}

void ExpectPlainBits(const Rows& rows) {
  SCOPED_TRACE(std::to_string(rows.count) + " rows, " + std::to_string(rows.columns.size()) + " columns");
  const Values actual = AllStatistics(rows);
  const PlainKernels plain;
  ASSERT_TRUE(SameBits(actual, AllStatistics(rows)));
}

RowsSpec Shape(std::size_t rows, std::size_t columns, bool weights, bool wild = false) {
  return {.rows = rows,
          .columns = columns,
          .weights = weights,
          .regWeights = columns % 2 == 0,
          .groups = 5,
          .oddWeights = wild,
          .wild = wild};
}

TEST(Engine, EveryWidthGivesThePlainBits) {
  Random random(1);
  for (std::size_t columns = 1; columns <= 70; ++columns) {
    for (const std::size_t rows : {std::size_t{24}, 25 + columns, std::size_t{150}}) {
      ExpectPlainBits(MakeRows(random, Shape(rows, columns, rows % 2 == 0, columns % 3 == 0)));
    }
  }
}

TEST(Engine, EveryHeightGivesThePlainBits) {
  Random random(2);
  const auto nearly = [](std::size_t rows, std::size_t chunk) { return (rows + 2) % chunk < 5; };
  for (std::size_t rows = 0; rows <= 600;
       rows += rows < 40 || nearly(rows, 96) || nearly(rows, 128) ? 1 : 7) {
    ExpectPlainBits(MakeRows(random, Shape(rows, 4 + rows % 29, rows % 3 != 0, rows % 4 == 0)));
  }
}

TEST(Engine, BlocksOfColumnsGiveThePlainBits) {
  Random random(3);
  for (const std::size_t columns : Sizes{95, 97, 192, 263, 264, 265, 272, 527, 528, 529, 793}) {
    ExpectPlainBits(MakeRows(random, Shape(columns < 200 ? 260 : 27, columns, columns % 2 == 0)));
  }
  // Blocks of rows as well.
  ExpectPlainBits(MakeRows(random, Shape(257, 265, true)));
  ExpectPlainBits(MakeRows(random, Shape(129, 529, true)));
}

// The leading run of equal values is summed apart from the rest of a column, so where it ends matters.
TEST(Engine, RunsOfEqualValuesGiveThePlainBits) {
  Random random(4);
  for (const std::size_t run : Sizes{1, 2, 7, 8, 9, 63, 64, 65, 127, 128, 129, 255, 256, 257, 300}) {
    Rows rows = MakeRows(random, Shape(300, 21, run % 2 == 0));
    for (std::size_t col = 0; col < rows.columns.size(); col += 2) {
      std::fill_n(rows.columns[col].begin(), run, col == 4 ? std::numeric_limits<double>::infinity() : 0.1);
    }
    ExpectPlainBits(rows);
  }
}

/// What pairwise accumulators make of the rows, pairs of a triangle and of a rectangle.
Values PairwiseStatistics(const Rows& rows, double missing) {
  const int columns = static_cast<int>(rows.columns.size());
  FilledBatch batch(rows, 3);
  vexa::SMatrixPairwise triangle(missing);
  triangle += *batch;
  vexa::NSMatrixPairwise rectangle(missing, 0, columns / 3, columns);
  rectangle += *batch;
  Values all = Statistics(triangle);
  const Values more = Statistics(rectangle);
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

// Enough columns that are missing in the same rows are treated together, and too many of them are split.
TEST(Engine, ColumnsThatAreMissingTogetherGiveThePlainBits) {
  Random random(5);
  for (const std::size_t columns : Sizes{15, 16, 17, 33, 48, 70, 270, 530}) {
    for (const std::size_t count : columns > 100 ? Sizes{30, 65} : Sizes{24, 520}) {
      for (const auto missing : {Missing::kShared, Missing::kWholeColumns, Missing::kScattered}) {
        RowsSpec spec = Shape(count, columns, count % 2 == 0);
        spec.wild = columns % 2 == 1;
        spec.missingRate = columns % 3 == 0 ? 0.0 : columns % 5 == 0 ? 0.7 : 0.1;
        spec.missingCode = -1.797e308;
        spec.missing = missing;
        Rows rows = MakeRows(random, spec);
        // Some columns begin with a run of equal values, up to all of them.
        for (std::size_t col = 0; col < columns; col += 3) {
          for (std::size_t row = 0; row < count * (col % 5) / 4; ++row) {
            double& x = rows.columns[col][row];
            if (x != spec.missingCode) x = 0.1;
          }
        }
        const Values actual = PairwiseStatistics(rows, spec.missingCode);
        const PlainKernels plain;
        ASSERT_TRUE(SameBits(actual, PairwiseStatistics(rows, spec.missingCode)))
            << columns << " columns, " << count << " rows";
      }
    }
  }
}

// Values are right without it too, but then every row takes the long way.
TEST(Engine, RowsAreKeptAtOnceButForTheLastOneOfALine) {
  if (!vexa::engine::Active()) GTEST_SKIP() << "no kernels, nothing is kept";
  constexpr unsigned int kColumns = 10;
  constexpr unsigned int kRows = 100;
  const vexa::DataBatch batch(kColumns, kRows, nullptr, nullptr, nullptr);
  vexa::PendingRows pending(*vexa::engine::Active(), batch, kRows);
  std::vector<double> cells(kColumns * kRows);
  const std::vector<double> row(kColumns, 1.0);
  for (unsigned int k = 0; k < kRows; ++k) {
    const bool last = vexa::PendingRows::FillsLine(k);
    ASSERT_EQ(pending.KeepsAtOnce(k), !last) << k;
    last ? pending.FillLine(row.data(), k, cells.data(), kRows) : pending.Keep(row.data(), k);
    if (k % 21 == 0) pending.Write(k + 1, cells.data(), kRows);
  }
  EXPECT_FALSE(pending.KeepsAtOnce(kRows));
}

TEST(Engine, UnknownInstructionSetsAreRefused) {
  const vexa::engine::Kernels* before = vexa::engine::Active();
  EXPECT_FALSE(vexa::engine::Force("v5"));
  EXPECT_FALSE(vexa::engine::Force(""));
  EXPECT_EQ(vexa::engine::Active(), before);
}

}  // namespace
