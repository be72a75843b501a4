#pragma once

#include "vexa/databatch.h"
#include "vexa/kernels.h"

namespace vexa {

/// The weights of a batch's rows, which a listwise accumulator combines in the batch's own memory: first of all, because
/// everything else is weighted by the products.
class BatchWeights {
 public:
  /// Case weights and regression weights of rows; null where there are none.
  BatchWeights(double* weights, double* regWeights) : _weights(weights), _regWeights(regWeights) {}
  explicit BatchWeights(DataBatch& batch) : BatchWeights(batch.Weights(), batch.RegWeights()) {}

  /// What the rows weigh; null when every row weighs 1. Of both kinds the products only after Combine.
  double* Rows() const { return _weights ? _weights : _regWeights; }
  /// What Rows() is still to be multiplied by; null when there is nothing.
  const double* Factors() const { return _weights ? _regWeights : nullptr; }

  void Combine(unsigned int rows) {
    const auto count = static_cast<int>(rows);
    const double sum = WeightedSum(_weights, count);
    const double* combined = CombineWeights(_weights, _regWeights, count);
    TakeSums(sum, _regWeights ? Sum(combined, count) : sum, rows);
  }
  /// Whoever has multiplied Rows() by Factors() hands in the sums of Rows() before and after.
  void TakeSums(double sum, double combinedSum, unsigned int rows) {
    _weightSum = _weights ? sum : rows;
    _regWeightSum = combinedSum;
  }

  double WeightSum() const { return _weightSum; }
  double RegWeightSum() const { return _regWeightSum; }

 private:
  double* _weights;
  double* _regWeights;
  double _weightSum = 0.0;     ///< of the case weights, or the row count
  double _regWeightSum = 0.0;  ///< of the combined weights; the other sum without regression weights
};

}  // namespace vexa
