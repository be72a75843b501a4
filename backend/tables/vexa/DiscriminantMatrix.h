#pragma once

#include <vector>

#include "export.h"
#include "matrixbase.h"

namespace vexa {

/// The raw sums behind a discriminant analysis, over complete rows that carry a group code: weight, weighted
/// sum and sum of squares of every variable within each group, and the cross-products of every two variables
/// over all groups together.
///
/// Nothing is centred or divided, so partial results merge by addition; columns with large means and small
/// spreads lose digits, and a host that expects them moves their origin first. Rows weigh their case weight,
/// or 1; regression weights are not used. Values and weights are not tested, and neither are group codes: the
/// host makes sure that they are below the number of groups (see DataBatch::MaxGroupSeen).
///
/// Groups × variables and the number of pairs of variables must fit an int. One thread at a time; reading
/// needs no lock.
class VEXA_EXPORT DiscriminantMatrix : public MatrixBase {
 public:
  /// The matrix's state, or the result of one batch.
  struct VEXA_EXPORT Data {
    std::vector<double> _sumW;  ///< weight of each group
    double* _sumX1 = nullptr;   ///< Σ w·x of group g and variable v at v × groups + g; owned
    double* _sumX2 = nullptr;   ///< Σ (w·x)·x, likewise
    double* _TSSP = nullptr;  ///< Σ (w·x[r])·x[c], c < r, at r(r−1)/2 + c; owned; null while there is no data
    int _nGroup;
    int _nVar;
    double _weightSum = 0.0;  ///< case weights of all rows; the row count without case weights
    unsigned int _nRows = 0;

    Data(int nGroup, int nVar);
    ~Data();
    Data(const Data&) = delete;
    Data& operator=(const Data&) = delete;

    /// Makes this empty state the result of one batch, which must have a column for every variable and a
    /// group source, and is only read. O(rows × variables²).
    void Init(DataBatch& batch);
    /// Adds a result over other rows. One whose weights sum to exactly 0 is passed over, rows included.
    void Update(const Data& d);
    /// Makes this state a deep copy of another, its dimensions included.
    void Init(const Data& d);
  };

  /// Group codes run from 0 to nGroup − 1; the variables are the columns of the batches.
  DiscriminantMatrix(int nGroup, int nVar);
  /// No groups and no variables: for merging only.
  DiscriminantMatrix();
  ~DiscriminantMatrix() override;

  unsigned int NRows() const override;

  using MatrixBase::operator+=;
  /// Adds a batch, which is only read. A batch without rows changes nothing. When the matrix already holds
  /// data, neither does one whose weights sum to exactly 0. Throws std::bad_alloc.
  MatrixBase& operator+=(DataBatch& batch) override;
  MatrixBase& operator+=(MatrixBase& other) override;

  double WeightSum() const;
  int NVar() const;
  int NGroup() const;

  /// The weight of a group. Requires c in [0, NGroup()) and WeightSum() > 0.
  double sumW(int c) const;
  /// Σ w·x and Σ (w·x)·x of a variable within a group. Require group in [0, NGroup()), var in [0, NVar()) and
  /// WeightSum() > 0.
  double sumX1(int group, int var) const;
  double sumX2(int group, int var) const;
  /// Σ w·x·y of two distinct variables, in either order, over all rows. Requires both in [0, NVar()) and
  /// WeightSum() > 0. The sum of squares of one variable is that of its sumX2 over the groups.
  double TSSP(int row, int col) const;

 private:
  Data* _my;
};

}  // namespace vexa
