#include "vexa/engine/engine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>

#include "support/bits.h"
#include "support/rows.h"
#include "support/statistics.h"
#include "vexa/batchcolumns.h"

// The instruction set under test against the plain kernels, phase by phase, on shapes that fill, just miss or
// just exceed what the engine works in: vectors, tiles, chunks of rows, blocks of columns.

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

/// A run that begins at an odd address, whose columns lie further apart than they are long, with NaN between.
class Memory {
 public:
  explicit Memory(const Rows& rows) : _rows(rows), _stride(rows.count + 5) {
    _cells.assign(1 + _stride * rows.columns.size(), std::numeric_limits<double>::quiet_NaN());
    for (std::size_t col = 0; col < rows.columns.size(); ++col) {
      std::copy(rows.columns[col].begin(), rows.columns[col].end(), _cells.data() + 1 + col * _stride);
    }
  }
  vexa::ColumnRun Run() {
    return {_cells.data() + 1, _stride, static_cast<unsigned int>(_rows.columns.size()),
            static_cast<unsigned int>(_rows.count)};
  }
  const double* Weights() const { return _rows.hasWeights ? _rows.weights.data() : nullptr; }
  const std::vector<double>& Cells() const { return _cells; }

 private:
  const Rows& _rows;
  std::size_t _stride;
  std::vector<double> _cells;
};

using Values = std::vector<double>;
using Sizes = std::vector<std::size_t>;

/// Everything that the phases compute of the rows, one after the other, and what they leave in the columns.
Values AllPhases(const Rows& rows) {
  constexpr unsigned int kGroups = 5;
  const auto columns = static_cast<unsigned int>(rows.columns.size());
  Memory memory(rows);
  const vexa::ColumnRun run = memory.Run();
  const double* weights = memory.Weights();
  Values all;
  const auto append = [&all](const Values& values) { all.insert(all.end(), values.begin(), values.end()); };

  Values squares(columns, -1.0);
  vexa::FillSquares(run, weights, squares.data());
  append(squares);
  // Group sums add to what is there.
  Values groupSums(columns * kGroups, 0.5);
  Values groupSquares(columns * kGroups, 0.25);
  vexa::AddGroupSums(run, rows.groups.data(), weights, kGroups, groupSums.data(), groupSquares.data());
  append(groupSums);
  append(groupSquares);

  Values means(columns, -1.0);
  Values mins(columns, -1.0);
  Values maxs(columns, -1.0);
  // Centring combines the weights where they are, and sums them.
  Values ownWeights;
  Values regWeights;
  const auto takeWeights = [&] {
    ownWeights = rows.weights;
    regWeights = rows.regWeights;
    return vexa::BatchWeights(rows.hasWeights ? ownWeights.data() : nullptr,
                              rows.hasRegWeights ? regWeights.data() : nullptr);
  };
  const auto appendWeights = [&](const vexa::BatchWeights& taken) {
    append(ownWeights);
    append(regWeights);
    append({taken.WeightSum(), taken.RegWeightSum()});
  };
  vexa::BatchWeights centreWeights = takeWeights();
  vexa::CenterColumns(run, centreWeights, means.data(), mins.data(), maxs.data());
  appendWeights(centreWeights);
  for (const Values& values : {means, mins, maxs, memory.Cells()}) append(values);
  centreWeights = takeWeights();
  vexa::CenterColumns(run, centreWeights, means.data(), nullptr, nullptr);
  append(means);

  const unsigned int cells = columns * (columns + 1) / 2;
  for (const auto diagonal : {vexa::Diagonal::kWith, vexa::Diagonal::kWithout}) {
    Values triangle(cells, -1.0);
    all.push_back(vexa::FillTriangle(run, diagonal, weights, triangle.data()));
    append(triangle);
  }
  std::vector<double*> pointers;
  for (unsigned int col = 0; col < columns; ++col) pointers.push_back(run.Column(columns - 1 - col));
  const unsigned int third = run.rows / 3;
  const unsigned int fifth = run.rows / 5;
  const unsigned int seventh = run.rows / 7;
  const unsigned int rest = run.rows - third - fifth - seventh;
  for (const std::vector<unsigned int>& groupRows : {std::vector{third, 0U, fifth, seventh, 0U, rest},
                                                     std::vector{run.rows}, std::vector<unsigned int>{}}) {
    Values triangles(std::size_t{7} * cells, -1.0);
    all.push_back(vexa::FillGroupTriangles(pointers, groupRows, weights, triangles.data(), 7));
    append(triangles);
  }
  Memory again(rows);
  Values triangle(cells, -1.0);
  centreWeights = takeWeights();
  all.push_back(vexa::CenterAndFillTriangle(again.Run(), centreWeights, means.data(), mins.data(),
                                            maxs.data(), triangle.data()));
  appendWeights(centreWeights);
  for (const Values& values : {means, mins, maxs, again.Cells(), triangle}) append(values);

  const unsigned int left = columns / 3;
  Values rectangle((columns - left) * left + 1, -1.0);
  all.push_back(vexa::FillRectangle(run.Columns(0, left), run.Columns(left, columns - left), weights,
                                    rectangle.data()));
  append(rectangle);
  if (left == 0) return all;
  Memory onceMore(rows);
  centreWeights = takeWeights();
  all.push_back(vexa::CenterAndFillRectangle(onceMore.Run(), left, centreWeights, means.data(), mins.data(),
                                             maxs.data(), squares.data(), rectangle.data()));
  for (const Values& values : {means, mins, maxs, squares, onceMore.Cells(), rectangle}) append(values);
  return all;
}

