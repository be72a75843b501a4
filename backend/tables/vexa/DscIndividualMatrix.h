#pragma once

#include "export.h"
#include "matrixbase.h"

namespace vexa {

/// The raw cross-products of every group by itself, over complete rows in grouped batches: for p variables
/// and a constant 1 in place p, the symmetric (p + 1) × (p + 1) matrix Σ w·[x, 1][x, 1]ᵀ of the group's rows.
/// So it holds each group's sums of squares and cross-products, sums and weight.
///
/// Nothing is centred or divided, so partial results merge by addition; columns with large means and small
/// spreads lose digits, and a host that expects them moves their origin first. Rows weigh their case weight,
/// or 1; regression weights are not used. Values and weights are not tested.
///
/// Takes no ungrouped batch. Groups × cells must fit an int. One thread at a time; reading needs no lock.
class VEXA_EXPORT DiscIndividualMatrix : public MatrixBase {
 public:
  /// The matrix's state, or the result of one batch.
  struct VEXA_EXPORT Data {
    /// Cell (r, c), c ≤ r ≤ p, of group g at (r(r+1)/2 + c) × groups + g; owned; null while there is no data.
    double* _TSSP = nullptr;
    int _nGroup;
    int _nVar;
    double _weightSum = 0.0;  ///< case weights of all rows; the row count without case weights
    unsigned int _nRows = 0;

    Data(int nGroup, int nVar);
    ~Data();
    Data(const Data&) = delete;
    Data& operator=(const Data&) = delete;

    /// Makes this empty state the result of one sorted batch, which must have a column for every variable, a
    /// group source and no more groups than this state, and is only read. O(rows × variables²).
    void Init(DataBatchByGroup& batch);
    /// Adds a result over other rows. One whose weights sum to exactly 0 is passed over, rows included.
    void Update(const Data& d);
    /// Makes this state a deep copy of another, its dimensions included.
    void Init(const Data& d);
  };

  /// Group codes run from 0 to nGroup − 1; the variables are the columns of the batches.
  DiscIndividualMatrix(int nGroup, int nVar);
  /// No groups and no variables: for merging only.
  DiscIndividualMatrix();
  ~DiscIndividualMatrix() override;

  unsigned int NRows() const override;

  using MatrixBase::operator+=;
  /// Not supported: stops the process, whatever the batch holds.
  MatrixBase& operator+=(DataBatch& batch) override;
  /// Adds a batch after its SortByGroup; it is only read. A batch without rows changes nothing. When the
  /// matrix already holds data, neither does one whose weights sum to exactly 0. Throws std::bad_alloc.
  MatrixBase& operator+=(DataBatchByGroup& batch) override;
  MatrixBase& operator+=(MatrixBase& other) override;

  double WeightSum() const;
  int NVar() const;
  int NGroup() const;

  /// Σ w·x·y of two variables, in either order, within a group; row or column NVar() is the constant 1.
  /// Requires row and col in [0, NVar()], groupVal in [0, NGroup()) and WeightSum() > 0.
  double TSSP(int row, int col, int groupVal) const;
  /// The same by the cell's index in the packed lower triangle: row(row + 1)/2 + col for col ≤ row.
  double TSSP(int tsspIndex, int groupVal) const;

 private:
  Data* _my;
};

}  // namespace vexa
