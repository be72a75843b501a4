#pragma once

#include "batchweights.h"
#include "vexa/databatch.h"

/// The reduction of a batch about its own means, which the listwise accumulators share.

namespace vexa {

/// A run of columns of one batch.
struct ColumnRun {
  DataBatch& batch;
  unsigned int first;
  unsigned int columns;

  double* Column(unsigned int col) const { return batch.Column(first + col); }
};

/// Writes the weighted mean of each column of the run to means, and its extremes to mins and maxs when these
/// are not null; leaves the columns centred on their means.
void CenterColumns(const ColumnRun& run, const BatchWeights& weights, double* means, double* mins,
                   double* maxs);

/// Cross-products of every two columns of the run, diagonal included, into a packed lower triangle: the later
/// column is the first factor. Returns the number of cells written.
unsigned int FillTriangle(const ColumnRun& run, const double* weights, double* cells);

/// Cross-products of every left with every right column, row by row; the left column is the first factor.
/// Returns the number of cells written.
unsigned int FillRectangle(const ColumnRun& left, const ColumnRun& right, const double* weights,
                           double* cells);

}  // namespace vexa
