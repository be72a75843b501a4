#include "pass/cases.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <numeric>
#include <utility>

namespace pass {
namespace {

bool IsText(const Columns& columns, const Levels* levels) {
  return columns.group.has_value() && !levels->AreNumbers();
}

/// The cells to be read as numbers: variables, then the two weights, then the group.
std::vector<std::size_t> Numeric(const Columns& columns, const Levels* levels) {
  std::vector<std::size_t> numeric = columns.variables;
  for (const auto& col : {columns.weight, columns.regWeight})
    if (col) numeric.push_back(*col);
  if (columns.group && !IsText(columns, levels)) numeric.push_back(*columns.group);
  return numeric;
}

}  // namespace

Cases::Cases(const table::Input& input, const Columns& columns, const Options& options,
             const std::vector<double>& origin, const Levels* levels)
    : _parser(input, Numeric(columns, levels),
              IsText(columns, levels) ? columns.group : std::optional<std::size_t>()),
      _origin(origin),
      _levels(levels),
      _listwise(options.missing == Missing::kListwise),
      _wantsExtremes(options.extremes),
      _originStep(origin.size() > columns.variables.size() ? columns.variables.size() : 0),
      _hasWeight(columns.weight.has_value()),
      _hasRegWeight(columns.regWeight.has_value()),
      _row(columns.variables.size()) {
  assert(columns.group.has_value() == (levels != nullptr));
  Clear();
}

void Cases::Clear() {
  _counts.tally = {};
  _counts.tally.lacking.assign(_row.size(), 0);
  if (_levels != nullptr) _counts.tally.groupRows.assign(_levels->Size(), 0);
  const std::size_t levels = _levels != nullptr ? _levels->Size() : 1;
  _counts.spreads.assign(levels * _row.size(), {});
  _open.assign(levels, {});
  _counts.extremes.assign(_wantsExtremes ? levels * _row.size() : 0, {});
}

Counts Cases::TakeCounts() {
  Counts counts = std::move(_counts);
  Clear();
  return counts;
}

bool Cases::Take(std::span<const double> cells, std::optional<std::string_view> text) {
  ++_counts.tally.read;
  if (!TakeWeights(cells) || !TakeGroup(cells, text) || !TakeValues(cells)) return false;
  ++_counts.tally.used;
  if (_levels != nullptr) ++_counts.tally.groupRows[_group];
  TakeSpreads(cells);
  if (_wantsExtremes) {
    Extremes* extremes = _counts.extremes.data() + _group * _row.size();
    for (std::size_t at = 0; at < _row.size(); ++at)
      if (cells[at] != table::kMissing) extremes[at].Take(cells[at]);
  }
  return true;
}

/// Almost every variable needs only the first two or three rows of a chunk.
void Cases::TakeSpreads(std::span<const double> cells) {
  Spread* const spreads = _counts.spreads.data() + _group * _row.size();
  std::vector<std::size_t>& open = _open[_group];
  if (open.empty() && (_levels != nullptr ? _counts.tally.groupRows[_group] : _counts.tally.used) == 1) {
    open.resize(_row.size());
    std::iota(open.begin(), open.end(), std::size_t{0});
  }
  if (open.empty()) return;
  std::erase_if(open, [&](std::size_t at) {
    if (cells[at] != table::kMissing) spreads[at].Take(cells[at]);
    return !spreads[at].IsOpen();
  });
}

bool Cases::TakeWeights(std::span<const double> cells) {
  bool missing = false;
  bool zero = false;
  std::size_t at = _row.size();
  const auto take = [&](double& weight) {
    weight = cells[at];
    missing = missing || weight == table::kMissing;
    zero = zero || weight == 0.0;
    if (weight < 0.0 && weight != table::kMissing) throw _parser.ErrorAt(at, "negative weight");
    ++at;
  };
  if (_hasWeight) take(_weight);
  if (_hasRegWeight) take(_regWeight);
  if (missing) {
    ++_counts.tally.missingWeight;
  } else if (zero) {
    ++_counts.tally.zeroWeight;
  }
  return !missing && !zero;
}

bool Cases::TakeGroup(std::span<const double> cells, std::optional<std::string_view> text) {
  if (_levels == nullptr) return true;
  const bool missing = _levels->AreNumbers() ? cells.back() == table::kMissing : !text.has_value();
  if (missing) {
    ++_counts.tally.missingGroup;
    return false;
  }
  const std::optional<unsigned int> code =
      _levels->AreNumbers() ? _levels->CodeOf(cells.back()) : _levels->CodeOf(*text);
  if (code) {
    _group = *code;
    return true;
  }
  if (_levels->AreAll()) {
    const std::string reason = "value was not there in the first pass: the file has changed";
    throw _levels->AreNumbers() ? _parser.ErrorAt(cells.size() - 1, reason) : _parser.ErrorAtText(reason);
  }
  ++_counts.tally.otherGroup;
  return false;
}

bool Cases::TakeValues(std::span<const double> cells) {
  // A count and plain pointers, so that the compiler takes several cells at a time.
  const std::size_t size = _row.size();
  const double* const values = cells.data();
  const double* const origin = _origin.data() + _group * _originStep;
  double* const row = _row.data();
  std::uint64_t lacking = 0;
  for (std::size_t at = 0; at < size; ++at) {
    lacking += values[at] == table::kMissing ? 1 : 0;
    row[at] = values[at] - origin[at];
  }
  if (lacking == 0) return true;
  for (std::size_t at = 0; at < _row.size(); ++at) {
    if (cells[at] != table::kMissing) continue;
    ++_counts.tally.lacking[at];
    _row[at] = table::kMissing;
  }
  if (_listwise) ++_counts.tally.missingValue;
  return !_listwise;
}

}  // namespace pass
