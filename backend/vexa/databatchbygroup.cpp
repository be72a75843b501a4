#include "vexa/databatchbygroup.h"

#include <algorithm>
#include <memory>

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
  // The rows of a group wait until they fill a line of each column: written one by one, every value would go to another
  // page than the one before it.
  constexpr unsigned int kLineRows = 64 / sizeof(double);
  struct Waiting {
    unsigned int first;
    unsigned int end;
    const double* rows[kLineRows];
  };
  std::vector<Waiting> groups(_maxGroup);
  unsigned int position = 0;
  for (unsigned int group = 0; group < _maxGroup; ++group) {
    groups[group].first = groups[group].end = position;
    position += _groupCounts[group];
  }
  const auto write = [this](Waiting& group) {
    double* to = _columns + group.first;
    if (group.end - group.first == kLineRows) {
      for (unsigned int col = 0; col < _nColumns; ++col, to += _maxRows) {
        __builtin_prefetch(to + kLineRows, 1);  // the group's next line
        for (unsigned int k = 0; k < kLineRows; ++k) to[k] = group.rows[k][col];
      }
    } else {
      for (unsigned int col = 0; col < _nColumns; ++col, to += _maxRows) {
        for (unsigned int k = group.first; k < group.end; ++k)
          to[k - group.first] = group.rows[k % kLineRows][col];
      }
    }
    group.first = group.end;
  };

  if (HasWeights()) assert(_weights!=0&&_tmpWeights!=0);
  const double* source = _rows;
  for (unsigned int i = 0; i < _nRows; ++i) {
    assert(source == _rows+_nColumns*i);
    Waiting& group = groups[_groups[i]];
    if (HasWeights()) _weights[group.end] = _tmpWeights[i];
    group.rows[group.end % kLineRows] = source;
    if (++group.end % kLineRows == 0) write(group);
    source += _nColumns;
  }
  for (Waiting& group : groups) write(group);
}

void DataBatchByGroup::Clear() {
  _nRows = 0;
  std::fill(_groupCounts.begin(), _groupCounts.end(), 0);
}

}  // namespace vexa
