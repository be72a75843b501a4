#include "vexa/databatch.h"

#include <algorithm>
#include <cassert>
#include <memory>

#include "aligned.h"
#include "pendingrows.h"
#include "settledcolumns.h"

namespace vexa {

using engine::kLineRows;

namespace {

/// Batches of fewer rows are not worth a room for pending ones, which may take a page of its own.
constexpr unsigned int kFewestRows = 64;

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
      _maxGroupSeen(0),
      _pending(nullptr) {
  assert(0 < nColumns);
  assert(0 < nRows);
  AlignedCells columns = MakeAligned(nRows * nColumns);
  std::unique_ptr<double[]> weights(pWeight ? new double[nRows] : nullptr);
  std::unique_ptr<double[]> regWeights(pRegWeight ? new double[nRows] : nullptr);
  std::unique_ptr<unsigned int[]> groups(pGroup ? new unsigned int[nRows] : nullptr);
  const engine::Kernels* kernels = engine::ActiveForRows(nColumns);
  // Where the bound of AddRow's write cursor does not fit its type, each row goes the way that asserts it.
  const bool bounded = (nColumns + std::uint64_t{1}) * nRows >> 32 == 0;
  if (kernels && nRows >= kFewestRows && bounded)
    _pending = new PendingRows(*kernels, *this, pWeight || pRegWeight || pGroup ? 0 : nRows);
  _groups = groups.release();
  _columns = columns.release();
  _weights = weights.release();
  _regWeights = regWeights.release();
}

DataBatch::~DataBatch() {
  delete _pending;
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
  if (_pending && _pending->KeepsAtOnce(_nRows)) [[likely]]
    return _pending->Keep(row, _nRows++);
  assert(_nRows < _maxRows);
  if (_pWeight) _weights[_nRows] = *_pWeight;
  if (_pRegWeight) _regWeights[_nRows] = *_pRegWeight;
  if (_pGroup) {
    const unsigned int group = *_pGroup;
    _groups[_nRows] = group;
    if (group > _maxGroupSeen) _maxGroupSeen = group;
  }
  if (_pending) {
    if (PendingRows::FillsLine(_nRows)) return _pending->FillLine(row, _nRows++, _columns, _maxRows);
    return _pending->Keep(row, _nRows++);
  }
  double* cell = _columns + _nRows;
  for (const double* value = row; value != row + _nColumns; ++value, cell += _maxRows) *cell = *value;
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
  if (_pending) _pending->Write(_nRows, _columns, _maxRows);
  const engine::Kernels* kernels = engine::ActiveForRows(_nColumns);
  unsigned int count = 0;
  for (unsigned int done = 0; done < nRows; done += count, _nRows += count) {
    const double* from = rows + done * stride;
    double* to = _columns + _nRows;
    count = nRows - done;
    if (kernels) count = std::min(count, kLineRows - _nRows % kLineRows);
    if (kernels && count == kLineRows) {
      const double* lineRows[kLineRows];
      for (unsigned int row = 0; row < kLineRows; ++row) lineRows[row] = from + row * stride;
      kernels->writeLines(lineRows, _nColumns, to, _maxRows);
    } else {
      for (unsigned int col = 0; col < _nColumns; ++col, to += _maxRows) {
        for (unsigned int row = 0; row < count; ++row) to[row] = from[row * stride + col];
      }
    }
  }
  if (_pending) _pending->Settle(_nRows);
}

void DataBatch::Clear() {
  _nRows = 0;
  _maxGroupSeen = 0;
  if (_pending) _pending->Settle(0);
}

void DataBatch::ShowColumns() {
  _pending->Write(_nRows, _columns, _maxRows);
  delete _pending;
  _pending = nullptr;
}

double* SettledColumns::Of(DataBatch& batch) {
  if (batch._pending) batch._pending->Write(batch._nRows, batch._columns, batch._maxRows);
  return batch._columns;
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
