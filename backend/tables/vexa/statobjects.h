#pragma once

#include <new>

#include "export.h"
#include "kernels.h"
#include "workarea.h"

/// What the pairwise blocks keep of each variable and of each pair of variables, over the rows on which it is
/// present.
///
/// A record is filled from one batch by Init, about the batch's own means, or merged with one over other rows by
/// Update (Chan, Golub and LeVeque 1979), so any split of the rows gives the same statistics up to rounding. Means
/// and centred sums are weighted by the combined weights (case weight × regression weight), extremes by nothing,
/// and nothing is divided by a count or a weight. Weights are not tested. When the values differ but their combined
/// weights sum to 0 the mean is what IEEE division gives, infinite or NaN, and it stays in every record that it is
/// merged into.
///
/// No locks: a record, a handle or a work area is used by one thread at a time.

namespace vexa {

/// One variable over the rows on which it is present. The default is the record of no rows.
struct VEXA_EXPORT VarStatData {
  int _nRows = 0;
  double _weightSum = 0.0;     ///< Σ case weight; the row count without case weights
  double _regWeightSum = 0.0;  ///< Σ combined weight; _weightSum without regression weights
  double _mean = 0.0;
  double _css = 0.0;  ///< Σ w (x − mean)²
  double _min = maxvalue;
  double _max = minvalue;

  /// Overwrites every field with the statistics of n rows; either weights may be null. The missing code is the
  /// work area's. Throws std::bad_alloc while the work area grows. O(n).
  void Init(const double* x, const double* w, const double* rw, WorkArea& work, int n);
  /// Merges a record over other rows. One without rows changes nothing, one of weight 0 is merged like any other.
  /// Of two equal extremes, or when one is NaN, the other record's is taken.
  void Update(const VarStatData& other);
};

/// Two variables over the rows on which both are present. The default is the record of no rows.
struct VEXA_EXPORT PairStatData {
  int _nRows = 0;
  double _weightSum = 0.0;     ///< Σ case weight; the row count without case weights
  double _regWeightSum = 0.0;  ///< Σ combined weight; _weightSum without regression weights
  double _mean0 = 0.0;
  double _mean1 = 0.0;
  double _css0 = 0.0;
  double _css1 = 0.0;
  double _cscp = 0.0;  ///< Σ w (x0 − mean0)(x1 − mean1)

  /// The same as for one variable.
  void Init(const double* x0, const double* x1, const double* w, const double* rw, WorkArea& work, int n);
  void Update(const PairStatData& other);
};

/// A record of one variable on the heap, owned.
class VEXA_EXPORT VarStat {
 public:
  /// Owns a record of no rows. Throws std::bad_alloc.
  VarStat();
  /// Takes over a record made with new.
  explicit VarStat(VarStatData* data);
  ~VarStat();
  /// Takes no size: a block's handles lie in pieces of memory that hold their records too. Inlined, since g++ may
  /// warn of a call that it does not match the global operator new.
  // NOLINTNEXTLINE(misc-new-delete-overloads): made by the global operator new, like its record.
  [[gnu::always_inline]] static void operator delete(void* handle) noexcept { ::operator delete(handle); }
  VarStat(const VarStat&) = delete;
  VarStat& operator=(const VarStat&) = delete;

  int NRows() const;
  double WeightSum() const;
  double RegWeightSum() const;
  double Mean() const;
  double CSS() const;
  double Min() const;
  double Max() const;

  VarStatData* Data();
  void Update(VarStat& other);
  /// A handle of its own with a copy of the record, both made with new and the caller's.
  VarStat* Copy();
  void Init(const double* x, const double* w, const double* rw, WorkArea& work, int n);

 private:
  VarStatData* _data;
};

/// A record of a pair of variables on the heap, owned.
class VEXA_EXPORT PairStat {
 public:
  /// Owns a record of no rows. Throws std::bad_alloc.
  PairStat();
  /// Takes over a record made with new.
  explicit PairStat(PairStatData* data);
  ~PairStat();
  /// The same as for one variable.
  // NOLINTNEXTLINE(misc-new-delete-overloads): made by the global operator new, like its record.
  [[gnu::always_inline]] static void operator delete(void* handle) noexcept { ::operator delete(handle); }
  PairStat(const PairStat&) = delete;
  PairStat& operator=(const PairStat&) = delete;

  int NRows() const;
  double WeightSum() const;
  double RegWeightSum() const;
  double Mean0() const;
  double Mean1() const;
  double CSS0() const;
  double CSS1() const;
  double CSCP() const;

  PairStatData* Data();
  void Update(PairStat& other);
  /// A handle of its own with a copy of the record, both made with new and the caller's.
  PairStat* Copy();
  void Init(const double* x0, const double* x1, const double* w, const double* rw, WorkArea& work, int n);

 private:
  PairStatData* _data;
};

}  // namespace vexa
