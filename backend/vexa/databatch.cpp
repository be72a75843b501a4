#include "vexa/databatch.h"

#include <algorithm>
#include <cassert>
#include <memory>

#include "aligned.h"
#include "transpose.h"

namespace vexa {
namespace {

/// So many columns are streams that a processor looks ahead for by itself.
constexpr unsigned int kFewColumns = 32;

/// Of so many columns the first-level cache holds three lines each, and the address translation a page each.
constexpr unsigned int kManyColumns = 96;

/// Of larger batches than these neither cache nor address translation hold anything until the next row.
constexpr std::size_t kCachedCells = (4 << 20) / sizeof(double);

/// Writes a row's values to its cells, from the first column to the last, or with kStep −1 and a negative stride from
/// the last to the first. Returns the cell where the next one would lie.
template <int kStep>
inline double* WriteValues(const double* row, std::size_t nColumns, double* cell, std::ptrdiff_t stride) {
  if (nColumns % 2 != 0) {
    *cell = *row;
    row += kStep;
    cell += stride;
  }
  for (std::size_t pairs = nColumns / 2; pairs != 0; --pairs, row += 2 * kStep) {
    *cell = row[0];
    cell += stride;
    *cell = row[kStep];
    cell += stride;
  }
  return cell;
}

/// Writes a row of more than kFewColumns values, the `phase`th of its lines, and asks for the lines that come next.
[[gnu::noinline]] double* WriteWideRow(const double* row, std::size_t nColumns, double* cell,
                                       std::size_t stride, std::size_t phase) {
  const auto down = static_cast<std::ptrdiff_t>(stride);
  if (nColumns <= kManyColumns) {
    // An eighth of the lines after the next, so that the requests never queue up.
    for (std::size_t col = phase; col < nColumns; col += kLineRows)
      __builtin_prefetch(cell + col * stride + 2 * kLineRows, 1);
    return WriteValues<1>(row, nColumns, cell, down);
  }
  // What is fetched so far ahead of many columns is gone again when its turn comes.
  if (phase == 0) {
    for (std::size_t col = 0; col < nColumns; ++col) __builtin_prefetch(cell + col * stride, 1);
  }
  if (phase % 2 == 0 || nColumns * stride > kCachedCells) return WriteValues<1>(row, nColumns, cell, down);
  // Back again, because what the last row wrote last is what the caches still hold of its lines and pages.
  double* const end = cell + nColumns * stride;
  WriteValues<-1>(row + nColumns - 1, nColumns, end - stride, -down);
  return end;
}

}  // namespace

DataBatch::DataBatch(unsigned int nColumns, unsigned int nRows, const double* pWeight,
                     const double* pRegWeight, const unsigned int* pGroup)
    : _weights(nullptr),
      _regWeights(nullptr),
      _columns(nullptr),
      _pWeight(pWeight),
      _pRegWeight(pRegWeight),
      _pGroup(pGroup),
      _groups(nullptr),
      _maxRows(nRows),
      _nColumns(nColumns),
      _nRows(0),
      _maxGroupSeen(0) {
  assert(0 < nColumns);
  assert(0 < nRows);
  AlignedCells columns = MakeAligned(nRows * nColumns);
  std::unique_ptr<double[]> weights(pWeight ? new double[nRows] : nullptr);
  std::unique_ptr<double[]> regWeights(pRegWeight ? new double[nRows] : nullptr);
  _groups = pGroup ? new unsigned int[nRows] : nullptr;
  _columns = columns.release();
  _weights = weights.release();
  _regWeights = regWeights.release();
}

DataBatch::~DataBatch() {
  FreeAligned()(_columns);
  delete[] _weights;
  delete[] _regWeights;
  delete[] _groups;
}

std::uint64_t DataBatch::RowSize(unsigned int nColumns, bool withWeights, bool withRegWeights,
                                 bool withGroups) {
  const std::uint64_t doubles = std::uint64_t{nColumns} + withWeights + withRegWeights;
  return doubles * sizeof(double) + withGroups * sizeof(unsigned int);
}

// Aligned, because a row of few columns takes so few cycles that its place in the code decides 12 % of them.
[[gnu::aligned(64)]] void DataBatch::AddRow(const double* row) {
  assert(_nRows < _maxRows);
  if (_pWeight) _weights[_nRows] = *_pWeight;
  if (_pRegWeight) _regWeights[_nRows] = *_pRegWeight;
  if (_pGroup) {
    const unsigned int group = *_pGroup;
    _groups[_nRows] = group;
    if (group > _maxGroupSeen) _maxGroupSeen = group;
  }
  double* cell = _columns + _nRows;
  cell = _nColumns <= kFewColumns
             ? WriteValues<1>(row, _nColumns, cell, static_cast<std::ptrdiff_t>(_maxRows))
             : WriteWideRow(row, _nColumns, cell, _maxRows, _nRows % kLineRows);
  assert(cell < _columns+(_nColumns+1)*_maxRows);
  ++_nRows;
}

void DataBatch::AddRows(const double* rows, unsigned int nRows, std::size_t stride) {
  assert(nRows <= _maxRows - _nRows);
  if (_pWeight) std::fill_n(_weights + _nRows, nRows, *_pWeight);
  if (_pRegWeight) std::fill_n(_regWeights + _nRows, nRows, *_pRegWeight);
  if (_pGroup) {
    std::fill_n(_groups + _nRows, nRows, *_pGroup);
    if (nRows > 0) _maxGroupSeen = std::max(_maxGroupSeen, *_pGroup);
  }
  unsigned int count = 0;
  for (unsigned int done = 0; done < nRows; done += count, _nRows += count) {
    const double* from = rows + done * stride;
    double* to = _columns + _nRows;
    count = std::min(kLineRows - _nRows % kLineRows, nRows - done);
    if (count == kLineRows) {
      const double* lineRows[kLineRows];
      for (unsigned int row = 0; row < kLineRows; ++row) lineRows[row] = from + row * stride;
      WriteLines(lineRows, _nColumns, to, _maxRows);
    } else {
      for (unsigned int col = 0; col < _nColumns; ++col, to += _maxRows) {
        for (unsigned int row = 0; row < count; ++row) to[row] = from[row * stride + col];
      }
    }
  }
}

unsigned int RecommendedRows(std::uint64_t cacheSize, std::uint64_t rowSize) {
  // One column more than the row holds, because AddRow's write cursor ends one stride past the last column.
  const std::uint64_t columns = rowSize / sizeof(double) + 1;
  const std::uint64_t mostLines = ((std::uint64_t{1} << 32) - 1) / columns / kLineRows;
  const std::uint64_t wantedLines = cacheSize / 2 / std::max<std::uint64_t>(rowSize, 1) / kLineRows;
  const std::uint64_t lines = std::min(wantedLines, mostLines);
  if (lines == 0) return mostLines == 0 ? 1 : kLineRows;
  return static_cast<unsigned int>((lines % 2 == 1 ? lines : lines - 1) * kLineRows);
}

}  // namespace vexa
