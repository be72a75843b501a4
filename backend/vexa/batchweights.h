#pragma once

#include "vexa/databatch.h"
#include "vexa/kernels.h"

namespace vexa {

/// What a listwise accumulator needs of a batch's weights.
struct BatchWeights {
  double weightSum;       ///< case weights, or the row count
  const double* weights;  ///< combined weights of the rows, null when every row weighs 1
  double regWeightSum;    ///< their sum; weightSum without regression weights
};

/// Reads the weights of a batch with rows and leaves its case weights multiplied by the regression weights.
/// The case weights are summed before that.
inline BatchWeights TakeWeights(DataBatch& batch) {
  const int rows = static_cast<int>(batch.NRows());
  BatchWeights taken{};
  taken.weightSum = WeightedSum(batch.Weights(), rows);
  taken.weights = CombineWeights(batch.Weights(), batch.RegWeights(), batch.NRows());
  taken.regWeightSum = batch.HasRegWeights() ? Sum(taken.weights, rows) : taken.weightSum;
  return taken;
}

}  // namespace vexa
