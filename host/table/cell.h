#ifndef HOST_TABLE_CELL_H
#define HOST_TABLE_CELL_H

#include <fast_float/fast_float.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "table/format.h"
#include "table/quoting.h"
#include "table/shortdecimal.h"

namespace table {

/// What the content of a cell is.
enum class CellKind {
  kNumber,
  kAbsent,  ///< a missing token
  kText,
  kOutOfRange,  ///< a number that no double is near: too large, too small, or the code for missing
  kNotFinite,   ///< a literal infinity or NaN
};

/// `text` without the spaces and tabs around it.
std::string_view Trim(std::string_view text);

/// Reads cells: decimal numbers with an optional sign and exponent, missing tokens, text.
class CellReader {
 public:
  explicit CellReader(const Format& format);

  /// The kind of a trimmed cell; sets `value` if it is a number.
  CellKind Read(std::string_view content, double& value) const;
  bool IsMissing(std::string_view content) const;

  /// Reads the cell at `at`, in rows that end at `end` with a newline, straight from the row: sets `value`
  /// and returns where the cell stops if it is nothing but a usable number, else returns nullptr and Read has
  /// to look at it.
  const char* ReadPlain(const char* at, const char* end, char delimiter, double& value) const;

 private:
  bool IsToken(std::string_view content) const;
  CellKind ReadNumber(std::string_view content, const char* end, double& value) const;
  const char* ReadUnusual(const char* at, const char* stop, const char* end, double& value) const;
  static bool IsZero(const char* from, const char* to);
  bool IsCode(double value) const { return std::find(_codes.begin(), _codes.end(), value) != _codes.end(); }

  fast_float::parse_options _options;
  std::vector<std::string> _tokens;  // lower case
  std::size_t _longestToken = 0;
  std::vector<double> _codes;  // the tokens that are numbers
};

inline const char* CellReader::ReadPlain(const char* at, const char* end, char delimiter,
                                         double& value) const {
  // The stop is found apart from the number, so that the next cell does not wait for this one's digits. It is
  // the lengths that are compared: of two equal pointers the compiler would go on with either.
  const char* stop = FindEither(at, end, delimiter, '\n');
  if (end - at < kShortDecimalReach || !_codes.empty()) return ReadUnusual(at, stop, end, value);
  const ShortDecimal number = ReadShortDecimal(at, _options.decimal_point);
  const std::ptrdiff_t rest = stop - at - number.length;
  if (rest != 0) {
    if (rest != 1 || !AtRowEnd(stop - 1)) return ReadUnusual(at, stop, end, value);
    --stop;
  }
  value = number.value;
  return stop;
}

}  // namespace table

#endif
