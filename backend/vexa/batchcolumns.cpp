#include "batchcolumns.h"

#include "vexa/kernels.h"

namespace vexa {

namespace {

int RowCount(const ColumnRun& run) { return static_cast<int>(run.rows); }

}  // namespace

void CenterColumns(const ColumnRun& run, const BatchWeights& weights, double* means, double* mins,
                   double* maxs) {
  const int rows = RowCount(run);
  for (unsigned int col = 0; col < run.columns; ++col) {
    double* x = run.Column(col);
    if (mins) mins[col] = Mins(x, rows);
    if (maxs) maxs[col] = Maxs(x, rows);
    means[col] = WeightedMean(x, weights.weights, weights.regWeightSum, rows);
    CenterData(x, means[col], rows);
  }
}

unsigned int FillTriangle(const ColumnRun& run, Diagonal diagonal, const double* weights, double* cells,
                          std::size_t cellStride) {
  const int rows = RowCount(run);
  unsigned int written = 0;
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
  const int rows = RowCount(left);
  unsigned int written = 0;
  for (unsigned int row = 0; row < left.columns; ++row) {
    const double* x = left.Column(row);
    for (unsigned int col = 0; col < right.columns; ++col) {
      cells[written++] = CrossProduct(x, right.Column(col), weights, rows);
    }
  }
  return written;
}

void FillSquares(const ColumnRun& run, const double* weights, double* squares) {
  for (unsigned int col = 0; col < run.columns; ++col) {
    squares[col] = CrossProduct(run.Column(col), run.Column(col), weights, RowCount(run));
  }
}

void FillSums(const ColumnRun& run, const double* weights, double* sums, std::size_t stride) {
  for (unsigned int col = 0; col < run.columns; ++col) {
    const double* x = run.Column(col);
    sums[col * stride] = weights ? ProductSum(x, weights, RowCount(run)) : Sum(x, RowCount(run));
  }
}

void AddGroupSums(const ColumnRun& run, const unsigned int* groups, const double* weights, std::size_t nGroup,
                  double* sums, double* squares) {
  for (unsigned int col = 0; col < run.columns; ++col) {
    GroupWeightedSumX(run.Column(col), groups, weights, sums + col * nGroup, squares + col * nGroup,
                      RowCount(run));
  }
}

}  // namespace vexa
