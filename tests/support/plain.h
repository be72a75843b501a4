#pragma once

#include <cmath>
#include <vector>

/// The oracle: every step of the library as a plain loop, written independently of its kernels.
namespace plain {

using Column = std::vector<double>;

inline double Sum(const Column& x) {
  double sum = 0.0;
  for (const double value : x) sum += value;
  return sum;
}

/// Σ (wₖ·xₖ)·yₖ; without weights Σ xₖ·yₖ.
inline double CrossProduct(const Column& x, const Column& y, const Column& weights) {
  double sum = 0.0;
  for (std::size_t k = 0; k < x.size(); ++k)
    sum += weights.empty() ? x[k] * y[k] : (weights[k] * x[k]) * y[k];
  return sum;
}

inline double Mean(const Column& x, const Column& weights, double total) {
  if (x.empty()) return 0.0;
  std::size_t run = 0;
  double runWeight = 0.0;
  while (run < x.size() && x[run] == x[0]) {
    runWeight += weights.empty() ? 1.0 : weights[run];
    ++run;
  }
  if (run == x.size()) return x[0];
  double rest = 0.0;
  for (std::size_t k = run; k < x.size(); ++k) rest += weights.empty() ? x[k] : weights[k] * x[k];
  return (rest + x[0] * runWeight) / total;
}

inline double Max(const Column& x) {
  double max = x[0];
  for (const double value : x) max = value > max ? value : max;
  return max;
}

inline double Min(const Column& x) {
  double min = x[0];
  for (const double value : x) min = value < min ? value : min;
  return min;
}

inline Column Centred(Column x, double mean) {
  for (double& value : x) value = value - mean;
  return x;
}

/// Case weight × regression weight; whichever exists; none.
inline Column Combined(const Column& weights, const Column& regWeights) {
  if (weights.empty()) return regWeights;
  if (regWeights.empty()) return weights;
  Column combined(weights.size());
  for (std::size_t k = 0; k < weights.size(); ++k) combined[k] = weights[k] * regWeights[k];
  return combined;
}

}  // namespace plain
