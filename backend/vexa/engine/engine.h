#pragma once

#include <cstddef>
#include <cstdint>

/// The fast paths under the accumulators. Every sum that leaves here is one running double over the rows in
/// ascending order, exactly as the kernels of vexa/kernels.h form it: the lanes of a vector are different
/// sums, never parts of one. Where nothing is active, or a run is not Worthwhile, the caller uses those kernels.

namespace vexa::engine {

/// Columns in memory, `stride` doubles from one to the next or each where the list says.
struct Columns {
  double* base;
  std::size_t stride;
  std::size_t columns;
  std::size_t rows;
  double* const* list = nullptr;

  double* Column(std::size_t col) const { return list ? list[col] : base + col * stride; }
};

/// Which rows count: one bit per row, row r at bit r % 64 of word r / 64, bits behind the last row being 0. Null: all.
using RowBits = const std::uint64_t*;

/// Which cells of left × right exist. In a triangle both sides are the same run and the left column is the
/// later one. Staircase is a rectangle of which left column k has only the first widths[k] cells, never fewer than
/// the one before it.
enum class Shape { kTriangle, kStrictTriangle, kRectangle, kStaircase };

/// What happens to the columns of a run before they are multiplied.
struct Centring {
  const double* means = nullptr;  ///< what is subtracted from each of them; null: nothing
  bool kept = false;              ///< the columns are left so; not when rows are left out
  double* squares = nullptr;      ///< Σ (w·x)·x of each of them then; null: not wanted
};

/// Σ (w·left)·right over the rows of each group for every cell, packed row by row; cell k of group g is written to
/// cells[k × cellStride + g].
struct CrossProducts {
  Columns left;
  Columns right;
  Shape shape;
  const double* weights;  ///< null: every row weighs 1
  double* cells;
  std::size_t cellStride;
  Centring leftCentring = {};  ///< of a triangle all columns
  Centring rightCentring = {};
  const std::size_t* widths = nullptr;  ///< of a staircase
  /// Of a staircase also the one with both sides exchanged, Σ (w·right)·left: these are its cells, which are not counted, and widths. Null: none.
  double* mirrored = nullptr;
  const std::size_t* mirroredWidths = nullptr;
  RowBits present = nullptr;  ///< only of columns that are centred
  const unsigned int* groupRows =
      nullptr;  ///< of groups of rows that lie one after the other; null: all are one group
  std::size_t groups = 1;
};

/// Mean and extremes of every column.
struct Summaries {
  Columns run;
  const double* own;         ///< weights of the rows, as they come; null: every row weighs 1
  const double* regWeights;  ///< what they are to be multiplied by; null: nothing is left to do
  double* weights;  ///< what the rows weigh then, perhaps over the own ones; null: every row weighs 1
  double* means;
  double* mins;  ///< null: not wanted
  double* maxs;  ///< null: not wanted
  RowBits present = nullptr;
};

/// The sums of the own weights and of what the rows weigh, which the means are divided by; of weights of 1 the number of
/// rows.
struct WeightSums {
  double own;
  double combined;
};

/// Sums that begin at what the cells hold, for column k and group g at k × groupCount + g.
struct GroupSums {
  Columns run;
  const unsigned int* groups;
  std::size_t groupCount;
  const double* weights;  ///< null: every row weighs 1
  double* sums;
  double* squares;
};

/// cellsA[k] = ((fromA[k]·a + cellsB[k]) + fromB[k]·b) + cellsA[k]; both parts may be the same cells.
struct PooledRow {
  double* cellsA;
  const double* cellsB;
  const double* fromA;
  double a;
  const double* fromB;
  double b;
  std::size_t count;
};

/// Pairs of each first column with each of up to pairLanes second columns, over the rows in which both are
/// present.
struct Pairs {
  double* const* first;  ///< null: there are no pairs, only the second columns in the rows of firstPresent
  const RowBits* firstPresent;
  std::size_t firstCount;
  double* const* second;
  const RowBits* secondPresent;
  std::size_t secondCount;  ///< at least 1
  std::size_t rows;
  double missing;
  const double* weights;   ///< case weights; null: every row weighs 1
  const double* combined;  ///< case weight × regression weight; null: every row weighs 1
  bool sumCombined;  ///< the combined weights have a sum of their own, because there are regression weights
};

constexpr std::size_t kMaxPairLanes = 16;

/// Values of a column in one cache line.
constexpr unsigned int kLineRows = 64 / sizeof(double);

/// Rows are copied and turned into columns in blocks of so many values. The last block of a row that is not a multiple of
/// it holds its last values too, some of them for the second time, so that nothing outside of the row is read.
constexpr std::size_t kRowBlock = 4;

/// Doubles that the copy of a row takes.
constexpr std::size_t KeptWidth(std::size_t columns) {
  return (columns + kRowBlock - 1) / kRowBlock * kRowBlock;
}

/// For rows of at least kRowBlock columns that are kept until there is a line of them.
struct RowKernels {
  /// Copies a row to KeptWidth(columns) doubles.
  void (*copy)(const double* row, std::size_t columns, double* to);
  /// Writes kLineRows rows to the cells of the columns, those of the first one at `to`: copies side by side of all but the
  /// last row, and this one as the host has it.
  void (*writeKept)(const double* kept, const double* lastRow, std::size_t columns, double* to,
                    std::size_t stride);
};

/// What a first column has in common with second column k of a Pairs job. Lanes behind the last second column hold
/// nothing of meaning.
struct alignas(64) PairSums {
  double weightSum[kMaxPairLanes];
  double combinedSum[kMaxPairLanes];
  double mean0[kMaxPairLanes];
  double mean1[kMaxPairLanes];
  double css0[kMaxPairLanes];
  double css1[kMaxPairLanes];
  double cscp[kMaxPairLanes];
  unsigned int count[kMaxPairLanes];
};

/// The kernels of one instruction set. Functions with a `scratch` need as many doubles as the function before
/// them says, aligned to kScratchAlignment.
struct Kernels {
  const char* name;

