#ifndef HOST_PASS_PERLEVEL_H
#define HOST_PASS_PERLEVEL_H

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "vexa/databatch.h"

namespace pass {

/// An accumulator for each level of the groups, over the rows of that level in their order. Batches must have group
/// codes, all below the number of levels.
template <class Accumulator>
class PerLevel {
 public:
  PerLevel(std::size_t levels, const std::function<std::unique_ptr<Accumulator>()>& fresh) {
    for (std::size_t level = 0; level < levels; ++level) _accumulators.push_back(fresh());
  }

  const Accumulator& At(std::size_t level) const { return *_accumulators[level]; }

  PerLevel& operator+=(vexa::DataBatch& batch) {
    std::vector<std::vector<unsigned int>> rows(_accumulators.size());
    for (unsigned int row = 0; row < batch.NRows(); ++row) rows[batch.Groups()[row]].push_back(row);
    double weight = 1.0;
    double regWeight = 1.0;
    vexa::DataBatch own(batch.NColumns(), batch.MaxRows(), batch.Weights() != nullptr ? &weight : nullptr,
                        batch.HasRegWeights() ? &regWeight : nullptr, nullptr);
    std::vector<double> values(batch.NColumns());
    for (std::size_t level = 0; level < rows.size(); ++level) {
      own.Clear();
      for (const unsigned int row : rows[level]) {
        if (batch.Weights() != nullptr) weight = batch.Weights()[row];
        if (batch.HasRegWeights()) regWeight = batch.RegWeights()[row];
        for (unsigned int col = 0; col < batch.NColumns(); ++col) values[col] = batch.Column(col)[row];
        own.AddRow(values.data());
      }
      *_accumulators[level] += own;
    }
    return *this;
  }

  PerLevel& operator+=(PerLevel& other) {
    for (std::size_t level = 0; level < _accumulators.size(); ++level)
      *_accumulators[level] += *other._accumulators[level];
    return *this;
  }

 private:
  std::vector<std::unique_ptr<Accumulator>> _accumulators;
};

}  // namespace pass

#endif
