#include "vexa/kernels.h"

#include <cmath>

namespace vexa {

namespace {

int Count(const std::vector<double>& x) { return static_cast<int>(x.size()); }

const double* DataOrNull(const std::vector<double>& x) { return x.empty() ? nullptr : x.data(); }

}  // namespace

double minvalue = -1.79e308;
double maxvalue = +1.79e308;

double Sum(const double* x, int n) {
  double sum = 0.0;
  for (int k = 0; k < n; ++k) sum += x[k];
  return sum;
}

double Sum(const std::vector<double>& x) { return Sum(x.data(), Count(x)); }

double WeightedSum(const double* weights, int n) {
  return weights ? Sum(weights, n) : static_cast<double>(n);
}

double WeightedSum(const std::vector<double>& x, const std::vector<double>& weights) {
  return weights.empty() ? Sum(x) : ProductSum(x, weights);
}

double ProductSum(const double* a, const double* b, int n) {
  double sum = 0.0;
  for (int k = 0; k < n; ++k) sum += a[k] * b[k];
  return sum;
}

double ProductSum(const std::vector<double>& a, const std::vector<double>& b) {
  return ProductSum(a.data(), b.data(), Count(a));
}

double ProductSum(const double* a, const double* b, const double* d, int n) {
  double sum = 0.0;
  for (int k = 0; k < n; ++k) sum += (a[k] * b[k]) * d[k];
  return sum;
}

double ProductSum(const std::vector<double>& a, const std::vector<double>& b, const std::vector<double>& d) {
  return ProductSum(a.data(), b.data(), d.data(), Count(a));
}

const double* CombineWeights(double* weights, const double* regWeights, int n) {
  return CombineWeights(weights, regWeights, static_cast<unsigned int>(n));
}

const double* CombineWeights(double* weights, const double* regWeights, unsigned int n) {
  if (!weights) return regWeights;
  if (!regWeights) return weights;
  for (unsigned int k = 0; k < n; ++k) weights[k] *= regWeights[k];
  return weights;
}

void CombineWeights(std::vector<double>& weights, std::vector<double>& regWeights) {
  if (regWeights.empty()) return;
  if (weights.empty()) {
    weights.swap(regWeights);
  } else {
    CombineWeights(weights.data(), regWeights.data(), Count(weights));
  }
}

double WeightedMean(const double* x, const double* weights, const double& total, int n) {
  if (n == 0) return 0.0;
  const double first = x[0];
  int run = 0;
  double runWeight = 0.0;
  if (!std::isnan(first)) {
    for (; run < n && x[run] == first; ++run) runWeight += weights ? weights[run] : 1.0;
    if (run == n) return first;
  }
  const double runProduct = first * runWeight;
  const double rest = weights ? ProductSum(weights + run, x + run, n - run) : Sum(x + run, n - run);
  return (rest + runProduct) / total;
}

double WeightedMean(const std::vector<double>& x, const std::vector<double>& weights, double total) {
  return WeightedMean(DataOrNull(x), DataOrNull(weights), total, Count(x));
}

double Maxs(const double* x, int n) {
  if (n == 0) return minvalue;
  double max = x[0];
  for (int k = 1; k < n; ++k) {
    if (x[k] > max) max = x[k];
  }
  return max;
}

double Maxs(std::vector<double>& x) { return Maxs(x.data(), Count(x)); }

double Mins(const double* x, int n) {
  if (n == 0) return maxvalue;
  double min = x[0];
  for (int k = 1; k < n; ++k) {
    if (x[k] < min) min = x[k];
  }
  return min;
}

double Mins(std::vector<double>& x) { return Mins(x.data(), Count(x)); }

void CenterData(double* x, double shift, int n) {
  for (int k = 0; k < n; ++k) x[k] -= shift;
}

void CenterData(std::vector<double>& x, double shift) { CenterData(x.data(), shift, Count(x)); }

double CrossProduct(const double* x, const double* y, const double* weights, int n) {
  return weights ? ProductSum(weights, x, y, n) : ProductSum(x, y, n);
}

double CrossProduct(const std::vector<double>& x, const std::vector<double>& y,
                    const std::vector<double>& weights) {
  return weights.empty() ? ProductSum(x, y) : ProductSum(weights, x, y);
}

void GroupWeightedSumX(const double* x, const unsigned int* groups, double* sums, double* squares, int n) {
  for (int k = 0; k < n; ++k) {
    sums[groups[k]] += x[k];
    squares[groups[k]] += x[k] * x[k];
  }
}

void GroupWeightedSumX(const double* x, const unsigned int* groups, const double* weights, double* sums,
                       double* squares, int n) {
  if (!weights) {
    GroupWeightedSumX(x, groups, sums, squares, n);
    return;
  }
  for (int k = 0; k < n; ++k) {
    const double product = x[k] * weights[k];
    sums[groups[k]] += product;
    squares[groups[k]] += product * x[k];
  }
}

void WeightByGroup(const unsigned int* groups, std::vector<double>& totals, double& total, int n) {
  for (int k = 0; k < n; ++k) {
    totals[groups[k]] += 1.0;
    total += 1.0;
  }
}

void WeightByGroup(const unsigned int* groups, const double* weights, std::vector<double>& totals,
                   double& total, int n) {
  if (!weights) {
    WeightByGroup(groups, totals, total, n);
    return;
  }
  for (int k = 0; k < n; ++k) {
    totals[groups[k]] += weights[k];
    total += weights[k];
  }
}

}  // namespace vexa
