#pragma once

#include <vector>

#include "export.h"
#include "matrixbase.h"
#include "statobjects.h"
#include "workarea.h"

namespace vexa {

/// Statistics of two adjacent runs of columns of the batches, [col0, col1) and [col1, col2), and of the pairs of a
/// column of the left run with one of the right run, each over the rows on which it is present. Pairs within a run
/// are not kept.
///
/// A value is missing when it equals the missing code as a double, and only then: NaN is always present, a NaN code
/// marks nothing, and a code of 0.0 also takes −0.0. The columns' numbers are those of the batches.
///
/// Every batch is reduced about its own means, and the parts are pooled (Chan, Golub and LeVeque 1979), as are the
/// partial results of several threads, so any split of the rows gives the same statistics up to rounding. The first
/// batch with rows decides whether there are regression weights; all others must agree. Of two merged blocks only
/// the numbers of columns and of pairs are compared, neither the columns' numbers nor the missing code.
///
/// A batch is only read. It costs O(rows × left columns × right columns) and, once the work area has grown to the
/// largest batch, allocates nothing. Throws std::bad_alloc before anything changes.
///
/// The pairs must number less than 2^31, and the rows of all batches too. One thread at a time; reading needs no
/// lock.
class VEXA_EXPORT NSMatrixPairwise : public MatrixBase {
 public:
  struct VEXA_EXPORT Data {
    /// Totals of all rows, whatever is missing in them.
    double _weightSum = 0.0;     ///< case weights; the row count without case weights
    double _regWeightSum = 0.0;  ///< combined weights; _weightSum without regression weights
    unsigned int _nRows = 0;
    std::vector<VarStat*> _varStats;  ///< of column col0 + k at k; owned; empty until the block is set up
    /// Columns col0 + r, the first of the pair, and col1 + q at r·(col2 − col1) + q; owned.
    std::vector<PairStat*> _xp;
    WorkArea _workArea;
    bool _hasRegWeights = false;
    int _col0;
    int _col1;
    int _col2;

    Data(double missing, int col0, int col1, int col2);
    ~Data();
    Data(const Data&) = delete;
    Data& operator=(const Data&) = delete;

    /// Sets this state up for a batch and takes the batch in.
    void Init(DataBatch& data);
    /// Takes in a batch, in which both runs must lie.
    void Update(DataBatch& data);
    /// Merges a result over other rows. A result whose case weights sum to exactly 0 is passed over, rows and
    /// extremes included. O(left columns × right columns), no allocation.
    void Update(const Data& d);
    /// Makes this state a deep copy of another, runs and missing code included.
    void Init(const Data& d);
  };

  /// The runs [col0, col1) and [col1, col2), col0 ≤ col1 ≤ col2, which are tested against each batch. One of them may
  /// be empty: then there are no pairs.
  NSMatrixPairwise(double missing, int col0, int col1, int col2);
  ~NSMatrixPairwise() override;

  /// Rows of all batches, whatever is missing in them.
  unsigned int NRows() const override;

  using MatrixBase::operator+=;
  /// Adds a batch. One without rows changes nothing; one of weight 0 is added like any other.
  MatrixBase& operator+=(DataBatch& data) override;
  MatrixBase& operator+=(MatrixBase& other) override;

  /// The number of columns of both runs, 0 while the block is not set up.
  unsigned int NColumns() const;
  /// Weights of all rows, whatever is missing in them.
  double WeightSum() const;
  double RegWeightSum() const;
  bool HasRegWeights() const;
  double MissingCode() const;
  int Col0() const;
  int Col1() const;
  int Col2() const;

  /// A column of either run over its present rows. The reference stays valid and shows what is added later. Requires
  /// col in [Col0(), Col2()) and WeightSum() > 0.
  VarStat& Var(int col) const;
  /// A column of each run, in either order, over the rows on which both are present; that of the left run is the
  /// first of the pair. Requires both in [Col0(), Col2()), in different runs, and WeightSum() > 0.
  PairStat& Pair(int row, int col) const;

 private:
  Data* _my;
};

}  // namespace vexa
