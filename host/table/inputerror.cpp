#include "table/inputerror.h"

#include <fmt/format.h>

#include <utility>

#include "text/printable.h"

namespace table {
namespace {

std::string Describe(const std::string& reason, const Place& place, const std::string& tail) {
  std::string line;
  if (!place.file.empty()) line += text::Escaped(place.file) + ':';
  if (place.line != 0) line += fmt::format("{}:", place.line);
  if (!line.empty()) line += ' ';
  if (!place.column.empty()) line += "column " + text::Escaped(place.column) + ": ";
  return line + reason + tail;
}

}  // namespace

InputError::InputError(const std::string& reason, Place place)
    : std::runtime_error(Describe(reason, place, "")), _reason(reason), _place(std::move(place)) {}

InputError::InputError(const std::string& reason, Place place, std::string_view text)
    : std::runtime_error(Describe(reason, place, ": " + text::Quoted(text))),
      _reason(reason),
      _place(std::move(place)),
      _text(text) {}

}  // namespace table
