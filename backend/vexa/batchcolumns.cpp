#include "batchcolumns.h"

#include <algorithm>
#include <numeric>

#include "engine/engine.h"
#include "scratch.h"
#include "vexa/kernels.h"

namespace vexa {

namespace {

constexpr std::size_t kMaxTableGroups = 4096;

/// From so many rows on four columns are worth the engine: those that are summarised and centred, and those that are not.
constexpr std::size_t kRowsOfFour = 48;
constexpr std::size_t kRawRowsOfFour = 192;

/// On average, for the sums of a group to be worth bringing into registers.
constexpr std::size_t kFewestGroupRows = 3;

int RowCount(const ColumnRun& run) { return static_cast<int>(run.rows); }

engine::Columns EngineColumns(const ColumnRun& run) { return {run.base, run.stride, run.columns, run.rows}; }

/// The engine's kernels if it takes the run, null if the plain kernels have to.
const engine::Kernels* EngineFor(const ColumnRun& run, std::size_t rowsOfFour = kRowsOfFour) {
  return engine::Worthwhile(EngineColumns(run), rowsOfFour) ? engine::Active() : nullptr;
}

/// Returns the number of cells written, or 0 when the plain kernels have to.
unsigned int FillByEngine(const engine::CrossProducts& job) {
  const engine::Kernels* kernels = engine::Active();
  double* scratch = kernels ? Scratch(kernels->crossProductScratch(job)) : nullptr;
  return scratch ? static_cast<unsigned int>(kernels->crossProducts(job, scratch)) : 0;
}

unsigned int FillByEngine(const ColumnRun& left, const ColumnRun& right, engine::Shape shape,
                          const double* weights, double* cells, const engine::Centring& leftCentring = {},
                          const engine::Centring& rightCentring = {}) {
  if (!EngineFor(left) || !EngineFor(right)) return 0;
  return FillByEngine(engine::CrossProducts{.left = EngineColumns(left),
                                            .right = EngineColumns(right),
                                            .shape = shape,
                                            .weights = weights,
                                            .cells = cells,
                                            .cellStride = 1,
                                            .leftCentring = leftCentring,
                                            .rightCentring = rightCentring});
}

/// False when the plain kernels have to do it.
bool SummariseByEngine(const ColumnRun& run, BatchWeights& weights, double* means, double* mins,
                       double* maxs) {
  const engine::Kernels* kernels = EngineFor(run);
  if (!kernels) return false;
  const engine::WeightSums sums = kernels->summarise(
      {EngineColumns(run), weights.Rows(), weights.Factors(), weights.Rows(), means, mins, maxs});
  weights.TakeSums(sums.own, sums.combined, run.rows);
  return true;
}

void Summarise(const ColumnRun& run, BatchWeights& weights, double* means, double* mins, double* maxs) {
  if (SummariseByEngine(run, weights, means, mins, maxs)) return;
  const int rows = RowCount(run);
  weights.Combine(run.rows);
  for (unsigned int col = 0; col < run.columns; ++col) {
    const double* x = run.Column(col);
    if (mins) mins[col] = Mins(x, rows);
    if (maxs) maxs[col] = Maxs(x, rows);
    means[col] = WeightedMean(x, weights.Rows(), weights.RegWeightSum(), rows);
  }
}

void Center(const ColumnRun& run, const double* means) {
  if (const engine::Kernels* kernels = EngineFor(run)) {
    kernels->centre(EngineColumns(run), means);
    return;
  }
  for (unsigned int col = 0; col < run.columns; ++col) CenterData(run.Column(col), means[col], RowCount(run));
}

}  // namespace

void CenterColumns(const ColumnRun& run, BatchWeights& weights, double* means, double* mins, double* maxs) {
  Summarise(run, weights, means, mins, maxs);
  Center(run, means);
}

unsigned int CenterAndFillTriangle(const ColumnRun& run, BatchWeights& weights, double* means, double* mins,
                                   double* maxs, double* cells) {
  Summarise(run, weights, means, mins, maxs);
  const unsigned int written =
      FillByEngine(run, run, engine::Shape::kTriangle, weights.Rows(), cells, {.means = means, .kept = true});
  if (written != 0) return written;
  Center(run, means);
  return FillTriangle(run, Diagonal::kWith, weights.Rows(), cells);
}

unsigned int CenterAndFillRectangle(const ColumnRun& run, unsigned int left, BatchWeights& weights,
                                    double* means, double* mins, double* maxs, double* squares,
                                    double* cells) {
  Summarise(run, weights, means, mins, maxs);
  const ColumnRun leftRun = run.Columns(0, left);
  const ColumnRun rightRun = run.Columns(left, run.columns - left);
  std::fill_n(squares, run.columns, 0.0);
  const unsigned int written = FillByEngine(leftRun, rightRun, engine::Shape::kRectangle, weights.Rows(),
                                            cells, {.means = means, .kept = true, .squares = squares},
                                            {.means = means + left, .kept = true, .squares = squares + left});
  if (written != 0) return written;
  Center(run, means);
  FillSquares(run, weights.Rows(), squares);
  return FillRectangle(leftRun, rightRun, weights.Rows(), cells);
}

unsigned int FillTriangle(const ColumnRun& run, Diagonal diagonal, const double* weights, double* cells) {
  const auto shape = diagonal == Diagonal::kWith ? engine::Shape::kTriangle : engine::Shape::kStrictTriangle;
  unsigned int written = EngineFor(run, kRawRowsOfFour) ? FillByEngine(run, run, shape, weights, cells) : 0;
  if (written != 0) return written;
  const int rows = RowCount(run);
  for (unsigned int row = 0; row < run.columns; ++row) {
    const double* x = run.Column(row);
    const unsigned int width = diagonal == Diagonal::kWith ? row + 1 : row;
    // Alternating directions, so that the column used last in one row is the first of the next and still in
    // cache.
    for (unsigned int step = 0; step < width; ++step) {
      const unsigned int col = row % 2 == 1 ? step : width - 1 - step;
      cells[written + col] = CrossProduct(x, run.Column(col), weights, rows);
    }
    written += width;
  }
  return written;
}

unsigned int FillGroupTriangles(std::span<double* const> columns, std::span<const unsigned int> groupRows,
                                const double* weights, double* cells, std::size_t cellStride) {
  if (groupRows.empty()) return 0;
  const std::size_t rows = std::accumulate(groupRows.begin(), groupRows.end(), std::size_t{0});
  const engine::Columns run{nullptr, 0, columns.size(), rows, columns.data()};
  if (rows >= kFewestGroupRows * groupRows.size() && engine::Worthwhile(run, kRawRowsOfFour)) {
    const unsigned int written = FillByEngine(engine::CrossProducts{.left = run,
                                                                    .right = run,
                                                                    .shape = engine::Shape::kTriangle,
                                                                    .weights = weights,
                                                                    .cells = cells,
                                                                    .cellStride = cellStride,
                                                                    .groupRows = groupRows.data(),
                                                                    .groups = groupRows.size()});
    if (written != 0) return written;
  }
  std::size_t first = 0;
  std::size_t cell = 0;
  for (std::size_t group = 0; group < groupRows.size(); ++group) {
    cell = 0;
    const double* groupWeights = weights ? weights + first : nullptr;
    for (std::size_t row = 0; row < columns.size(); ++row) {
      for (std::size_t col = 0; col <= row; ++col) {
        cells[cell++ * cellStride + group] = CrossProduct(columns[row] + first, columns[col] + first,
                                                          groupWeights, static_cast<int>(groupRows[group]));
      }
    }
    first += groupRows[group];
  }
  return static_cast<unsigned int>(cell);
}

unsigned int FillRectangle(const ColumnRun& left, const ColumnRun& right, const double* weights,
                           double* cells) {
  unsigned int written = FillByEngine(left, right, engine::Shape::kRectangle, weights, cells);
  if (written != 0) return written;
  const int rows = RowCount(left);
  for (unsigned int row = 0; row < left.columns; ++row) {
    const double* x = left.Column(row);
    for (unsigned int col = 0; col < right.columns; ++col) {
      cells[written++] = CrossProduct(x, right.Column(col), weights, rows);
    }
  }
  return written;
}

void FillSquares(const ColumnRun& run, const double* weights, double* squares) {
  if (const engine::Kernels* kernels = EngineFor(run)) {
    kernels->squares(EngineColumns(run), weights, squares);
    return;
  }
  for (unsigned int col = 0; col < run.columns; ++col) {
    squares[col] = CrossProduct(run.Column(col), run.Column(col), weights, RowCount(run));
  }
}

void AddGroupSums(const ColumnRun& run, const unsigned int* groups, const double* weights, std::size_t nGroup,
                  double* sums, double* squares) {
  // The engine goes over a table of all groups once for every few columns.
  const engine::Kernels* kernels =
      nGroup <= run.rows && nGroup <= kMaxTableGroups ? EngineFor(run, kRawRowsOfFour) : nullptr;
  if (kernels) {
    const engine::GroupSums job{EngineColumns(run), groups, nGroup, weights, sums, squares};
    if (double* scratch = Scratch(kernels->groupSumScratch(job))) {
      kernels->groupSums(job, scratch);
      return;
    }
  }
  for (unsigned int col = 0; col < run.columns; ++col) {
    GroupWeightedSumX(run.Column(col), groups, weights, sums + col * nGroup, squares + col * nGroup,
                      RowCount(run));
  }
}

}  // namespace vexa
