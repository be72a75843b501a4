#ifndef HOST_TABLE_SHORTDECIMAL_H
#define HOST_TABLE_SHORTDECIMAL_H

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace table {

/// Bytes that must be readable for ReadShortDecimal: a sign, eight digits, the decimal sign and sixteen
/// digits.
inline constexpr std::ptrdiff_t kShortDecimalReach = 26;

/// Eight bytes of text as a number, the first byte lowest.
inline std::uint64_t LoadEight(const char* at) {
  std::uint64_t word = 0;
  std::memcpy(&word, at, sizeof word);
  return word;
}

/// How many of the eight bytes, from the first on, are digits.
inline unsigned LeadingDigits(std::uint64_t word) {
  const std::uint64_t digits = word ^ 0x3030303030303030;
  // A byte above nine carries into its own high bit, which is also set where it was in the text.
  const std::uint64_t others =
      (((digits & 0x7f7f7f7f7f7f7f7f) + 0x7676767676767676) | digits) & 0x8080808080808080;
  return static_cast<unsigned>(std::countr_zero(others)) / 8;
}

/// The number that the first `count` (1 to 8) bytes write, all of them digits.
inline std::uint64_t DigitsValue(std::uint64_t word, unsigned count) {
  // Moved to the end, with zeros in front; then neighbours are joined to pairs, pairs to fours, fours to
  // eight.
  std::uint64_t digits = (word - 0x3030303030303030) << (64 - 8 * count);
  digits = digits * 10 + (digits >> 8);
  constexpr std::uint64_t kPairs = 0x000000ff000000ff;
  return ((digits & kPairs) * 0x000f424000000064 + ((digits >> 16) & kPairs) * 0x0000271000000001) >> 32;
}

/// 10^0 to 10^16, exact in both types that it is used with.
template <class T>
constexpr std::array<T, 17> PowersOfTen() {
  std::array<T, 17> powers{1};
  for (std::size_t exponent = 1; exponent < powers.size(); ++exponent)
    powers[exponent] = powers[exponent - 1] * 10;
  return powers;
}

inline constexpr auto kPowers = PowersOfTen<std::uint64_t>();
inline constexpr auto kExactPowers = PowersOfTen<double>();

/// Not within reach of the length of any cell.
inline constexpr std::ptrdiff_t kNoShortDecimal = std::numeric_limits<std::ptrdiff_t>::min() / 2;

struct ShortDecimal {
  double value;
  std::ptrdiff_t length;  ///< in bytes; kNoShortDecimal if there is none, or one too long to be exact
};

/// Reads [-]digits[.digits] with up to 8 and 16 digits.
///
/// The same bits as any correctly rounding reader gives: all digits together are an integer up to 2^53 and
/// the power of ten is one up to 10^16, both exact doubles, so that their quotient is rounded once (Clinger
/// 1990). Digits are taken eight at a time instead of in a loop, because the length of a number is what a
/// processor cannot foresee.
inline ShortDecimal ReadShortDecimal(const char* from, char decimal) {
  constexpr ShortDecimal kNone{0.0, kNoShortDecimal};
  if constexpr (std::endian::native != std::endian::little) return kNone;

  const std::uint64_t negative = *from == '-' ? 1 : 0;
  const char* at = from + negative;
  const std::uint64_t head = LoadEight(at);
  const unsigned wholeDigits = LeadingDigits(head);
  if (wholeDigits == 0) return kNone;
  std::uint64_t digits = DigitsValue(head, wholeDigits);
  at += wholeDigits;
  unsigned decimals = 0;
  if (*at == decimal) {
    const std::uint64_t first = LoadEight(++at);
    decimals = LeadingDigits(first);
    if (decimals == 0) return kNone;
    digits = digits * kPowers[decimals] + DigitsValue(first, decimals);
    at += decimals;
    if (decimals == 8) {
      const std::uint64_t second = LoadEight(at);
      const unsigned more = LeadingDigits(second);
      if (wholeDigits + 8 + more > 19) return kNone;
      if (more > 0) digits = digits * kPowers[more] + DigitsValue(second, more);
      decimals += more;
      at += more;
    }
    if (digits > std::uint64_t{1} << 53) return kNone;
  }
  const double magnitude = static_cast<double>(static_cast<std::int64_t>(digits)) / kExactPowers[decimals];
  return {std::bit_cast<double>(std::bit_cast<std::uint64_t>(magnitude) | negative << 63), at - from};
}

}  // namespace table

#endif