void ExpectPlainBits(Random& random, std::size_t rows, std::size_t columns, bool weights, bool wild) {
  SCOPED_TRACE(std::to_string(rows) + " rows, " + std::to_string(columns) + " columns");
  RowsSpec spec;
  spec.rows = rows;
  spec.columns = columns;
  spec.weights = weights;
  spec.regWeights = columns % 2 == 0;
  spec.oddWeights = wild;
  spec.wild = wild;
  spec.groups = 5;
  const Rows data = MakeRows(random, spec);
  const Values actual = AllPhases(data);
  const PlainKernels plain;
  ASSERT_TRUE(SameBits(actual, AllPhases(data)));
}

TEST(Engine, EveryWidthGivesThePlainBits) {
  Random random(1);
  for (std::size_t columns = 1; columns <= 70; ++columns) {
    for (const std::size_t rows : {std::size_t{24}, 25 + columns, std::size_t{150}}) {
      ExpectPlainBits(random, rows, columns, rows % 2 == 0, columns % 3 == 0);
    }
  }
}

TEST(Engine, EveryHeightGivesThePlainBits) {
  Random random(2);
  for (std::size_t rows = 0; rows <= 600; rows += rows < 40 || rows % 128 < 3 || rows % 128 > 125 ? 1 : 7) {
    ExpectPlainBits(random, rows, 4 + rows % 29, rows % 3 != 0, rows % 4 == 0);
  }
}

TEST(Engine, BlocksOfColumnsGiveThePlainBits) {
  Random random(3);
  for (const std::size_t columns : Sizes{95, 97, 192, 263, 264, 265, 272, 527, 528, 529, 793}) {
    ExpectPlainBits(random, columns < 200 ? 260 : 27, columns, columns % 2 == 0, false);
  }
}

// The leading run of equal values is summed apart from the rest of a column, so where it ends matters.
TEST(Engine, RunsOfEqualValuesGiveThePlainBits) {
  Random random(4);
  for (const std::size_t run : Sizes{1, 2, 7, 8, 9, 63, 127, 128, 129, 255, 256, 257, 300}) {
    RowsSpec spec;
    spec.rows = 300;
    spec.columns = 21;
    spec.weights = run % 2 == 0;
    spec.groups = 5;
    Rows rows = MakeRows(random, spec);
    for (std::size_t col = 0; col < rows.columns.size(); col += 2) {
      std::fill_n(rows.columns[col].begin(), run, col == 4 ? std::numeric_limits<double>::infinity() : 0.1);
    }
    const Values actual = AllPhases(rows);
    const PlainKernels plain;
    ASSERT_TRUE(SameBits(actual, AllPhases(rows))) << run;
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
        RowsSpec spec;
        spec.rows = count;
        spec.columns = columns;
        spec.weights = count % 2 == 0;
        spec.regWeights = columns % 2 == 0;
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

TEST(Engine, UnknownInstructionSetsAreRefused) {
  const vexa::engine::Kernels* before = vexa::engine::Active();
  EXPECT_FALSE(vexa::engine::Force("v5"));
  EXPECT_FALSE(vexa::engine::Force(""));
  EXPECT_EQ(vexa::engine::Active(), before);
}

}  // namespace
