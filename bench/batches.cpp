#include "batches.h"

#include <algorithm>
#include <cstring>
#include <random>

namespace bench {

namespace {

constexpr double kMissingRate = 0.1;
constexpr std::size_t kPatterns = 5;

using Random = std::mt19937_64;

double Uniform(Random& random) { return std::uniform_real_distribution<>(0.0, 1.0)(random); }

std::size_t Below(Random& random, std::size_t bound) {
  return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random);
}

std::vector<double> Weights(Random& random, unsigned int rows) {
  std::vector<double> weights(rows);
  for (double& weight : weights) weight = 0.5 + Uniform(random);
  return weights;
}

void PutMissing(Random& random, Rows& rows) {
  const Shape& shape = rows.shape;
  std::vector<std::size_t> patternOf(shape.columns);
  for (std::size_t& pattern : patternOf) pattern = Below(random, kPatterns);
  double* cell = rows.values.data();
  for (unsigned int row = 0; row < shape.rows; ++row) {
    bool absent[kPatterns];
    for (bool& pattern : absent) pattern = Uniform(random) < kMissingRate;
    for (unsigned int col = 0; col < shape.columns; ++col, ++cell) {
      const bool shared = shape.missing == Missing::kShared;
      if (shared ? absent[patternOf[col]] : Uniform(random) < kMissingRate) *cell = kMissing;
    }
  }
}

/// Hands the rows to a batch in turn, after setting the variables that it reads besides the values.
template <class Add>
void HandRows(const Rows& rows, double& weight, double& regWeight, unsigned int& group, const Add& add) {
  // Held here: read again with every row, because `add` might change it, what the rows consist of would be a good part
  // of the time of a short one.
  const auto any = [](const auto& values) { return values.empty() ? nullptr : values.data(); };
  const double* const weights = any(rows.weights);
  const double* const regWeights = any(rows.regWeights);
  const unsigned int* const groups = any(rows.groups);
  const std::size_t columns = rows.shape.columns;
  const double* values = rows.values.data();
  const double* const end = values + rows.shape.rows * columns;
  if (!weights && !regWeights && !groups) {
    for (; values != end; values += columns) add(values);
    return;
  }
  for (std::size_t row = 0; values != end; ++row, values += columns) {
    if (weights) weight = weights[row];
    if (regWeights) regWeight = regWeights[row];
    if (groups) group = groups[row];
    add(values);
  }
}

template <class T, class V>
const T* IfAny(const T& variable, const std::vector<V>& values) {
  return values.empty() ? nullptr : &variable;
}

}  // namespace

Rows::Rows(const Shape& rowsShape) : shape(rowsShape) {
  Random random(1);
  values.resize(std::size_t{shape.rows} * shape.columns);
  for (double& value : values) value = Uniform(random);
  if (shape.missing != Missing::kNone) PutMissing(random, *this);
  if (shape.weighted) {
    weights = Weights(random, shape.rows);
    regWeights = Weights(random, shape.rows);
  }
  if (shape.groups > 0) {
    groups.resize(shape.rows);
    for (unsigned int& group : groups) group = static_cast<unsigned int>(Below(random, shape.groups));
  }
}

unsigned int Capacity(unsigned int rows) {
  const unsigned int lines = (rows + 7) / 8;
  return (lines | 1U) * 8;
}

Batch::Batch(const Rows& rows, unsigned int capacity)
    : _rows(rows),
      _batch(rows.shape.columns, capacity, IfAny(_weight, rows.weights), IfAny(_regWeight, rows.regWeights),
             IfAny(_group, rows.groups)) {
  Fill();
  // From the rows, not out of the batch: one that has been asked for its columns fills more slowly.
  _columns.resize(std::size_t{_batch.NColumns() - 1} * _batch.MaxRows() + _batch.NRows());
  for (unsigned int row = 0; row < rows.shape.rows; ++row) {
    for (unsigned int col = 0; col < rows.shape.columns; ++col)
      _columns[std::size_t{col} * _batch.MaxRows() + row] = rows.Row(row)[col];
  }
  if (_batch.Weights()) _weights.assign(_batch.Weights(), _batch.Weights() + _batch.NRows());
}

void Batch::Restore() {
  std::copy(_columns.begin(), _columns.end(), _batch.Column(0));
  std::copy(_weights.begin(), _weights.end(), _batch.Weights());
}

void Batch::Fill() {
  _batch.Clear();
  HandRows(_rows, _weight, _regWeight, _group, [this](const double* row) { _batch.AddRow(row); });
}

GroupedBatch::GroupedBatch(const Rows& rows, unsigned int capacity)
    : _rows(rows),
      _batch(rows.shape.columns, capacity, IfAny(_weight, rows.weights), IfAny(_regWeight, rows.regWeights),
             &_group, rows.shape.groups) {
  Fill();
}

void GroupedBatch::Fill() {
  _batch.Clear();
  const std::size_t bytes = _batch.NColumns() * sizeof(double);
  HandRows(_rows, _weight, _regWeight, _group, [this, bytes](const double* row) {
    std::memcpy(_batch.NextRow(), row, bytes);
    _batch.AddRow();
  });
  _batch.SortByGroup();
}

}  // namespace bench
