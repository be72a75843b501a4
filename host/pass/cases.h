#ifndef HOST_PASS_CASES_H
#define HOST_PASS_CASES_H

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "pass/levels.h"
#include "pass/options.h"
#include "pass/tally.h"
#include "table/table.h"

namespace pass {

/// Turns the rows of chunks into cases for a batch: applies the row policy, counts, finds the group's code and moves
/// the origin. One per thread.
class Cases {
 public:
  /// `origin` is that of each variable, or level by level those of its own; it and `levels` (null without groups)
  /// must outlive this object, as must the input.
  Cases(const table::Input& input, const Columns& columns, const Options& options,
        const std::vector<double>& origin, const Levels* levels);

  /// Calls use(values) for each row of the chunk that is used, in order: one value for each variable, less its
  /// origin, or table::kMissing. Weight, RegWeight and Group hold the row's during the call.
  ///
  /// Throws InputError for the first bad cell, negative weights included, and for a group that is no level though
  /// the levels are said to be all there are.
  template <class F>
  void ForEach(const table::Chunk& chunk, F&& use);

  /// Addresses for the batch; null for what the rows do not carry.
  const double* Weight() const { return _hasWeight ? &_weight : nullptr; }
  const double* RegWeight() const { return _hasRegWeight ? &_regWeight : nullptr; }
  const unsigned int* Group() const { return _levels != nullptr ? &_group : nullptr; }

  /// What was counted since the last call.
  Counts TakeCounts();

 private:
  void Clear();
  /// Whether the row is used; if so, `_row` and the variables behind the addresses are its.
  bool Take(std::span<const double> cells, std::optional<std::string_view> text);
  bool TakeWeights(std::span<const double> cells);
  bool TakeGroup(std::span<const double> cells, std::optional<std::string_view> text);
  bool TakeValues(std::span<const double> cells);
  void TakeSpreads(std::span<const double> cells);

  table::RowParser _parser;
  const std::vector<double>& _origin;
  const Levels* _levels;
  const bool _listwise;
  const bool _wantsExtremes;
  const std::size_t _originStep;  // from the origins of a level to those of the next
  const bool _hasWeight;
  const bool _hasRegWeight;
  std::vector<double> _row;
  double _weight = 1.0;
  double _regWeight = 1.0;
  unsigned int _group = 0;
  Counts _counts;
  std::vector<std::vector<std::size_t>>
      _open;  // of each level, the variables whose spread may still become larger
};

template <class F>
void Cases::ForEach(const table::Chunk& chunk, F&& use) {
  _parser.ForEachRow(chunk, [&](std::span<const double> cells, std::optional<std::string_view> text) {
    if (Take(cells, text)) use(static_cast<const double*>(_row.data()));
  });
}

}  // namespace pass

#endif
