#include "table/cell.h"

#include <cmath>
#include <cstddef>
#include <limits>
#include <system_error>
#include <utility>

#include "table/column.h"

namespace table {
namespace {

char Lower(char byte) { return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte; }

}  // namespace

std::string_view Trim(std::string_view text) {
  constexpr std::string_view kBlanks = " \t";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

CellReader::CellReader(const Format& format) {
  _options.decimal_point = format.decimal;
  for (const std::string& given : format.missing) {
    std::string token(Trim(given));
    double value = 0.0;
    if (ReadNumber(token, value) == CellKind::kNumber) _codes.push_back(value);
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

/// ReadPlain for what is no short decimal.
const char* CellReader::ReadLong(const char* at, const char* stop, double& value) const {
  if (stop != at && *stop == '\n' && stop[-1] == '\r') --stop;
  double parsed = 0.0;
  const auto [numberEnd, error] = fast_float::from_chars_advanced(at, stop, parsed, _options);
  if (error != std::errc() || numberEnd != stop) return nullptr;
  // Infinities, what overflowed to one, the code for missing, and NaN all fail this.
  if (!(std::fabs(parsed) < std::numeric_limits<double>::max())) return nullptr;
  if (parsed == 0.0 && !IsZero(at, stop)) return nullptr;
  if (IsCode(parsed)) return nullptr;
  value = parsed;
  return stop;
}

CellKind CellReader::Read(std::string_view content, double& value) const {
  if (IsToken(content)) return CellKind::kAbsent;
  const CellKind kind = ReadNumber(content, value);
  return kind == CellKind::kNumber && IsCode(value) ? CellKind::kAbsent : kind;
}

bool CellReader::IsMissing(std::string_view content) const {
  if (IsToken(content)) return true;
  double value = 0.0;
  return !_codes.empty() && ReadNumber(content, value) == CellKind::kNumber && IsCode(value);
}

bool CellReader::IsToken(std::string_view content) const {
  if (content.size() > _longestToken) return false;
  return std::any_of(_tokens.begin(), _tokens.end(), [&](const std::string& token) {
    return std::equal(token.begin(), token.end(), content.begin(), content.end(),
                      [](char own, char other) { return own == Lower(other); });
  });
}

CellKind CellReader::ReadNumber(std::string_view content, double& value) const {
  if (!content.empty() && content[0] == '+') {
    content.remove_prefix(1);
    if (!content.empty() && content[0] == '-') return CellKind::kText;
  }
  const char* begin = content.data();
  const char* end = begin + content.size();
  double parsed = 0.0;
  const auto [stop, error] = fast_float::from_chars_advanced(begin, end, parsed, _options);
  if (error != std::errc() || stop != end) return CellKind::kText;
  if (std::isnan(parsed)) return CellKind::kNotFinite;
  if (std::isinf(parsed)) {
    // Written out, or the overflow of a number?
    const char first = content[content[0] == '-' ? 1 : 0];
    return first == 'i' || first == 'I' ? CellKind::kNotFinite : CellKind::kOutOfRange;
  }
  if (parsed == kMissing || (parsed == 0.0 && !IsZero(begin, end))) return CellKind::kOutOfRange;
  value = parsed;
  return CellKind::kNumber;
}

}  // namespace table
