#pragma once

#include <cassert>
#include <cstdint>
#include <vector>

#include "export.h"

namespace vexa {

/// A batch whose rows can be laid out group after group, for statistics of each group by itself.
///
/// The host writes a case's values straight to NextRow() and registers them with AddRow(), which captures
/// whatever the host's weight and group variables hold at that moment. When the batch is complete,
/// SortByGroup() lays the values out column by column with the rows of group 0 first, then those of group 1,
/// and so on, in each group in the order added; Column() and Weights() show that layout and mean nothing
/// before.
///
/// One thread at a time. Broken preconditions stop the process with an assertion; those of the functions
/// defined in this header follow the NDEBUG of the program that includes it, all others are always on.
class VEXA_EXPORT DataBatchByGroup {
 public:
  /// @param nColumns values per row, at least 1
  /// @param nRows    capacity in rows, at least 1; nColumns × nRows must stay below 2^32
  /// @param pWeight, pRegWeight, pGroup  the host's current case weight, regression weight and group code, or
  ///                 null when its rows carry none; they must outlive the last AddRow. Without pGroup the
  ///                 batch cannot be sorted.
  /// @param maxGroup number of groups: codes run from 0 to maxGroup − 1
  /// @throws std::bad_alloc
  DataBatchByGroup(unsigned int nColumns, unsigned int nRows, const double* pWeight, const double* pRegWeight,
                   const unsigned int* pGroup, unsigned int maxGroup);
  ~DataBatchByGroup();

  DataBatchByGroup(const DataBatchByGroup&) = delete;
  DataBatchByGroup& operator=(const DataBatchByGroup&) = delete;

  /// Bytes that one row occupies in the batch as it was added, the same as for DataBatch. The sorted copy of
  /// the values and of the case weights comes on top.
  static std::uint64_t RowSize(unsigned int nColumns, bool withWeights, bool withRegWeights, bool withGroups);

  /// Where the next case's NColumns() values go, before AddRow. Requires NRows() < MaxRows().
  double* NextRow() { return _rows + _nRows * _nColumns; }

  /// Registers the row written to NextRow(). The batch must not be full and the group code must be below
  /// MaxGroup().
  void AddRow();

  /// Lays out the rows by group. Requires a group source. May be repeated, also after further rows.
  /// O(rows × columns); throws std::bad_alloc before anything changes.
  void SortByGroup();

  /// Empties the batch and keeps its storage, for the next rows.
  void Clear();

  /// Rows of one group. Requires group < MaxGroup() and a group source.
  unsigned int groupCount(unsigned int group) {
    assert(group < _maxGroup);
    assert(_pGroup!=0);
    return _groupCounts[group];
  }

  /// The NRows() sorted values of a column, contiguous.
  double* Column(unsigned int colNum) {
    assert(colNum < _nColumns);
    return _columns + colNum * _maxRows;
  }

  unsigned int NColumns() const { return _nColumns; }
  unsigned int NRows() const { return _nRows; }
  unsigned int MaxRows() const { return _maxRows; }
  unsigned int MaxGroup() const { return _maxGroup; }

  /// The sorted case weights, null when the batch carries none.
  double* Weights() { return _weights; }
  bool HasWeights() const { return _tmpWeights != nullptr; }

 private:
  double* _weights;
  double* _tmpWeights;
  double* _regWeights;
  double* _rows;
  double* _columns;
  const double* _pWeight;
  const double* _pRegWeight;
  const unsigned int* _pGroup;
  unsigned int* _groups;
  unsigned int _maxRows;
  unsigned int _nColumns;
  unsigned int _nRows;
  unsigned int _maxGroup;
  std::vector<unsigned int> _groupCounts;
};

}  // namespace vexa
