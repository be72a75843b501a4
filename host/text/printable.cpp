#include "text/printable.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace text {
namespace {

constexpr std::size_t kShownBytes = 60;

/// Length of the UTF-8 sequence at the start of `text`, 0 if there is none.
std::size_t SequenceLength(std::string_view text) {
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) return 1;
  const std::size_t length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
  if (lead < 0xc2 || lead > 0xf4 || text.size() < length) return 0;
  for (std::size_t at = 1; at < length; ++at)
    if ((byte(at) & 0xc0) != 0x80) return 0;
  // Overlong forms, surrogates, values past the last code point.
  if ((lead == 0xe0 && byte(1) < 0xa0) || (lead == 0xed && byte(1) > 0x9f) ||
      (lead == 0xf0 && byte(1) < 0x90) || (lead == 0xf4 && byte(1) > 0x8f)) {
    return 0;
  }
  return length;
}

struct Range {
  std::uint32_t first;
  std::uint32_t last;
};

bool IsIn(std::uint32_t point, const auto& ranges) {
  return std::any_of(ranges.begin(), ranges.end(),
                     [&](const Range& range) { return range.first <= point && point <= range.last; });
}

// Control characters, ends of lines and paragraphs, and what turns the direction of the text after it.
constexpr std::array<Range, 6> kControls = {
    {{0x0, 0x1f}, {0x7f, 0x9f}, {0x61c, 0x61c}, {0x200e, 0x200f}, {0x2028, 0x202e}, {0x2066, 0x2069}}};
// The blocks that matter in practice; a character of a rarer one misaligns a line and nothing else.
constexpr std::array<Range, 9> kNoWidth = {{{0x300, 0x36f},
                                            {0x483, 0x489},
                                            {0x591, 0x5bd},
                                            {0x64b, 0x65f},
                                            {0x200b, 0x200d},
                                            {0x2060, 0x2064},
                                            {0x20d0, 0x20ff},
                                            {0xfe00, 0xfe0f},
                                            {0xfeff, 0xfeff}}};
constexpr std::array<Range, 8> kDoubleWidth = {{{0x1100, 0x115f},
                                                {0x2e80, 0xa4cf},
                                                {0xac00, 0xd7a3},
                                                {0xf900, 0xfaff},
                                                {0xfe30, 0xfe6f},
                                                {0xff00, 0xff60},
                                                {0x1f300, 0x1faff},
                                                {0x20000, 0x3fffd}}};

/// Length of the sequence of a printable character at the start of `text`, 0 if there is none.
std::size_t PrintableLength(std::string_view text) {
  const std::size_t length = SequenceLength(text);
  return length == 0 || IsIn(CodePoint(text.substr(0, length)), kControls) ? 0 : length;
}

}  // namespace

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

std::string ListOf(const std::vector<std::string>& items, std::size_t most) {
  std::string list;
  for (std::size_t item = 0; item < std::min(items.size(), most); ++item)
    list += (item == 0 ? "" : ", ") + items[item];
  if (items.size() > most) list += fmt::format(" and {} more", items.size() - most);
  return list;
}

std::size_t Width(std::string_view text) {
  std::size_t width = 0;
  while (!text.empty()) {
    const std::size_t length = CharacterLength(text);
    const std::uint32_t point = CodePoint(text.substr(0, length));
    width += IsIn(point, kNoWidth) ? 0 : IsIn(point, kDoubleWidth) ? 2 : 1;
    text.remove_prefix(length);
  }
  return width;
}

std::size_t CharacterLength(std::string_view text) { return std::max<std::size_t>(SequenceLength(text), 1); }

std::uint32_t CodePoint(std::string_view character) {
  const auto lead = static_cast<unsigned char>(character[0]);
  if (character.size() == 1) return lead;
  std::uint32_t point = lead & (0xffU >> (character.size() + 1));
  for (const char byte : character.substr(1)) point = point << 6 | (static_cast<unsigned char>(byte) & 0x3fU);
  return point;
}

std::string AsUtf8(std::string_view text) {
  for (std::string_view rest = text; !rest.empty();) {
    const std::size_t length = SequenceLength(rest);
    if (length == 0) {
      std::string converted;
      for (const char byte : text) {
        const auto point = static_cast<unsigned char>(byte);
        if (point < 0x80) {
          converted += byte;
        } else {
          converted += static_cast<char>(0xc0 | point >> 6);
          converted += static_cast<char>(0x80 | (point & 0x3f));
        }
      }
      return converted;
    }
    rest.remove_prefix(length);
  }
  return std::string(text);
}

}  // namespace text
