#include "table/inputerror.h"

#include <fmt/format.h>

#include <cstddef>
#include <utility>

namespace table {
namespace {

constexpr std::size_t kShownBytes = 60;

/// Length of the UTF-8 sequence of a printable character at the start of `text`, 0 if there is none.
std::size_t PrintableLength(std::string_view text) {
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) return lead >= 0x20 && lead != 0x7f ? 1 : 0;
  const std::size_t length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
  if (lead < 0xc2 || lead > 0xf4 || text.size() < length) return 0;
  for (std::size_t at = 1; at < length; ++at)
    if ((byte(at) & 0xc0) != 0x80) return 0;
  // Overlong forms, surrogates, values past the last code point, and the second block of control characters.
  if ((lead == 0xe0 && byte(1) < 0xa0) || (lead == 0xed && byte(1) > 0x9f) ||
      (lead == 0xf0 && byte(1) < 0x90) || (lead == 0xf4 && byte(1) > 0x8f) ||
      (lead == 0xc2 && byte(1) < 0xa0)) {
    return 0;
  }
  return length;
}

/// `text` with everything that would break a line or a terminal written as an escape.
std::string Escaped(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    const std::size_t length = PrintableLength(text);
    if (length > 0) {
      shown += text.substr(0, length);
    } else if (text[0] == '\n') {
      shown += "\\n";
    } else if (text[0] == '\r') {
      shown += "\\r";
    } else if (text[0] == '\t') {
      shown += "\\t";
    } else {
      shown += fmt::format("\\x{:02x}", static_cast<unsigned char>(text[0]));
    }
    text.remove_prefix(length > 0 ? length : 1);
  }
  return shown;
}

std::string Describe(const std::string& reason, const Place& place, const std::string& tail) {
  std::string line;
  if (!place.file.empty()) line += Escaped(place.file) + ':';
  if (place.line != 0) line += fmt::format("{}:", place.line);
  if (!line.empty()) line += ' ';
  if (!place.column.empty()) line += "column " + Escaped(place.column) + ": ";
  return line + reason + tail;
}

}  // namespace

InputError::InputError(const std::string& reason, Place place)
    : std::runtime_error(Describe(reason, place, "")), _reason(reason), _place(std::move(place)) {}

InputError::InputError(const std::string& reason, Place place, std::string_view text)
    : std::runtime_error(Describe(reason, place, ": " + Quoted(text))),
      _reason(reason),
      _place(std::move(place)),
      _text(text) {}

std::string Quoted(std::string_view text) {
  const bool cut = text.size() > kShownBytes;
  std::string_view shown = text.substr(0, kShownBytes);
  // A character that the cut went through goes whole.
  if (cut) {
    std::size_t start = shown.size() - 1;
    while (start > 0 && shown.size() - start < 4 && (static_cast<unsigned char>(shown[start]) & 0xc0) == 0x80)
      --start;
    const bool lead = static_cast<unsigned char>(shown[start]) >= 0xc0;
    if (lead && PrintableLength(shown.substr(start)) != shown.size() - start)
      shown.remove_suffix(shown.size() - start);
  }
  return '"' + Escaped(shown) + (cut ? "…\"" : "\"");
}

}  // namespace table
