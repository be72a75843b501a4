#include "vexa/databatch.h"

#include <algorithm>
#include <cassert>
#include <memory>

#include "aligned.h"

namespace vexa {
namespace {

/// Values of a column in one cache line.
constexpr unsigned int kLineRows = 64 / sizeof(double);

/// Up to so many columns the first-level cache holds three lines of each.
constexpr unsigned int kFewColumns = 96;

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
  const std::size_t stride = _maxRows;
  // Each column is a stream of its own, more of them than a processor looks ahead for. What is fetched two lines
  // ahead of many columns is gone again when its turn comes.
  if (_nRows % kLineRows == 0) {
    const unsigned int ahead = _nColumns <= kFewColumns ? 2 * kLineRows : 0;
    for (unsigned int col = 0; col < _nColumns; ++col) __builtin_prefetch(cell + col * stride + ahead, 1);
  }
  const double* const end = row + _nColumns;
  for (; end - row >= 4; row += 4, cell += 4 * stride) {
    cell[0] = row[0];
    cell[stride] = row[1];
    cell[2 * stride] = row[2];
    cell[3 * stride] = row[3];
  }
  for (; row != end; ++row, cell += stride) *cell = *row;
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
  // A cache line of every column at a time, fetched as in AddRow, so that each is written once and whole.
  unsigned int count = 0;
  for (unsigned int done = 0; done < nRows; done += count, _nRows += count) {
    const double* from = rows + done * stride;
    const auto copy = [&](unsigned int rowCount) {
      for (unsigned int col = 0; col < _nColumns; ++col) {
        double* cell = _columns + col * _maxRows + _nRows;
        __builtin_prefetch(cell + 2 * kLineRows, 1);
        for (unsigned int row = 0; row < rowCount; ++row) cell[row] = from[row * stride + col];
      }
    };
    count = std::min(kLineRows - _nRows % kLineRows, nRows - done);
    // Told the usual count, the compiler unrolls.
    count == kLineRows ? copy(kLineRows) : copy(count);
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
