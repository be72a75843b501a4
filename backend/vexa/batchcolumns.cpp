#include "batchcolumns.h"

#include <algorithm>

#include "engine/engine.h"
#include "scratch.h"
#include "vexa/kernels.h"

namespace vexa {

namespace {

constexpr std::size_t kMaxTableGroups = 4096;

int RowCount(const ColumnRun& run) { return static_cast<int>(run.rows); }

engine::Columns EngineColumns(const ColumnRun& run) { return {run.base, run.stride, run.columns, run.rows}; }

/// The engine's kernels if it takes the run, null if the plain kernels have to.
const engine::Kernels* EngineFor(const ColumnRun& run) {
  return engine::Worthwhile(EngineColumns(run)) ? engine::Active() : nullptr;
}

/// Returns the number of cells written, or 0 when the plain kernels have to.
unsigned int FillByEngine(const ColumnRun& left, const ColumnRun& right, engine::Shape shape,
                          const double* weights, double* cells, std::size_t cellStride,
                          const engine::Centring& leftCentring = {},
                          const engine::Centring& rightCentring = {}) {
  const engine::Kernels* kernels = EngineFor(left);
  if (!kernels || !EngineFor(right)) return 0;
  const engine::CrossProducts job{.left = EngineColumns(left),
                                  .right = EngineColumns(right),
                                  .shape = shape,
                                  .weights = weights,
                                  .cells = cells,
                                  .cellStride = cellStride,
                                  .leftCentring = leftCentring,
                                  .rightCentring = rightCentring};
  double* scratch = Scratch(kernels->crossProductScratch(job));
  return scratch ? static_cast<unsigned int>(kernels->crossProducts(job, scratch)) : 0;
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
  const unsigned int written = FillByEngine(run, run, engine::Shape::kTriangle, weights.Rows(), cells, 1,
                                            {.means = means, .kept = true});
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
                                            cells, 1, {.means = means, .kept = true, .squares = squares},
                                            {.means = means + left, .kept = true, .squares = squares + left});
  if (written != 0) return written;
  Center(run, means);
  FillSquares(run, weights.Rows(), squares);
  return FillRectangle(leftRun, rightRun, weights.Rows(), cells);
}

unsigned int FillTriangle(const ColumnRun& run, Diagonal diagonal, const double* weights, double* cells,
                          std::size_t cellStride) {
  const auto shape = diagonal == Diagonal::kWith ? engine::Shape::kTriangle : engine::Shape::kStrictTriangle;
  unsigned int written = FillByEngine(run, run, shape, weights, cells, cellStride);
  if (written != 0) return written;
  const int rows = RowCount(run);
  for (unsigned int row = 0; row < run.columns; ++row) {
    const double* x = run.Column(row);
    const unsigned int width = diagonal == Diagonal::kWith ? row + 1 : row;
    // Alternating directions, so that the column used last in one row is the first of the next and still in
    // cache.
    for (unsigned int step = 0; step < width; ++step) {
      const unsigned int col = row % 2 == 1 ? step : width - 1 - step;
      cells[(written + col) * cellStride] = CrossProduct(x, run.Column(col), weights, rows);
    }
    written += width;
  }
  return written;
}

unsigned int FillRectangle(const ColumnRun& left, const ColumnRun& right, const double* weights,
                           double* cells) {
  unsigned int written = FillByEngine(left, right, engine::Shape::kRectangle, weights, cells, 1);
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

void FillSums(const ColumnRun& run, const double* weights, double* sums, std::size_t stride) {
  if (const engine::Kernels* kernels = EngineFor(run)) {
    kernels->sums(EngineColumns(run), weights, sums, stride);
    return;
  }
  for (unsigned int col = 0; col < run.columns; ++col) {
    const double* x = run.Column(col);
    sums[col * stride] = weights ? ProductSum(x, weights, RowCount(run)) : Sum(x, RowCount(run));
  }
}

void AddGroupSums(const ColumnRun& run, const unsigned int* groups, const double* weights, std::size_t nGroup,
                  double* sums, double* squares) {
  // The engine goes over a table of all groups once for every few columns.
  const engine::Kernels* kernels = nGroup <= run.rows && nGroup <= kMaxTableGroups ? EngineFor(run) : nullptr;
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
