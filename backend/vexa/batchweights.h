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
  double* weights = batch.Weights();
  const double* regWeights = batch.RegWeights();
  const unsigned int rows = batch.NRows();
  if (weights && regWeights) {
    // WeightedSum, CombineWeights and Sum in one loop: two chains of additions side by side take the time of one.
    BatchWeights taken{0.0, weights, 0.0};
    for (unsigned int k = 0; k < rows; ++k) {
      taken.weightSum += weights[k];
      weights[k] *= regWeights[k];
      taken.regWeightSum += weights[k];
    }
    return taken;
  }
  BatchWeights taken{};
  taken.weightSum = WeightedSum(weights, static_cast<int>(rows));
  taken.weights = CombineWeights(weights, regWeights, rows);
  taken.regWeightSum = regWeights ? Sum(regWeights, static_cast<int>(rows)) : taken.weightSum;
  return taken;
}

}  // namespace vexa
