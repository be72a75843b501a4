#pragma once

#include <vector>

#include "export.h"
#include "matrixbase.h"

namespace vexa {

/// Means, extremes and centred cross-products of one run of columns [col0, col2) of the batches, over
/// complete rows.
///
/// Every row of every batch is used for every statistic, so the host puts only complete rows into its
/// batches. Means and cross-products are weighted by the combined weights (case weight × regression weight),
/// extremes by nothing; nothing is divided by a count or a weight. Weights are not tested: negative and zero
/// ones are used as they come. The columns' numbers are those of the batches.
///
/// Every batch is reduced about its own means and pooled with what is there (Chan, Golub and LeVeque 1979),
/// as are the partial results of several threads, so any split of the rows gives the same statistics up to
/// rounding. The first batch with rows decides whether there are regression weights; all others must agree.
///
/// (n + 1)·n must fit an int for a run of n columns. One thread at a time; reading needs no lock.
class VEXA_EXPORT SMatrixListwise : public MatrixBase {
 public:
  /// The block's state, or the result of one batch.
  struct VEXA_EXPORT Data {
    double _weightSum = 0.0;     ///< case weights of all rows; the row count without case weights
    double _regWeightSum = 0.0;  ///< combined weights of all rows; _weightSum without regression weights
    unsigned int _nRows = 0;
    std::vector<double> _means;  ///< of column col0 + k at k, as the extremes
    std::vector<double> _mins;
    std::vector<double> _maxs;
    int _col0;
    int _col1;  ///< always _col0
    int _col2;
    double* _xp = nullptr;  ///< cell (r, c), c ≤ r, at r(r+1)/2 + c; owned; null while there is no data
    bool _hasRegWeights = false;

    Data(int col0, int col2);
    ~Data();
    Data(const Data&) = delete;
    Data& operator=(const Data&) = delete;

    /// Makes this empty state the result of one batch, whose columns in the run are left centred and whose
    /// case weights are left multiplied by the regression weights. The run must lie in the batch; an end of 0
    /// takes all columns of the batch and requires a start of 0. O(rows × columns²).
    void Init(DataBatch& batch);
    /// Merges a result over other rows and the same run. A result whose case weights sum to exactly 0 is
    /// passed over, rows and extremes included. O(columns²), one allocation of three doubles per column,
    /// before which nothing changes.
    void Update(const Data& d);
    /// Makes this state a deep copy of another, its run included.
    void Init(const Data& d);
  };

  /// The run [col0, col2), which is tested against the first batch. (0, 0) takes all columns of that batch.
  SMatrixListwise(int col0, int col2);
  /// All columns of the first batch.
  SMatrixListwise();
  ~SMatrixListwise() override;

  unsigned int NRows() const override;

  using MatrixBase::operator+=;
  /// Adds a batch and consumes it (see Data::Init). A batch without rows changes nothing. When the block
  /// already holds data, neither does one whose case weights sum to exactly 0. Throws std::bad_alloc.
  MatrixBase& operator+=(DataBatch& batch) override;
  MatrixBase& operator+=(MatrixBase& other) override;

  /// The number of columns of the run, 0 while the block holds no data.
  unsigned int NColumns() const;
  double WeightSum() const;
  double RegWeightSum() const;
  bool HasRegWeights() const;
  int Col0() const;
  int Col1() const;
  int Col2() const;

  /// The mean of a column. Requires c in [Col0(), Col2()) and WeightSum() > 0.
  double Mean(int c) const;
  /// The smallest value of a column. Requires the same.
  double Min(int c) const;
  /// The largest value of a column. Requires c in [Col0(), Col2()) and data, whatever their weight.
  double Max(int c) const;
  /// Σ w (x − mean x)(y − mean y) of two columns in either order; the sum of squares for row = col. Requires
  /// both in [Col0(), Col2()) and WeightSum() > 0.
  double CCP(int row, int col) const;

 private:
  Data* _my;
};

}  // namespace vexa
