#pragma once

#include <cstdint>
#include <type_traits>
#include <vector>

#include "pairbatch.h"
#include "pooling.h"
#include "vexa/compaction.h"
#include "vexa/kernels.h"
#include "vexa/matrixpairwise.h"
#include "vexa/statobjects.h"

/// The two families of records, those of the full pairwise matrix (VarStatsData, PairStatsData) and those of the
/// blocks (VarStatData, PairStatData), and the one implementation of both.

namespace vexa {

/// All that the families differ in.
struct MatrixFamily {
  using Count = std::uint64_t;
  static double PooledWeight(double weightA, double weightB) { return weightA + weightB; }
  static constexpr Extremes kExtremes = Extremes::kNotWanted;
  static void TakeExtremes(VarStatsData& /*record*/, std::vector<double>& /*values*/) {}
  static void TakeExtremes(VarStatsData& /*record*/, const ColumnSummary& /*summary*/) {}
  static void PoolExtremes(VarStatsData& /*a*/, const VarStatsData& /*b*/) {}
};

struct BlockFamily {
  using Count = int;
  static double PooledWeight(double weightA, double weightB) { return weightB + weightA; }
  static constexpr Extremes kExtremes = Extremes::kWanted;
  static void TakeExtremes(VarStatData& record, const ColumnSummary& summary) {
    record._min = summary.min;
    record._max = summary.max;
  }
  static void TakeExtremes(VarStatData& record, std::vector<double>& values) {
    record._min = Mins(values);
    record._max = Maxs(values);
  }
  /// A tie or a NaN on either side takes B's, unlike PoolExtremes of the listwise accumulators.
  static void PoolExtremes(VarStatData& a, const VarStatData& b) {
    a._min = a._min < b._min ? a._min : b._min;
    a._max = a._max > b._max ? a._max : b._max;
  }
};

template <class Record>
using Family =
    std::conditional_t<std::is_same_v<Record, VarStatsData> || std::is_same_v<Record, PairStatsData>,
                       MatrixFamily, BlockFamily>;

/// Count and weight totals of the rows in the work area, whose weights are left combined.
template <class Record>
void TakeTotals(Record& record, bool hasRegWeights, WorkArea& work) {
  record._nRows = static_cast<typename Family<Record>::Count>(work._x0.size());
  record._weightSum = work._w.empty() ? static_cast<double>(record._nRows) : Sum(work._w);
  CombineWeights(work._w, work._rw);
  record._regWeightSum = hasRegWeights ? Sum(work._w) : record._weightSum;
}

/// The mean of one column of the rows in the work area, which is left centred on it.
inline double CenterOnMean(std::vector<double>& values, const WorkArea& work, double weight) {
  const double mean = WeightedMean(values, work._w, weight);
  CenterData(values, mean);
  return mean;
}

template <class Record>
void InitVariable(Record& record, const double* x, const double* weights, const double* regWeights,
                  WorkArea& work, int n) {
  CopyNonmissing(x, weights, regWeights, work._missing, n, work._x0, work._w, work._rw);
  TakeTotals(record, regWeights != nullptr, work);
  Family<Record>::TakeExtremes(record, work._x0);
  record._mean = CenterOnMean(work._x0, work, record._regWeightSum);
  record._css = CrossProduct(work._x0, work._x0, work._w);
}

template <class Record>
void InitPair(Record& record, const double* x, const double* y, const double* weights,
              const double* regWeights, WorkArea& work, int n) {
  CopyCompletePairs(x, y, weights, regWeights, work._missing, n, work._x0, work._x1, work._w, work._rw);
  TakeTotals(record, regWeights != nullptr, work);
  record._mean0 = CenterOnMean(work._x0, work, record._regWeightSum);
  record._mean1 = CenterOnMean(work._x1, work, record._regWeightSum);
  record._css0 = CrossProduct(work._x0, work._x0, work._w);
  record._css1 = CrossProduct(work._x1, work._x1, work._w);
  record._cscp = CrossProduct(work._x0, work._x1, work._w);
}

/// What the engine made of the same rows, as a record.
template <class Record>
Record RecordOf(const ColumnSummary& summary) {
  Record record;
  record._nRows = static_cast<typename Family<Record>::Count>(summary.rows);
  record._weightSum = summary.weightSum;
  record._regWeightSum = summary.regWeightSum;
  record._mean = summary.mean;
  record._css = summary.css;
  Family<Record>::TakeExtremes(record, summary);
  return record;
}

template <class Record>
Record RecordOf(const PairSummary& summary) {
  Record record;
  record._nRows = static_cast<typename Family<Record>::Count>(summary.rows);
  record._weightSum = summary.weightSum;
  record._regWeightSum = summary.regWeightSum;
  record._mean0 = summary.mean0;
  record._mean1 = summary.mean1;
  record._css0 = summary.css0;
  record._css1 = summary.css1;
  record._cscp = summary.cscp;
  return record;
}

/// Two records A and B of one family that are being pooled: what all their columns have in common.
template <class Record>
class PooledRecords {
 public:
  PooledRecords(const Record& a, const Record& b)
      : _weightA(a._regWeightSum),
        _weightB(b._regWeightSum),
        _weight(Family<Record>::PooledWeight(_weightA, _weightB)) {}

  /// The pooled mean of a column. `fromA` is what came to A's mean, not the difference after rounding.
  struct Column {
    double mean;
    double fromA;
    double fromB;
  };
  Column Pool(double meanA, double meanB) const {
    const double fromA = MeanIncrement(meanA, meanB, _weightB, _weight);
    const double mean = meanA + fromA;
    return {mean, fromA, meanB - mean};
  }

  /// The pooled centred sum of columns i and j, which may be the same.
  double Sum(double sumA, double sumB, const Column& i, const Column& j) const {
    return PooledCell(sumA, sumB, j.fromA, _weightA * i.fromA, j.fromB, _weightB * i.fromB);
  }

 private:
  double _weightA;
  double _weightB;
  double _weight;
};

template <class Record>
void AddTotals(Record& a, const Record& b) {
  a._nRows += b._nRows;
  a._weightSum += b._weightSum;
  a._regWeightSum += b._regWeightSum;
}

/// No shortcut when A is empty: its means and sums too come out of the formula. A and B may be the same record, so
/// that everything is computed before anything is written.
template <class Record>
void MergeVariable(Record& a, const Record& b) {
  if (b._nRows == 0) return;
  const PooledRecords<Record> pooled(a, b);
  const auto column = pooled.Pool(a._mean, b._mean);
  const double css = pooled.Sum(a._css, b._css, column, column);
  Family<Record>::PoolExtremes(a, b);
  a._mean = column.mean;
  a._css = css;
  AddTotals(a, b);
}

template <class Record>
void MergePair(Record& a, const Record& b) {
  if (b._nRows == 0) return;
  const PooledRecords<Record> pooled(a, b);
  const auto column0 = pooled.Pool(a._mean0, b._mean0);
  const auto column1 = pooled.Pool(a._mean1, b._mean1);
  const double css0 = pooled.Sum(a._css0, b._css0, column0, column0);
  const double css1 = pooled.Sum(a._css1, b._css1, column1, column1);
  const double cscp = pooled.Sum(a._cscp, b._cscp, column0, column1);
  a._mean0 = column0.mean;
  a._mean1 = column1.mean;
  a._css0 = css0;
  a._css1 = css1;
  a._cscp = cscp;
  AddTotals(a, b);
}

}  // namespace vexa
