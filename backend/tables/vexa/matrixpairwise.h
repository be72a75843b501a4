#pragma once

#include <cstdint>
#include <vector>

#include "databatch.h"
#include "export.h"
#include "workarea.h"

namespace vexa {

/// One variable over the rows on which it is present, as MatrixPairwise keeps it. The default is the record of no
/// rows.
///
/// Means and centred sums are weighted by the combined weights (case weight × regression weight); nothing is
/// divided by a count or a weight. Weights are not tested. When the values differ but their combined weights sum to
/// 0 the mean is what IEEE division gives, infinite or NaN, and it stays in every record that it is merged into.
struct VEXA_EXPORT VarStatsData {
  std::uint64_t _nRows = 0;
  double _weightSum = 0.0;     ///< Σ case weight; the row count without case weights
  double _regWeightSum = 0.0;  ///< Σ combined weight; _weightSum without regression weights
  double _mean = 0.0;
  double _css = 0.0;  ///< Σ w (x − mean)²

  /// Overwrites every field with the statistics of n rows, n below 2^31; either weights may be null. The missing
  /// code is the work area's. Throws std::bad_alloc while the work area grows. O(n).
  void Init(const double* x, const double* weights, const double* regWeights, WorkArea& work, unsigned int n);
  /// Merges a record over other rows (Chan, Golub and LeVeque 1979). One without rows changes nothing, one of
  /// weight 0 is merged like any other.
  void Update(const VarStatsData& other);
};

/// Two variables over the rows on which both are present, likewise.
struct VEXA_EXPORT PairStatsData {
  std::uint64_t _nRows = 0;
  double _weightSum = 0.0;     ///< Σ case weight; the row count without case weights
  double _regWeightSum = 0.0;  ///< Σ combined weight; _weightSum without regression weights
  double _mean0 = 0.0;
  double _mean1 = 0.0;
  double _css0 = 0.0;
  double _css1 = 0.0;
  double _cscp = 0.0;  ///< Σ w (x − mean0)(y − mean1)

  /// The same as for one variable.
  void Init(const double* x, const double* y, const double* weights, const double* regWeights, WorkArea& work,
            unsigned int n);
  void Update(const PairStatsData& other);
};

/// A view of the record of a variable inside a matrix: it shows what the matrix holds at the time of each call, and
/// must not outlive it.
class VEXA_EXPORT VarStats {
 public:
  explicit VarStats(const VarStatsData* data);

  std::uint64_t NRows() const;
  double WeightSum() const;
  double RegWeightSum() const;
  double Mean() const;
  double CSS() const;

 private:
  const VarStatsData* _data;
};

/// The same for a pair of variables.
class VEXA_EXPORT PairStats {
 public:
  explicit PairStats(const PairStatsData* data);

  std::uint64_t NRows() const;
  double WeightSum() const;
  double RegWeightSum() const;
  double Mean0() const;
  double Mean1() const;
  double CSS0() const;
  double CSS1() const;
  double CSCP() const;

 private:
  const PairStatsData* _data;
};

/// Statistics of all columns of the batches and of all pairs of them, each over the rows on which it is present.
///
/// A value is missing when it equals the missing code as a double, and only then: NaN is always present, a NaN code
/// marks nothing, and a code of 0.0 also takes −0.0. Every batch is reduced about its own means, and the parts are
/// pooled (Chan, Golub and LeVeque 1979), as are the partial results of several threads, so any split of the rows
/// gives the same statistics up to rounding. The first batch with rows fixes the number of columns and whether there
/// are regression weights; all others must agree. Missing codes are not compared.
///
/// A batch is only read. It costs O(rows × columns²) and, once the work area has grown to the largest batch,
/// allocates nothing. Throws std::bad_alloc before anything changes.
///
/// At most 65,536 columns: pairs are counted in 32 bits. One thread at a time; reading needs no lock.
class VEXA_EXPORT MatrixPairwise {
 public:
  struct VEXA_EXPORT Data {
    /// Totals of all rows, whatever is missing in them.
    double _weightSum = 0.0;     ///< case weights; the row count without case weights
    double _regWeightSum = 0.0;  ///< combined weights; _weightSum without regression weights
    std::uint64_t _nRows = 0;
    std::vector<VarStatsData> _varStats;  ///< by column; empty while there is no data
    std::vector<PairStatsData> _xp;       ///< columns r > c, r being the first of the pair, at r(r−1)/2 + c
    WorkArea _workArea;
    bool _hasRegWeights = false;

    explicit Data(double missing);
    ~Data();
    Data(const Data&) = delete;
    Data& operator=(const Data&) = delete;

    /// Sizes this empty state for a batch and takes the batch in.
    void Init(DataBatch& data);
    /// Takes in a batch of the same columns.
    void Update(DataBatch& data);
    /// Makes this state a deep copy of another, the missing code included.
    void Init(const Data& d);
    /// Merges a result over other rows. A result whose case weights sum to exactly 0 is passed over, rows included.
    /// O(columns²), no allocation.
    void Update(const Data& d);
  };

  explicit MatrixPairwise(const double& missingCode);
  ~MatrixPairwise();
  MatrixPairwise(const MatrixPairwise&) = delete;
  MatrixPairwise& operator=(const MatrixPairwise&) = delete;

  /// Adds a batch. One without rows changes nothing; one of weight 0 is added like any other.
  MatrixPairwise& operator+=(DataBatch& data);
  /// Merges another matrix, which is only read. One without rows changes nothing; an empty matrix becomes a copy of
  /// the other, its missing code included.
  MatrixPairwise& operator+=(const MatrixPairwise& other);

  /// The number of columns, 0 while the matrix holds no data.
  unsigned int NColumns() const;
  /// Rows and weights of all batches, whatever is missing in them.
  std::uint64_t NRows() const;
  double WeightSum() const;
  double RegWeightSum() const;
  bool HasRegWeights() const;
  double MissingCode() const;

  /// A column over its present rows. Requires col < NColumns() and WeightSum() > 0.
  VarStats Var(unsigned int col) const;
  /// Two distinct columns, in either order, over the rows on which both are present; the one with the larger number
  /// is the first of the pair. Requires both below NColumns() and WeightSum() > 0.
  PairStats Pair(unsigned int row, unsigned int col) const;

 private:
  Data* _my;
};

}  // namespace vexa
