#include "pass/levelsamples.h"

#include <cstddef>
#include <utility>

#include "pass/origin.h"

namespace pass {
namespace {

constexpr std::size_t kMostRows = 1'000;

}  // namespace

LevelSamples::LevelSamples(const table::Input& input, const Columns& columns, const Options& options,
                           const Levels& levels)
    : _unmoved(columns.variables.size()), _cases(input, columns, options, _unmoved, &levels) {}

void LevelSamples::Take(const table::Chunk& chunk) {
  _cases.ForEach(chunk, [&](const double* values) {
    std::vector<std::vector<double>>& own = _samples[*_cases.Group()];
    own.resize(_unmoved.size());
    for (std::size_t at = 0; at < own.size(); ++at)
      if (own[at].size() < kMostRows && values[at] != table::kMissing) own[at].push_back(values[at]);
  });
}

std::vector<double> LevelSamples::TakeOrigins(unsigned int level) {
  std::vector<double> origins;
  const auto own = _samples.find(level);
  if (own == _samples.end()) return origins;
  for (std::vector<double>& sample : own->second) origins.push_back(Origin(std::move(sample)));
  _samples.erase(own);
  return origins;
}

}  // namespace pass
