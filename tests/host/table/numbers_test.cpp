// The double of a cell against the C library's, over all shapes of decimal numbers.

#include <cmath>
#include <random>

#include "host/table/reading.h"

namespace table_test {
namespace {

using table::Chunk;
using table::Format;
using table::Input;
using table::RowParser;

/// Reads texts as the cells of a one-column file.
std::vector<double> ReadNumbers(const std::vector<std::string>& texts, const Format& format) {
  const TempFile file(fmt::format("x\n{}\n", fmt::join(texts, "\n")));
  Input input({file.Path()}, format);
  RowParser parser(input, {0});
  std::vector<double> values;
  for (Chunk chunk; input.Next(chunk, 4096);)
    parser.ForEachRow(chunk, [&](std::span<const double> row, auto) { values.push_back(row[0]); });
  return values;
}

TEST(Numbers, EveryShapeIsRoundedLikeTheLibraryDoes) {
  std::mt19937_64 random(7);
  const auto below = [&](std::size_t bound) {
    return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random);
  };
  const auto digits = [&](std::size_t count) {
    std::string text;
    while (count-- > 0) text += static_cast<char>('0' + below(10));
    return text;
  };
  std::vector<std::string> texts = Split(
      "9007199254740992|18446744.073709551617|0E5|9007199254740993|90071992.54740993|0.9007199254740993|"
      "4503599627370497.5|90071992.547409931|-0|-0.0|99999999.9999999999|00000000.0000000000000001|12345678|"
      "123456789");
  texts.push_back(std::string(10000, '3') + "e-9990");
  texts.push_back("0." + std::string(300, '0') + std::string(10000, '7'));
  // Every number of digits before and after the point around the limits of the short form; exponents;
  // shortest texts.
  for (std::size_t shape = 1; shape < 21 * 21; ++shape) {
    const std::size_t whole = shape / 21;
    const std::size_t decimals = shape % 21;
    for (int repeat = 0; repeat < 20; ++repeat) {
      const char* point = decimals > 0 || repeat % 5 == 0 ? "." : "";
      texts.push_back(
          fmt::format("{}{}{}{}", repeat % 2 == 0 ? "-" : "", digits(whole), point, digits(decimals)));
      if (repeat % 4 == 0) texts.back() += fmt::format("e{}", static_cast<int>(below(520)) - 260);
    }
  }
  for (int repeat = 0; repeat < 20000; ++repeat) {
    const double value = std::ldexp(static_cast<double>(random() >> 11), static_cast<int>(below(160)) - 130);
    texts.push_back(repeat % 2 == 0 ? fmt::format("{}", value) : fmt::format("{:.6g}", value));
  }
  for (const char decimal : {'.', ','}) {
    std::vector<std::string> written = texts;
    for (std::string& text : written) std::replace(text.begin(), text.end(), '.', decimal);
    const std::vector<double> values = ReadNumbers(written, {.delimiter = ';', .decimal = decimal});
    ASSERT_EQ(values.size(), texts.size());
    for (std::size_t at = 0; at < texts.size(); ++at) {
      const double expected = std::strtod(texts[at].c_str(), nullptr);
      ASSERT_EQ(std::bit_cast<std::uint64_t>(values[at]), std::bit_cast<std::uint64_t>(expected))
          << written[at];
    }
  }
}

TEST(Numbers, MissingTokensAreTextsOrNumbers) {
  Format format;
  format.missing = {"-99", "n/a", "1e3"};
  const std::vector<double> values =
      ReadNumbers({"-99", "-99.00", "N/A", " n/a ", "1000", "\"-9.9e1\"", "99"}, format);
  EXPECT_EQ(std::count(values.begin(), values.end(), table::kMissing), 6);
  EXPECT_EQ(values.back(), 99.0);
}

}  // namespace
}  // namespace table_test
