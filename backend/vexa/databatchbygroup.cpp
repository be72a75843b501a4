#include "vexa/databatchbygroup.h"

#include <algorithm>
#include <memory>

#include "aligned.h"
#include "engine/engine.h"
#include "vexa/databatch.h"

namespace vexa {

using engine::kLineRows;

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
  std::vector<unsigned int> next(_maxGroup);
  // The rows in their new order, so that the columns are written from end to end: row by row in the old one, every value
  // would go to another page than the one before it. These four bytes a row are few beside its values, which are here
  // twice.
  std::unique_ptr<unsigned int[]> order(new unsigned int[_nRows]);
  unsigned int position = 0;
  for (unsigned int group = 0; group < _maxGroup; ++group) {
    next[group] = position;
    position += _groupCounts[group];
  }
  if (HasWeights()) assert(_weights!=0&&_tmpWeights!=0);
  const double* source = _rows;
  for (unsigned int i = 0; i < _nRows; ++i) {
    assert(source == _rows+_nColumns*i);
    const unsigned int to = next[_groups[i]]++;
    if (HasWeights()) _weights[to] = _tmpWeights[i];
    order[to] = i;
    source += _nColumns;
  }
  const auto rowAt = [this, &order](unsigned int row) { return _rows + order[row] * _nColumns; };
  unsigned int row = 0;
  const engine::Kernels* kernels = engine::ActiveForRows(_nColumns);
  for (; kernels && _nRows - row >= kLineRows; row += kLineRows) {
    const double* rows[kLineRows];
    for (unsigned int k = 0; k < kLineRows; ++k) rows[k] = rowAt(row + k);
    kernels->writeLines(rows, _nColumns, _columns + row, _maxRows);
  }
  for (; row < _nRows; ++row) {
    for (unsigned int col = 0; col < _nColumns; ++col) _columns[col * _maxRows + row] = rowAt(row)[col];
  }
}

void DataBatchByGroup::Clear() {
  _nRows = 0;
  std::fill(_groupCounts.begin(), _groupCounts.end(), 0);
}

}  // namespace vexa
