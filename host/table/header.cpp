#include "table/header.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>

#include "table/cell.h"
#include "table/inputerror.h"
#include "table/quoting.h"
#include "table/rowsplitter.h"
#include "text/printable.h"

namespace table {
namespace {

/// The row of a chunk that holds just one, without its newline.
std::string_view OnlyRow(const Chunk& chunk) {
  std::string_view row = chunk.bytes;
  row.remove_suffix(row.ends_with("\r\n") ? 2 : 1);
  return row;
}

}  // namespace

std::string DelimiterCandidates(const Format& format) {
  // The rarest in the text of a header come first: a tab-separated file may well have "Weight, kg" as a name.
  std::string candidates = "\t;,|";
  std::erase(candidates, format.decimal);
  return candidates;
}

char DetectDelimiter(std::string_view row, const std::string& candidates) {
  // The delimiter is not known yet, so a quote opens a cell behind any of them.
  std::string unquoted;
  bool quoted = false;
  bool opens = true;  // a quote here does: it is the first byte of a cell, or doubles the one before
  for (const char byte : row) {
    if (byte == '"' && (quoted || opens)) {
      opens = quoted;
      quoted = !quoted;
    } else if (!quoted) {
      unquoted += byte;
      opens = candidates.find(byte) != std::string::npos;
    }
  }
  for (const char candidate : candidates)
    if (unquoted.find(candidate) != std::string::npos) return candidate;
  return 0;
}

std::string StandInName(std::size_t number) { return fmt::format("V{}", number); }

std::vector<std::string> ReadHeader(const Chunk& header, const std::string& file, char delimiter) {
  const std::string_view row = OnlyRow(header);
  const Place place{.file = file, .line = header.firstLine};
  if (row.find('\0') != std::string_view::npos)
    throw InputError("NUL byte in the header: this is no text file, or its encoding is UTF-16", place, row);
  if (row.find('\r') != std::string_view::npos)
    throw InputError("carriage return in the header: lines must end in a newline", place, row);

  const char* end = header.bytes.data() + header.bytes.size();
  for (const char* at = header.bytes.data();;) {
    const RawCell cell = ReadRawCell(at, end, delimiter);
    if (cell.broken) throw InputError("text after the closing quote", place, {at, cell.stop});
    if (AtRowEnd(cell.stop)) break;
    at = cell.stop + 1;
  }

  std::vector<std::string> names;
  std::unordered_map<std::string, std::size_t> positions;
  RowSplitter splitter(delimiter);
  for (const std::string_view cell : splitter.Split(row)) {
    names.emplace_back(Trim(cell));
    const std::string name = names.back().empty() ? StandInName(names.size()) : names.back();
    const auto [earlier, isNew] = positions.emplace(name, names.size());
    if (!isNew) {
      throw InputError(fmt::format("columns {} and {} have the same name", earlier->second, names.size()),
                       place, name);
    }
  }
  return names;
}

void CheckSameHeader(const std::vector<std::string>& found, const Chunk& header, const std::string& file,
                     const std::vector<std::string>& expected, const std::string& firstFile) {
  const Place place{.file = file, .line = header.firstLine};
  const auto [own, other] = std::mismatch(found.begin(), found.end(), expected.begin(), expected.end());
  if (own != found.end() && other != expected.end()) {
    throw InputError(fmt::format("column {} of the header is {}, but {} in {}", own - found.begin() + 1,
                                 text::Quoted(*own), text::Quoted(*other), firstFile),
                     place);
  }
  if (found.size() != expected.size()) {
    throw InputError(
        fmt::format("the header has {} columns, but {} in {}", found.size(), expected.size(), firstFile),
        place);
  }
}

}  // namespace table
