#pragma once

#include <vector>

#include "plain.h"
#include "rows.h"

/// The oracle of the pairwise statistics: the rows on which one column, or each of two, is present.
namespace plain {

/// One column (cells 0) or two, over the rows on which they are present.
struct Record {
  double rows = 0.0;
  double weightSum = 0.0;
  double regWeightSum = 0.0;
  double mean[2] = {};
  double css[2] = {};
  double cscp = 0.0;
  double min = 1.79e308;  ///< of one column
  double max = -1.79e308;

  std::vector<double> Variable(bool extremes) const {
    std::vector<double> values = {rows, weightSum, regWeightSum, mean[0], css[0]};
    if (extremes) values.insert(values.end(), {min, max});
    return values;
  }
  std::vector<double> Pair() const {
    return {rows, weightSum, regWeightSum, mean[0], mean[1], css[0], css[1], cscp};
  }

  void Merge(const Record& other) {
    const Record a = *this;
    const Record b = other;
    if (b.rows == 0) return;
    const double total = a.regWeightSum + b.regWeightSum;
    double fromA[2] = {};
    double fromB[2];
    for (int k = 0; k < 2; ++k) {
      if (total != 0.0) fromA[k] = (b.mean[k] - a.mean[k]) * b.regWeightSum / total;
      mean[k] = a.mean[k] + fromA[k];
      fromB[k] = b.mean[k] - mean[k];
    }
    const auto pool = [&](double sumA, double sumB, int i, int j) {
      const double sum = a.regWeightSum * fromA[i] * fromA[j] + sumB;
      return (sum + b.regWeightSum * fromB[i] * fromB[j]) + sumA;
    };
    for (int k = 0; k < 2; ++k) css[k] = pool(a.css[k], b.css[k], k, k);
    cscp = pool(a.cscp, b.cscp, 0, 1);
    if (!(a.min < b.min)) min = b.min;
    if (!(a.max > b.max)) max = b.max;
    rows = a.rows + b.rows;
    weightSum = a.weightSum + b.weightSum;
    regWeightSum = total;
  }
};

/// The rows on which all the named columns are present, with nothing but these columns.
inline Rows Present(const Rows& rows, const std::vector<std::size_t>& columns, double missing) {
  Rows present;
  present.columns.resize(columns.size());
  present.hasWeights = rows.hasWeights;
  present.hasRegWeights = rows.hasRegWeights;
  for (std::size_t row = 0; row < rows.count; ++row) {
    bool complete = true;
    for (const std::size_t col : columns) complete = complete && !(rows.columns[col][row] == missing);
    if (!complete) continue;
    for (std::size_t k = 0; k < columns.size(); ++k)
      present.columns[k].push_back(rows.columns[columns[k]][row]);
    if (rows.hasWeights) present.weights.push_back(rows.weights[row]);
    if (rows.hasRegWeights) present.regWeights.push_back(rows.regWeights[row]);
    ++present.count;
  }
  return present;
}

inline Record Reduce(const Rows& rows, const std::vector<std::size_t>& columns, double missing) {
  const Rows present = Present(rows, columns, missing);
  const Column weights = Combined(present.weights, present.regWeights);
  Record record;
  record.rows = static_cast<double>(present.count);
  record.weightSum = rows.hasWeights ? Sum(present.weights) : record.rows;
  record.regWeightSum = rows.hasRegWeights ? Sum(weights) : record.weightSum;
  std::vector<Column> centred;
  for (std::size_t k = 0; k < columns.size(); ++k) {
    record.mean[k] = Mean(present.columns[k], weights, record.regWeightSum);
    centred.push_back(Centred(present.columns[k], record.mean[k]));
    record.css[k] = CrossProduct(centred[k], centred[k], weights);
  }
  if (columns.size() == 2) record.cscp = CrossProduct(centred[0], centred[1], weights);
  if (present.count > 0) {
    record.min = Min(present.columns[0]);
    record.max = Max(present.columns[0]);
  }
  return record;
}

}  // namespace plain
