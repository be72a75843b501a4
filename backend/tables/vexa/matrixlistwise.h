#pragma once

#include <cstdint>
#include <vector>

#include "databatch.h"
#include "export.h"

namespace vexa {

/// Means and centred cross-products of all columns of the batches, over complete rows.
///
/// Every row of every batch is used for every statistic, so the host puts only complete rows into its
/// batches. Means and cross-products are weighted by the combined weights (case weight × regression weight);
/// nothing is divided by a count or a weight. Weights are not tested: negative and zero ones are used as they
/// come.
///
/// Every batch is reduced about its own means and pooled with what is there (Chan, Golub and LeVeque 1979),
/// as are the partial results of several threads, so any split of the rows gives the same statistics up to
/// rounding. The first batch with rows fixes the number of columns and whether there are regression weights;
/// all others must agree.
///
/// At most 65,535 columns: cells are counted in 32 bits. One thread at a time; reading needs no lock.
class VEXA_EXPORT MatrixListwise {
 public:
  /// The matrix's state, or the result of one batch.
  struct VEXA_EXPORT Data {
    double _weightSum = 0.0;     ///< case weights of all rows; the row count without case weights
    double _regWeightSum = 0.0;  ///< combined weights of all rows; _weightSum without regression weights
    std::uint64_t _nRows = 0;
    std::vector<double> _means;
    double* _xp = nullptr;  ///< cell (r, c), c ≤ r, at r(r+1)/2 + c; owned; null while there is no data
    bool _hasRegWeights = false;

    Data();
    ~Data();
    Data(const Data&) = delete;
    Data& operator=(const Data&) = delete;

    /// Makes this empty state the result of one batch, whose columns are left centred and whose case weights
    /// are left multiplied by the regression weights. O(rows × columns²).
    void Init(DataBatch& batch);
    /// Merges a result over other rows. A result whose case weights sum to exactly 0 is passed over, rows
    /// included. O(columns²), one allocation of three doubles per column (none for a single one), before which
    /// nothing changes.
    void Update(const Data& d);
    /// Makes this state a deep copy of another.
    void Init(const Data& d);
  };

  MatrixListwise();
  ~MatrixListwise();
  MatrixListwise(const MatrixListwise&) = delete;
  MatrixListwise& operator=(const MatrixListwise&) = delete;

  /// Adds a batch and consumes it (see Data::Init). A batch without rows changes nothing. When the matrix
  /// already holds data, neither does one whose case weights sum to exactly 0. Throws std::bad_alloc.
  MatrixListwise& operator+=(DataBatch& batch);
  /// Merges another matrix, which is only read. One without rows changes nothing. Throws std::bad_alloc.
  MatrixListwise& operator+=(const MatrixListwise& other);

  /// The number of columns, 0 while the matrix holds no data.
  unsigned int NColumns() const;
  std::uint64_t NRows() const;
  double WeightSum() const;
  double RegWeightSum() const;
  bool HasRegWeights() const;

  /// The mean of a column. Requires col < NColumns() and WeightSum() > 0.
  double Mean(unsigned int col) const;
  /// Σ w (x − mean x)(y − mean y) of two columns in either order; the sum of squares for row = col. Requires
  /// both below NColumns() and WeightSum() > 0.
  double CCP(unsigned int row, unsigned int col) const;

 private:
  Data* _my;
};

}  // namespace vexa
