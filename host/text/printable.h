#ifndef HOST_TEXT_PRINTABLE_H
#define HOST_TEXT_PRINTABLE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Text from elsewhere (names, cells, paths), made fit for one line of a terminal.
namespace text {

/// `text` with the bytes of everything that would break a line or a terminal, or turn the direction of what follows,
/// written as escapes: control characters and bytes that are no UTF-8.
std::string Escaped(std::string_view text);

/// `text` escaped and in double quotes, with an ellipsis after about 60 bytes.
std::string Quoted(std::string_view text);

/// "a, b, c": the items, or the first `most` of them and how many more there are.
std::string ListOf(const std::vector<std::string>& items, std::size_t most = 10);

/// Columns that escaped text takes on a terminal: two for the wide characters of East Asia and emoji, none
/// for combining marks.
std::size_t Width(std::string_view text);

/// Bytes of the character at the start of UTF-8 text; 1 where there is none.
std::size_t CharacterLength(std::string_view text);
/// The code point of one character in UTF-8.
std::uint32_t CodePoint(std::string_view character);

/// `text` as UTF-8: itself, or, if it is none, each of its bytes taken as a Latin-1 character, so that names
/// which differ stay different.
std::string AsUtf8(std::string_view text);

}  // namespace text

#endif
