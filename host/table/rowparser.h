#ifndef HOST_TABLE_ROWPARSER_H
#define HOST_TABLE_ROWPARSER_H

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "table/chunk.h"
#include "table/input.h"
#include "table/inputerror.h"

namespace table {

/// Turns chunks into rows of chosen columns. One per thread.
class RowParser {
 public:
  /// `numeric`: columns to be read as numbers, in any order, repeats allowed. `text`: one to be read as it
  /// stands; it may be one of the numeric ones. `input` must outlive the parser.
  RowParser(const Input& input, std::vector<std::size_t> numeric, std::optional<std::size_t> text = {});
  ~RowParser();

  /// Calls row(values, text) for each row of the chunk in order.
  ///
  /// `values`, a std::span<const double>: values[i] is the i-th chosen numeric column, kMissing where
  /// missing. `text`, a std::optional<std::string_view>: the chosen text cell without its quotes and the
  /// blanks around it, nothing where it is missing. Both are valid during the call.
  ///
  /// Throws InputError for the first ragged row or bad cell: not a number, infinite, out of range.
  template <class F>
  void ForEachRow(const Chunk& chunk, F&& row);

  /// Reads every row through the CSV library from now on, instead of only those that cannot be read in place:
  /// slow, for comparing the two.
  void SplitEveryRow();

  /// An error about the row that ForEachRow has in hand, placed at its i-th chosen numeric column, for the
  /// callback to throw.
  InputError ErrorAt(std::size_t numeric, const std::string& reason) const;
  /// The same, placed at the chosen text column.
  InputError ErrorAtText(const std::string& reason) const;

 private:
  void Begin(const Chunk& chunk);
  bool ReadRow();

  std::vector<double> _values;
  std::optional<std::string_view> _text;
  class State;
  std::unique_ptr<State> _state;
};

template <class F>
void RowParser::ForEachRow(const Chunk& chunk, F&& row) {
  Begin(chunk);
  while (ReadRow()) row(std::span<const double>(_values), std::optional<std::string_view>(_text));
}

}  // namespace table

#endif
