#include "table/column.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>
#include <unordered_map>

#include "table/cell.h"
#include "table/inputerror.h"
#include "table/rowsplitter.h"
#include "text/printable.h"

namespace table {
namespace {

class Finder {
 public:
  explicit Finder(const std::vector<Column>& columns) : _columns(columns) {
    for (std::size_t col = 0; col < columns.size(); ++col) _byName.emplace(columns[col].name, col);
  }

  std::optional<std::size_t> ByName(std::string_view name) const {
    const auto found = _byName.find(name);
    if (found == _byName.end()) return {};
    return found->second;
  }

  /// A name that differs in the case of letters, or in what stands between them, alone; null if there is none.
  const std::string* SimilarName(std::string_view name) const {
    const std::string essence = Essence(name);
    for (const Column& column : _columns)
      if (!essence.empty() && Essence(column.name) == essence) return &column.name;
    return nullptr;
  }

  std::optional<std::size_t> ByNameOrPosition(std::string_view text) const {
    if (const auto named = ByName(text)) return named;
    std::size_t position = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), position);
    if (error != std::errc() || stop != text.data() + text.size() || position == 0 ||
        position > _columns.size())
      return {};
    return position - 1;
  }

 private:
  /// Letters and digits in lower case; of other alphabets, all bytes.
  static std::string Essence(std::string_view name) {
    std::string essence;
    for (const char byte : name) {
      const bool isUpper = byte >= 'A' && byte <= 'Z';
      const bool isPlain = (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9');
      if (isUpper || isPlain || static_cast<unsigned char>(byte) >= 0x80)
        essence += isUpper ? static_cast<char>(byte - 'A' + 'a') : byte;
    }
    return essence;
  }

  const std::vector<Column>& _columns;
  std::unordered_map<std::string_view, std::size_t> _byName;
};

struct Range {
  std::size_t first;
  std::size_t last;
};

/// The columns that `item` names. A name may hold a colon itself: the whole item as a name comes first, and
/// then the first colon with a known column on both sides.
Range Find(const Finder& finder, std::string_view item, std::size_t columns) {
  if (const auto single = finder.ByNameOrPosition(item)) return {*single, *single};
  for (std::size_t colon = item.find(':'); colon != std::string_view::npos;
       colon = item.find(':', colon + 1)) {
    const auto first = finder.ByNameOrPosition(Trim(item.substr(0, colon)));
    const auto last = finder.ByNameOrPosition(Trim(item.substr(colon + 1)));
    if (!first || !last) continue;
    if (*last < *first) throw InputError("range of columns runs backwards", {}, item);
    return {*first, *last};
  }
  std::string reason = fmt::format("is not among the {} columns of the input", columns);
  if (const std::string* similar = finder.SimilarName(item))
    reason += fmt::format("; did you mean {}?", text::Escaped(*similar));
  throw InputError(reason, {.column = std::string(item)});
}

}  // namespace

std::vector<std::size_t> SelectColumns(const std::vector<Column>& columns, const std::string& list) {
  const Finder finder(columns);
  std::vector<std::size_t> selected;
  std::vector<bool> taken(columns.size());
  RowSplitter splitter(',');
  for (const std::string_view cell : splitter.Split(list)) {
    if (Trim(cell).empty()) throw InputError("list of columns with an empty item", {}, list);
    const Range range = Find(finder, Trim(cell), columns.size());
    for (std::size_t col = range.first; col <= range.last; ++col) {
      if (taken[col]) throw InputError("is chosen twice", {.column = columns[col].name});
      taken[col] = true;
      selected.push_back(col);
    }
  }
  return selected;
}

}  // namespace table
