#include "vexa/databatchbygroup.h"

#include <algorithm>
#include <memory>
#include <numeric>

#include "aligned.h"
#include "vexa/databatch.h"

namespace vexa {

DataBatchByGroup::DataBatchByGroup(unsigned int nColumns, unsigned int nRows, const double* pWeight,
                                   const double* pRegWeight, const unsigned int* pGroup,
                                   unsigned int maxGroup)
    : _weights(nullptr),
      _tmpWeights(nullptr),
      _regWeights(nullptr),
      _rows(nullptr),
      _columns(nullptr),
      _pWeight(pWeight),
      _pRegWeight(pRegWeight),
      _pGroup(pGroup),
      _groups(nullptr),
      _maxRows(nRows),
      _nColumns(nColumns),
      _nRows(0),
      _maxGroup(maxGroup) {
  assert(0 < nColumns);
  assert(0 < nRows);
  std::unique_ptr<double[]> rows(new double[nRows * nColumns]);
  AlignedCells columns = MakeAligned(nRows * nColumns);
  std::unique_ptr<double[]> weights(pWeight ? new double[nRows] : nullptr);
  std::unique_ptr<double[]> tmpWeights(pWeight ? new double[nRows] : nullptr);
  std::unique_ptr<double[]> regWeights(pRegWeight ? new double[nRows] : nullptr);
  if (pGroup) _groupCounts.assign(maxGroup, 0);
  _groups = pGroup ? new unsigned int[nRows] : nullptr;
  _rows = rows.release();
  _columns = columns.release();
  _weights = weights.release();
  _tmpWeights = tmpWeights.release();
  _regWeights = regWeights.release();
}

DataBatchByGroup::~DataBatchByGroup() {
  delete[] _rows;
  FreeAligned()(_columns);
  delete[] _weights;
  delete[] _tmpWeights;
  delete[] _regWeights;
  delete[] _groups;
}

std::uint64_t DataBatchByGroup::RowSize(unsigned int nColumns, bool withWeights, bool withRegWeights,
                                        bool withGroups) {
  return DataBatch::RowSize(nColumns, withWeights, withRegWeights, withGroups);
}

void DataBatchByGroup::AddRow() {
  assert(_nRows < _maxRows);
  if (_pWeight) _tmpWeights[_nRows] = *_pWeight;
  if (_pRegWeight) _regWeights[_nRows] = *_pRegWeight;
  if (_pGroup) {
    const unsigned int tmpGroupVal = *_pGroup;
    assert(tmpGroupVal<_maxGroup);
    _groups[_nRows] = tmpGroupVal;
    ++_groupCounts[tmpGroupVal];
  }
  ++_nRows;
}

// A stable counting sort: the order of a group's rows decides the last bits of its sums.
void DataBatchByGroup::SortByGroup() {
  assert(_pGroup!=0);
  std::vector<unsigned int> start(_maxGroup);
  std::exclusive_scan(_groupCounts.begin(), _groupCounts.end(), start.begin(), 0U);
  if (HasWeights()) assert(_weights!=0&&_tmpWeights!=0);
  // Some rows at a time, a line of each: all columns at once would have more places open than a cache has lines.
  constexpr unsigned int kRows = 64;
  constexpr unsigned int kLineColumns = 64 / sizeof(double);
  unsigned int position[kRows];
  const double* source = _rows;
  for (unsigned int first = 0; first < _nRows; first += kRows) {
    const unsigned int rows = std::min(kRows, _nRows - first);
    for (unsigned int k = 0; k < rows; ++k) {
      position[k] = start[_groups[first + k]]++;
      if (HasWeights()) _weights[position[k]] = _tmpWeights[first + k];
    }
    unsigned int col = 0;
    for (; col + kLineColumns <= _nColumns; col += kLineColumns) {
      double* const to = _columns + col * _maxRows;
      for (unsigned int k = 0; k < rows; ++k) {
        const double* from = source + k * _nColumns + col;
        for (unsigned int j = 0; j < kLineColumns; ++j) to[j * _maxRows + position[k]] = from[j];
      }
    }
    for (; col < _nColumns; ++col) {
      double* const to = _columns + col * _maxRows;
      for (unsigned int k = 0; k < rows; ++k) to[position[k]] = source[k * _nColumns + col];
    }
    source += rows * _nColumns;
    const unsigned int i = first + rows;
    assert(source == _rows+_nColumns*i);
  }
}

void DataBatchByGroup::Clear() {
  _nRows = 0;
  std::fill(_groupCounts.begin(), _groupCounts.end(), 0);
}

}  // namespace vexa
