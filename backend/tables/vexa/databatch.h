#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>

#include "export.h"

namespace vexa {

class PendingRows;

/// A batch of rows, stored column by column, in which the host hands its cases to the accumulators.
///
/// A batch is built once with the addresses of up to three host variables. Every AddRow copies the row's
/// values and whatever those variables hold at that moment. Values are copied bit for bit: whether one of
/// them counts as missing is the business of the accumulator that takes the batch.
///
/// Accumulators take a batch by reference, and the listwise ones consume it: they leave its columns centred
/// and its case weights multiplied by the regression weights.
///
/// One thread at a time, also among those that only look at it: Column() and accumulators first write what AddRow has not
/// written yet. Broken preconditions stop the process with an assertion; those of the functions
/// defined in this header follow the NDEBUG of the program that includes it, all others are always on.
class VEXA_EXPORT DataBatch {
 public:
  /// @param nColumns values per row, at least 1
  /// @param nRows    capacity in rows, at least 1; (nColumns + 1) × nRows must stay below 2^32. The capacity is
  ///                 also the distance between two columns: see RecommendedRows.
  /// @param pWeight, pRegWeight, pGroup
  ///                 the host's current case weight, regression weight and group code, or null when its rows
  ///                 carry none; they must outlive the last AddRow
  /// @throws std::bad_alloc
  DataBatch(unsigned int nColumns, unsigned int nRows, const double* pWeight, const double* pRegWeight,
            const unsigned int* pGroup);
  ~DataBatch();

  DataBatch(const DataBatch&) = delete;
  DataBatch& operator=(const DataBatch&) = delete;

  /// Bytes that one row occupies in a batch so constructed.
  static std::uint64_t RowSize(unsigned int nColumns, bool withWeights, bool withRegWeights, bool withGroups);

  /// Appends one row of NColumns() values. The batch must not be full: NRows() < MaxRows(). O(columns), and slower once
  /// Column() was called.
  void AddRow(const double* row);

  /// Appends nRows rows, the same as AddRow for each of them and 1.2 to 6 times as fast.
  ///
  /// Value col of row r is rows[r × stride + col], the stride in doubles: a part of wider rows can be taken, or one
  /// row many times (stride 0). All must fit: nRows ≤ MaxRows() − NRows(). Every row gets what the host variables
  /// hold now; weights of their own are written to Weights() and RegWeights() afterwards, from the former NRows()
  /// on.
  void AddRows(const double* rows, unsigned int nRows, std::size_t stride);

  /// Empties the batch and keeps its storage, for the next rows.
  void Clear();

  /// The NRows() values of a column, contiguous and writable. The address stays the same as long as the batch lives, after
  /// Clear() too, and shows every later row at once; for which AddRow from now on writes every value by itself, and takes two
  /// to three times as long.
  double* Column(unsigned int colNum) {
    assert(colNum < _nColumns);
    if (_pending) ShowColumns();
    return _columns + colNum * _maxRows;
  }

  unsigned int NColumns() const { return _nColumns; }
  unsigned int NRows() const { return _nRows; }
  unsigned int MaxRows() const { return _maxRows; }

  /// Case weights, regression weights and group codes of the rows, writable; null where there are none.
  double* Weights() { return _weights; }
  double* RegWeights() { return _regWeights; }
  unsigned int* Groups() { return _groups; }
  bool HasRegWeights() const { return _regWeights != nullptr; }

  /// The largest group code added so far, 0 when there is none.
  unsigned int MaxGroupSeen() const { return _maxGroupSeen; }

 private:
  friend struct SettledColumns;

  void ShowColumns();

  double* _weights;
  double* _regWeights;
  double* _columns;
  const double* _pWeight;
  const double* _pRegWeight;
  const unsigned int* _pGroup;
  unsigned int* _groups;
  unsigned int _maxRows;
  unsigned int _nColumns;
  unsigned int _nRows;
  unsigned int _maxGroupSeen;
  PendingRows* _pending;
};

/// A capacity, in rows, for batches whose rows occupy rowSize bytes (DataBatch::RowSize), so that one batch
/// fills about half of a cache of cacheSize bytes.
///
/// The distance between two columns is the capacity. When it is a multiple of 4 KiB, all the lines that AddRow
/// writes and all the reads of one row fall on the same cache sets, and AddRow takes several times as long. The
/// recommended capacity is an odd number of cache lines, never 0, and never above what a batch can hold.
VEXA_EXPORT unsigned int RecommendedRows(std::uint64_t cacheSize, std::uint64_t rowSize);

}  // namespace vexa
