#ifndef HOST_PASS_LEVELS_H
#define HOST_PASS_LEVELS_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "table/table.h"

namespace pass {

/// Lets a container of strings be asked for a text that is none.
struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
};

/// The distinct values of a group column in order, each with its code from 0: numbers by value, so that 1 and
/// 1.0 are one level and -0 is 0, and text by bytes. Whether they are numbers or text is told by the column's
/// kind.
class Levels {
 public:
  /// The given values; repeats fall together. `areAll`: no other value can come up in the input.
  explicit Levels(std::vector<double> values, bool areAll = false);
  explicit Levels(std::vector<std::string> texts, bool areAll = false);

  bool AreNumbers() const { return _areNumbers; }
  bool AreAll() const { return _areAll; }
  unsigned int Size() const { return static_cast<unsigned int>(_labels.size()); }
  /// What to subtract from the values before they are summed, level by level that of each variable; empty unless known.
  const std::vector<double>& Origins() const { return _origins; }
  void SetOrigins(std::vector<double> origins) { _origins = std::move(origins); }
  /// The level as text: for a number the shortest that reads back to it.
  const std::string& Label(unsigned int code) const { return _labels[code]; }

  /// The code of a value; nothing if it is no level.
  std::optional<unsigned int> CodeOf(double value) const;
  std::optional<unsigned int> CodeOf(std::string_view text) const;

 private:
  bool _areNumbers;
  bool _areAll;
  std::vector<std::string> _labels;
  std::unordered_map<double, unsigned int> _numbers;
  std::unordered_map<std::string, unsigned int, TextHash, std::equal_to<>> _texts;
  std::vector<double> _origins;
};

/// The levels that a user lists for a group column. Throws InputError for one that comes twice, is a missing
/// token, or is no number when the column holds numbers.
Levels GivenLevels(const table::Input& input, std::size_t column, const std::vector<std::string>& list);

}  // namespace pass

#endif