  WeightSums (*summarise)(const Summaries& job);
  void (*centre)(const Columns& run, const double* means);

  /// Returns the number of cells written.
  std::size_t (*crossProductScratch)(const CrossProducts& job);
  std::size_t (*crossProducts)(const CrossProducts& job, double* scratch);

  /// squares[k] = Σ (w·x)·x of column k.
  void (*squares)(const Columns& run, const double* weights, double* squares);

  std::size_t (*groupSumScratch)(const GroupSums& job);
  void (*groupSums)(const GroupSums& job, double* scratch);

  void (*pool)(const PooledRow& row);

  RowKernels (*rowKernels)(std::size_t columns);
  /// Writes kLineRows rows of at least kRowBlock columns to the cells of the columns, those of the first one at `to`.
  void (*writeLines)(const double* const* rows, std::size_t columns, double* to, std::size_t stride);

  /// Writes the presence bits of a column: its values that do not equal `missing`.
  void (*presence)(const double* x, std::size_t rows, double missing, std::uint64_t* present);
  /// The extremes of the present values of each column; mins and maxs keep what they hold where there are none.
  void (*extremes)(const Columns& run, double missing, double* mins, double* maxs);

  std::size_t pairLanes;
  std::size_t (*pairScratch)(const Pairs& job);
  void (*pairs)(const Pairs& job, PairSums* results, double* scratch);
};

constexpr std::size_t kScratchAlignment = 64;

/// The best kernels of this machine, or those that Force chose; null when the plain loops were chosen.
const Kernels* Active();

/// The same for what they do with rows; null too when these have so few columns that each of them is best written by itself.
const Kernels* ActiveForRows(std::size_t columns);

/// Whether a run fills enough lanes for long enough to pay for its way into them, where four columns do from so many rows
/// on. Five need half of them, six a third.
bool Worthwhile(const Columns& run, std::size_t rowsOfFour);

/// Makes the named kernels the active ones for the whole process: "v4", "v3", "baseline", or "plain" for none.
/// False, and no change, when this machine lacks their instructions. For tests and benchmarks.
bool Force(const char* name);

}  // namespace vexa::engine
