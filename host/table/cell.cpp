#include "table/cell.h"

#include <cmath>
#include <cstddef>
#include <system_error>
#include <utility>

#include "table/column.h"

namespace table {
namespace {

bool IsBlank(char byte) { return byte == ' ' || byte == '\t'; }

char Lower(char byte) { return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte; }

}  // namespace

std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

CellReader::CellReader(const Format& format) {
  _options.decimal_point = format.decimal;
  for (const std::string& given : format.missing) {
    std::string token(Trim(given));
    double value = 0.0;
    if (ReadNumber(token, token.data() + token.size(), value) == CellKind::kNumber) _codes.push_back(value);
    std::transform(token.begin(), token.end(), token.begin(), Lower);
    _longestToken = std::max(_longestToken, token.size());
    _tokens.push_back(std::move(token));
  }
}

/// Whether the digits of a number that parsed to zero are all zero, and not just too far below the smallest
/// double.
bool CellReader::IsZero(const char* from, const char* to) {
  for (; from != to && *from != 'e' && *from != 'E'; ++from)
    if (*from >= '1' && *from <= '9') return false;
  return true;
}

/// ReadPlain for all but a short decimal that fills the cell.
const char* CellReader::ReadUnusual(const char* at, const char* stop, const char* end, double& value) const {
  if (stop != at && *stop == '\n' && stop[-1] == '\r') --stop;
  const std::string_view cell(at, static_cast<std::size_t>(stop - at));
  std::string_view content = cell;
  // Quotes around nothing but a number are the cell's own.
  if (content.size() >= 2 && content.front() == '"' && content.back() == '"')
    content = content.substr(1, content.size() - 2);
  content = Trim(content);
  // As a whole it is known to be no short decimal.
  const char* readableEnd = content.size() < cell.size() ? end : stop;
  double parsed = 0.0;
  if (ReadNumber(content, readableEnd, parsed) != CellKind::kNumber || IsCode(parsed)) return nullptr;
  value = parsed;
  return stop;
}

CellKind CellReader::Read(std::string_view content, double& value) const {
  if (IsToken(content)) return CellKind::kAbsent;
  const CellKind kind = ReadNumber(content, content.data() + content.size(), value);
  return kind == CellKind::kNumber && IsCode(value) ? CellKind::kAbsent : kind;
}

bool CellReader::IsMissing(std::string_view content) const {
  if (IsToken(content)) return true;
  double value = 0.0;
  return !_codes.empty() && Read(content, value) == CellKind::kAbsent;
}

bool CellReader::IsToken(std::string_view content) const {
  if (content.size() > _longestToken) return false;
  return std::any_of(_tokens.begin(), _tokens.end(), [&](const std::string& token) {
    return std::equal(token.begin(), token.end(), content.begin(), content.end(),
                      [](char own, char other) { return own == Lower(other); });
  });
}

/// The number that fills `content`, in bytes that are readable up to `end`.
CellKind CellReader::ReadNumber(std::string_view content, const char* end, double& value) const {
  if (!content.empty() && content[0] == '+') {
    content.remove_prefix(1);
    if (!content.empty() && content[0] == '-') return CellKind::kText;
  }
  if (content.empty()) return CellKind::kText;
  const char* begin = content.data();
  const char* contentEnd = begin + content.size();
  if (end - begin >= kShortDecimalReach) {
    const ShortDecimal number = ReadShortDecimal(begin, _options.decimal_point);
    if (number.length == contentEnd - begin) {
      value = number.value;
      return CellKind::kNumber;
    }
  }
  double parsed = 0.0;
  const auto [stop, error] = fast_float::from_chars_advanced(begin, contentEnd, parsed, _options);
  if (error != std::errc() || stop != contentEnd) return CellKind::kText;
  if (std::isnan(parsed)) return CellKind::kNotFinite;
  if (std::isinf(parsed)) {
    // Written out, or the overflow of a number?
    const char first = content[content[0] == '-' ? 1 : 0];
    return first == 'i' || first == 'I' ? CellKind::kNotFinite : CellKind::kOutOfRange;
  }
  if (parsed == kMissing || (parsed == 0.0 && !IsZero(begin, contentEnd))) return CellKind::kOutOfRange;
  value = parsed;
  return CellKind::kNumber;
}

}  // namespace table
