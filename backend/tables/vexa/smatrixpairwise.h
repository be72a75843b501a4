#pragma once

#include <vector>

#include "export.h"
#include "matrixbase.h"
#include "statobjects.h"
#include "workarea.h"

namespace vexa {

/// Statistics of one run of columns [col0, col2) of the batches and of all pairs of them, each over the rows on
/// which it is present.
///
/// A value is missing when it equals the missing code as a double, and only then: NaN is always present, a NaN code
/// marks nothing, and a code of 0.0 also takes −0.0. The columns' numbers are those of the batches.
///
/// Every batch is reduced about its own means, and the parts are pooled (Chan, Golub and LeVeque 1979), as are the
/// partial results of several threads, so any split of the rows gives the same statistics up to rounding. The first
/// batch with rows decides whether there are regression weights; all others must agree. Of two merged blocks only
/// the number of columns is compared, neither their numbers nor the missing code.
///
/// A batch is only read. It costs O(rows × columns²) and, once the work area has grown to the largest batch,
/// allocates nothing. Throws std::bad_alloc before anything changes.
///
/// n·(n − 1) must fit an int for a run of n columns, and the rows of all batches too. One thread at a time; reading
/// needs no lock.
class VEXA_EXPORT SMatrixPairwise : public MatrixBase {
 public:
  struct VEXA_EXPORT Data {
    /// Totals of all rows, whatever is missing in them.
    double _weightSum = 0.0;     ///< case weights; the row count without case weights
    double _regWeightSum = 0.0;  ///< combined weights; _weightSum without regression weights
    unsigned int _nRows = 0;
    std::vector<VarStat*> _varStats;  ///< of column col0 + k at k; owned; empty until the block is set up
    std::vector<PairStat*> _xp;  ///< columns r > c of the run, r being the first, at r(r−1)/2 + c; owned
    WorkArea _workArea;
    bool _hasRegWeights = false;
    int _col0;
    int _col1;  ///< always _col0
    int _col2;

    Data(double missing, int col0, int col2);
    ~Data();
    Data(const Data&) = delete;
    Data& operator=(const Data&) = delete;

    /// Sets this state up for a batch and takes the batch in. An end of 0 becomes the number of its columns.
    void Init(DataBatch& data);
    /// Takes in a batch, in which the run must lie.
    void Update(DataBatch& data);
    /// Merges a result over other rows. A result whose case weights sum to exactly 0 is passed over, rows and
    /// extremes included. O(columns²), no allocation.
    void Update(const Data& d);
    /// Makes this state a deep copy of another, run and missing code included.
    void Init(const Data& d);
  };

  /// All columns of the first batch.
  explicit SMatrixPairwise(double missing);
  /// The run [col0, col2), which is tested against each batch. An end of 0 stands for all columns of the first
  /// batch. A run without columns has no statistics, but counts rows and weights.
  SMatrixPairwise(double missing, int col0, int col2);
  ~SMatrixPairwise() override;

  /// Rows of all batches, whatever is missing in them.
  unsigned int NRows() const override;

  using MatrixBase::operator+=;
  /// Adds a batch. One without rows changes nothing; one of weight 0 is added like any other.
  MatrixBase& operator+=(DataBatch& data) override;
  MatrixBase& operator+=(MatrixBase& other) override;

  /// The number of columns of the run, 0 while the block is not set up.
  unsigned int NColumns() const;
  /// Weights of all rows, whatever is missing in them.
  double WeightSum() const;
  double RegWeightSum() const;
  bool HasRegWeights() const;
  double MissingCode() const;
  int Col0() const;
  int Col1() const;
  int Col2() const;

  /// A column over its present rows. The reference stays valid and shows what is added later. Requires col in
  /// [Col0(), Col2()) and WeightSum() > 0.
  VarStat& Var(int col) const;
  /// Two distinct columns, in either order, over the rows on which both are present; the one with the larger number
  /// is the first of the pair. Requires both in [Col0(), Col2()) and WeightSum() > 0.
  PairStat& Pair(int row, int col) const;

 private:
  Data* _my;
};

}  // namespace vexa
