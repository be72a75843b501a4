#pragma once

#include <algorithm>
#include <cstddef>
#include <span>

#include "batchweights.h"
#include "settledcolumns.h"

/// The phases in which the listwise and discriminant accumulators reduce a batch. Every cell is a sum of its
/// own over the rows in ascending order, so the order in which cells are visited changes no value.

namespace vexa {

/// A run of columns of one batch, over all its rows or some consecutive ones: column after column with
/// `stride` doubles from one to the next.
struct ColumnRun {
  double* base;
  std::size_t stride;
  unsigned int columns;
  unsigned int rows;

  double* Column(unsigned int col) const { return base + col * stride; }
  ColumnRun Columns(unsigned int first, unsigned int count) const {
    return {Column(first), stride, count, rows};
  }
  ColumnRun Rows(unsigned int first, unsigned int count) const {
    return {base + first, stride, columns, count};
  }
};

/// The run of `columns` columns that begins at column `first`. One that the batch does not have stops the process.
template <class Batch>
ColumnRun RunOf(Batch& batch, unsigned int first, unsigned int columns) {
  if (columns == 0) return {nullptr, batch.MaxRows(), 0, batch.NRows()};
  // Column() has the assertion, here of the first column that is lacking.
  const unsigned int nColumns = batch.NColumns();
  if (first >= nColumns || columns > nColumns - first) batch.Column(std::max(first, nColumns));
  return {SettledColumns::Of(batch) + std::size_t{first} * batch.MaxRows(), batch.MaxRows(), columns,
          batch.NRows()};
}

/// Combines and sums the weights, writes the weighted mean of each column to means, and its extremes to mins and maxs when
/// these are not null; leaves the columns centred on their means.
void CenterColumns(const ColumnRun& run, BatchWeights& weights, double* means, double* mins, double* maxs);

/// The same, and then FillTriangle of the centred columns with the diagonal: a column is fetched less often than by the
/// two one after the other. Returns the number of cells written.
unsigned int CenterAndFillTriangle(const ColumnRun& run, BatchWeights& weights, double* means, double* mins,
                                   double* maxs, double* cells);

/// CenterColumns and FillSquares, and then FillRectangle of the first `left` columns with those behind them. Returns the
/// number of cells written.
unsigned int CenterAndFillRectangle(const ColumnRun& run, unsigned int left, BatchWeights& weights,
                                    double* means, double* mins, double* maxs, double* squares,
                                    double* cells);

enum class Diagonal { kWith, kWithout };

/// Cross-products of every two columns of the run into a packed lower triangle: the later column is the first
/// factor. Returns the number of cells written.
unsigned int FillTriangle(const ColumnRun& run, Diagonal diagonal, const double* weights, double* cells);

/// The same with the diagonal for each group of rows by itself. The groups' rows lie one after the other, groupRows[g] of
/// them; cell k of group g goes to cells[k × cellStride + g]. Returns the number of cells of a group, 0 without groups.
unsigned int FillGroupTriangles(std::span<double* const> columns, std::span<const unsigned int> groupRows,
                                const double* weights, double* cells, std::size_t cellStride);

/// Cross-products of every left with every right column, row by row; the left column is the first factor.
/// Returns the number of cells written.
unsigned int FillRectangle(const ColumnRun& left, const ColumnRun& right, const double* weights,
                           double* cells);

/// The sum of squares of each column.
void FillSquares(const ColumnRun& run, const double* weights, double* squares);

/// Adds to the sum and the sum of squares of each column within each group; those of column k and group g are
/// cell k × nGroup + g.
void AddGroupSums(const ColumnRun& run, const unsigned int* groups, const double* weights, std::size_t nGroup,
                  double* sums, double* squares);

}  // namespace vexa
