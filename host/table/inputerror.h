#ifndef HOST_TABLE_INPUTERROR_H
#define HOST_TABLE_INPUTERROR_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace table {

/// Where in the input something is; what is not known stays empty or 0.
struct Place {
  std::string file = {};
  std::uint64_t line = 0;  ///< from 1
  std::string column = {};
};

/// Bad input, located as far as known.
///
/// what() is one line, FILE:LINE: column NAME: reason: "text", without the parts that do not exist. Control
/// characters and bytes that are no UTF-8 are shown as escapes, long texts are cut.
class InputError : public std::runtime_error {
 public:
  explicit InputError(const std::string& reason, Place place = {});
  InputError(const std::string& reason, Place place, std::string_view text);

  const std::string& Reason() const { return _reason; }
  const std::string& File() const { return _place.file; }
  std::uint64_t Line() const { return _place.line; }
  const std::string& Column() const { return _place.column; }
  /// The offending bytes as they stand in the input.
  const std::string& Text() const { return _text; }

 private:
  std::string _reason;
  Place _place;
  std::string _text;
};

}  // namespace table

#endif
