#include "pass/levelsamples.h"

#include <utility>

#include "pass/origin.h"

namespace pass {

void LevelSample::Take(const double* values, std::size_t variables, double weight) {
  if (Rows() == kMostRows) return;
  _weights.push_back(weight);
  _values.insert(_values.end(), values, values + variables);
}

void LevelSample::Append(const LevelSample& later) {
  if (later.Rows() == 0) return;
  const std::size_t variables = later._values.size() / later.Rows();
  for (std::size_t row = 0; row < later.Rows(); ++row)
    Take(later._values.data() + row * variables, variables, later._weights[row]);
}

std::vector<double> LevelSample::Origins() const {
  std::vector<double> origins;
  if (Rows() == 0) return origins;
  const std::size_t variables = _values.size() / Rows();
  for (std::size_t variable = 0; variable < variables; ++variable) {
    std::vector<Weighed> sample;
    for (std::size_t row = 0; row < Rows(); ++row) {
      const double value = _values[row * variables + variable];
      if (value != table::kMissing) sample.push_back({value, _weights[row]});
    }
    origins.push_back(Origin(std::move(sample)));
  }
  return origins;
}

LevelSamples::LevelSamples(const table::Input& input, const Columns& columns, const Options& options,
                           const Levels& levels)
    : _unmoved(columns.variables.size()), _cases(input, columns, options, _unmoved, &levels) {}

void LevelSamples::Take(const table::Chunk& chunk) {
  const double* const weight = _cases.Weight();
  _cases.ForEach(chunk, [&](const double* values) {
    _samples[*_cases.Group()].Take(values, _unmoved.size(), weight != nullptr ? *weight : 1.0);
  });
}

const LevelSample& LevelSamples::Of(unsigned int level) const {
  static const LevelSample none;
  const auto own = _samples.find(level);
  return own != _samples.end() ? own->second : none;
}

}  // namespace pass
