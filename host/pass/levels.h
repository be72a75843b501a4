#ifndef HOST_PASS_LEVELS_H
#define HOST_PASS_LEVELS_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "pass/options.h"
#include "table/table.h"

namespace pass {

class Files;

/// The distinct values of a group column in order, each with its code from 0: numbers by value, so that 1 and
/// 1.0 are one level and -0 is 0, and text by bytes. Whether they are numbers or text is told by the column's
/// kind.
class Levels {
 public:
  /// The given values; repeats fall together.
  explicit Levels(const std::vector<double>& values);
  explicit Levels(const std::vector<std::string>& texts);

  bool AreNumbers() const { return _areNumbers; }
  unsigned int Size() const { return static_cast<unsigned int>(_labels.size()); }
  /// The level as text: for a number the shortest that reads back to it.
  const std::string& Label(unsigned int code) const { return _labels[code]; }

  /// The code of a value; nothing if it is no level.
  std::optional<unsigned int> CodeOf(double value) const;
  std::optional<unsigned int> CodeOf(std::string_view text) const;

 private:
  struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
  };

  bool _areNumbers;
  std::vector<std::string> _labels;
  std::unordered_map<double, unsigned int> _numbers;
  std::unordered_map<std::string, unsigned int, TextHash, std::equal_to<>> _texts;
};

/// The levels that a user lists for a group column. Throws InputError for one that comes twice, is a missing
/// token, or is no number when the column holds numbers.
Levels GivenLevels(const table::Input& input, std::size_t column, const std::vector<std::string>& list);

struct LevelSearch {
  Levels levels;
  bool complete;  ///< false: stopped before the end, there may be more
};

/// Reads the files once, in parallel, for the levels of `columns.group`, which must be set. Rows count whatever
/// their weight and their other columns.
///
/// Throws InputError for more than `mostLevels` levels, without holding many more than that at a time, and
/// for the first fault of the input in file order, be it in another of the chosen columns.
LevelSearch FindLevels(const Files& files, const table::Format& format, const Columns& columns,
                       const Options& options, unsigned int mostLevels);

}  // namespace pass

#endif
