#ifndef HOST_TABLE_ROWSPLITTER_H
#define HOST_TABLE_ROWSPLITTER_H

#include <csv.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace table {

/// Splits a row into the contents of its cells through the CSV library: slower than reading in place, for the
/// rows that need it, and the second opinion that the tests compare with.
class RowSplitter {
 public:
  explicit RowSplitter(char delimiter);
  ~RowSplitter() { csv_free(&_parser); }
  RowSplitter(const RowSplitter&) = delete;
  RowSplitter& operator=(const RowSplitter&) = delete;

  /// The cells of `row`, which comes without its newline; valid until the next call. Cells must not be
  /// broken: the library would take what follows a closing quote for more of the quoted text.
  const std::vector<std::string_view>& Split(std::string_view row);

 private:
  csv_parser _parser{};
  std::string _text;
  std::vector<std::size_t> _ends;
  std::vector<std::string_view> _cells;
};

}  // namespace table

#endif
