#include "batchcolumns.h"

#include "packed.h"
#include "vexa/kernels.h"

namespace vexa {

void CenterColumns(const ColumnRun& run, const BatchWeights& weights, double* means, double* mins,
                   double* maxs) {
  const int rows = static_cast<int>(run.batch.NRows());
  for (unsigned int col = 0; col < run.columns; ++col) {
    double* x = run.Column(col);
    if (mins) mins[col] = Mins(x, rows);
    if (maxs) maxs[col] = Maxs(x, rows);
    means[col] = WeightedMean(x, weights.weights, weights.regWeightSum, rows);
    CenterData(x, means[col], rows);
  }
}

unsigned int FillTriangle(const ColumnRun& run, const double* weights, double* cells) {
  const int rows = static_cast<int>(run.batch.NRows());
  unsigned int written = 0;
  for (unsigned int row = 0; row < run.columns; ++row) {
    const double* x = run.Column(row);
    double* xprow = cells + TriangleRow(row);
    // Alternating directions, so that the column used last in one row is the first of the next and still in
    // cache.
    for (unsigned int step = 0; step <= row; ++step) {
      const unsigned int col = row % 2 == 1 ? step : row - step;
      xprow[col] = CrossProduct(x, run.Column(col), weights, rows);
      ++written;
    }
  }
  return written;
}

unsigned int FillRectangle(const ColumnRun& left, const ColumnRun& right, const double* weights,
                           double* cells) {
  const int rows = static_cast<int>(left.batch.NRows());
  unsigned int written = 0;
  for (unsigned int row = 0; row < left.columns; ++row) {
    const double* x = left.Column(row);
    for (unsigned int col = 0; col < right.columns; ++col) {
      cells[written++] = CrossProduct(x, right.Column(col), weights, rows);
    }
  }
  return written;
}

}  // namespace vexa
