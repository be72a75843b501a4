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

}  // namespace vexa
