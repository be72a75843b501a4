// What is wrong with an input, and how little it takes to say so.

#include "host/table/reading.h"

namespace table_test {
namespace {

using table::Chunk;
using table::Format;
using table::Input;
using table::InputError;

/// The error of reading the first column as a number and the last as text, without the file's name.
std::string ErrorOf(const std::string& bytes, const Format& format = {}) {
  const TempFile file(bytes);
  try {
    Input input({file.Path()}, format);
    const Outcome outcome = ReadRows(input, {.numeric = {0}, .text = input.Columns().size() - 1});
    if (outcome.error.empty()) return fmt::format("{} rows", outcome.rows.size());
    return outcome.error.substr(file.Path().size());
  } catch (const InputError& error) {
    return std::string(error.what()).substr(file.Path().size());
  }
}

TEST(Errors, NameTheirPlace) {
  using namespace std::string_literals;
  const std::string twelve(12, '0');
  const struct {
    std::string bytes;
    std::string error;
  } cases[] = {
      {"", ": is empty"},
      {"\n \r\n", ": is empty"},
      {"\xef\xbb\xbf", ": is empty"},
      {"a,b\n", "0 rows"},
      {"a,b", "0 rows"},
      {"\n\na,,c\n1,2,3\n", ":3: column 2 has no name"},
      {"a,b, a \n", ":1: columns 1 and 3 have the same name: \"a\""},
      {"a,\"b\"c\n", ":1: text after the closing quote: \"\"b\"c\""},
      {"a,b\r1,2\r", ":1: carriage return in the header: lines must end in a newline: \"a,b\\r1,2\""},
      {"\xff\xfe"
       "a\0,\0b\0\n\0"s,
       ": is UTF-16 text: convert it to UTF-8 first"},
      {"\0PNG\n"s,
       ":1: NUL byte in the header: this is no text file, or its encoding is UTF-16: \"\\x00PNG\""},
      {"a,b\n1,x\n2\n", ":3: row of 1 cells where there are 2 columns"},
      {"a,b\n1,x\n\n2,\"\n\"\n3,4,5\n", ":6: row of 3 cells where there are 2 columns"},
      {"a,b\n1,x\nyes,no,2\n", ":3: row of 3 cells where there are 2 columns"},
      {"a,b\n1,\"\n\"\n\n\n\"two\",x\n", ":6: column a: not a number: \"two\""},
      {"a,b\n1e999,x\n", ":2: column a: number out of range: \"1e999\""},
      {"a,b\n-1.7976931348623157e308,x\n", ":2: column a: number out of range: \"-1.7976931348623157e308\""},
      {"a,b\n1e-999,x\n", ":2: column a: number out of range: \"1e-999\""},
      {"a,b\n-inf,x\n", ":2: column a: not a finite number: \"-inf\""},
      {"a,b\n1,x\n1,\"x\ny\n", ":3: quote is never closed"},
      {"a,b\n1\r2,x\n", ":2: column a: not a number: \"1\\r2\""},
      {"a,b\n\x1b[31m\xff,x\n", ":2: column a: not a number: \"\\x1b[31m\\xff\""},
      {"a,b\né€😀\xe0\x80\xaf\xed\xa0\x80\xf4\x90\x80\x80\xc2\x9b\xc1\xbf\xe2\x82,x\n",
       ":2: column a: not a number: "
       "\"é€😀\\xe0\\x80\\xaf\\xed\\xa0\\x80\\xf4\\x90\\x80\\x80\\xc2\\x9b\\xc1\\xbf\\xe2\\x82\""},
      {"a,b\n" + twelve + twelve + twelve + twelve + twelve + "x,y\n",
       ":2: column a: not a number: \"" + twelve + twelve + twelve + twelve + twelve + "…\""},
  };
  for (const auto& [bytes, error] : cases) EXPECT_EQ(ErrorOf(bytes), error) << testing::PrintToString(bytes);
  EXPECT_EQ(ErrorOf("a,b\nNaN,x\n", {.missing = {}}), ":2: column a: not a finite number: \"NaN\"");
  EXPECT_EQ(ErrorOf("a,b\n,x\n", {.missing = {}}), ":2: column a: empty cell: \"\"");
}

TEST(Errors, FirstOneInTheFileCounts) {
  // The bad cell stands before the quote that the reading stumbles over, in the same chunk and in the head.
  EXPECT_EQ(ErrorOf("a,b\n1,x\n1e999,x\n3,\"x\n"), ":3: column a: number out of range: \"1e999\"");
  const TempFile first("a,b\n1,2\n1e999,3\n");
  const TempFile other("a,c\n1,2\n");
  Input input({first.Path(), other.Path()});
  EXPECT_EQ(ReadRows(input, {.numeric = {0}}).error,
            first.Path() + ":3: column a: number out of range: \"1e999\"");
}

TEST(Errors, FilesThatCannotBeRead) {
  const auto errorOf = [](const std::vector<std::string>& paths) {
    try {
      Input input(paths);
      return ReadRows(input, {.numeric = {0}}).error;
    } catch (const InputError& error) {
      return std::string(error.what());
    }
  };
  const TempFile good("a,b\n1,2\n");
  const TempFile other("\n\na,\"c\"\n1,2\n");
  const TempFile longer("a,b,c\n1,2,3\n");
  const TempFile empty("");
  EXPECT_EQ(errorOf({good.Path(), "/no/such"}), "/no/such: cannot be opened: No such file or directory");
  EXPECT_EQ(errorOf({good.Path(), "/"}), "/: is a directory");
  EXPECT_EQ(errorOf({"-", good.Path(), "-"}), "standard input can be read only once");
  EXPECT_EQ(errorOf({"/proc/self/mem"}), "/proc/self/mem: cannot be read: Input/output error");
  EXPECT_EQ(errorOf({good.Path(), empty.Path()}), empty.Path() + ": is empty");
  EXPECT_EQ(errorOf({good.Path(), other.Path()}),
            other.Path() + ":3: column 2 of the header is \"c\", but \"b\" in " + good.Path());
  EXPECT_EQ(errorOf({good.Path(), longer.Path()}),
            longer.Path() + ":1: the header has 3 columns, but 2 in " + good.Path());
}

TEST(Errors, FileThatShrinks) {
  std::string bytes = "a,b\n";
  while (bytes.size() < 3 << 20) bytes += "1,2\n";
  const TempFile file(bytes);
  Input input({file.Path()});
  ASSERT_EQ(truncate(file.Path().c_str(), 2 << 20), 0);
  const Outcome outcome = ReadRows(input, {.numeric = {0}, .chunkRows = 1000});
  EXPECT_EQ(outcome.error, fmt::format("{}: shrank while it was read: it had {} bytes and ended after {}",
                                       file.Path(), bytes.size(), 2 << 20));
  EXPECT_EQ(outcome.rows.size(), (2U << 20) / 4 - 1);
  Chunk chunk;
  EXPECT_FALSE(input.Next(chunk, 10));
}

TEST(Errors, FormatsThatCannotWork) {
  const TempFile file("a,b\n1,2\n");
  for (const auto& [delimiter, decimal] :
       {std::pair{'"', '.'}, {'\n', '.'}, {'5', '.'}, {',', ','}, {',', '-'}}) {
    const Format format{.delimiter = delimiter, .decimal = decimal};
    EXPECT_THROW(Input({file.Path()}, format), InputError) << delimiter << decimal;
  }
}

TEST(Errors, OfTheCallerArePlacedAtTheRowInHand) {
  const TempFile file("g,w\nx,1\n\n\"y\nz\",\"-2\"\n");
  Input input({file.Path()});
  table::RowParser parser(input, {1}, 0);
  Chunk chunk;
  ASSERT_TRUE(input.Next(chunk, 10));
  std::vector<std::string> errors;
  parser.ForEachRow(chunk, [&](std::span<const double> values, auto) {
    if (values[0] >= 0) return;
    errors.emplace_back(parser.ErrorAt(0, "negative").what());
    errors.emplace_back(parser.ErrorAtText("odd").what());
  });
  EXPECT_EQ(errors, (std::vector<std::string>{file.Path() + ":5: column w: negative: \"-2\"",
                                              file.Path() + ":4: column g: odd: \"y\\nz\""}));
}

// Sizes that take forever or all memory when a step is quadratic or a buffer unbounded.

TEST(Hostile, RowsWithoutEnd) {
  const std::string megabyte(1 << 20, 'x');
  std::string endless = "a,b\n1,2\n3,\"";
  for (int count = 0; count < 66; ++count) endless += megabyte;
  EXPECT_EQ(ErrorOf(endless), ":3: quote is not closed before the row reaches 64 MiB");
  endless[endless.find('"')] = 'x';
  EXPECT_EQ(ErrorOf(endless), ":3: row is longer than 64 MiB");
  EXPECT_EQ(ErrorOf(megabyte + megabyte + ",b\n1," + megabyte + megabyte + "\n"), "1 rows");
  EXPECT_EQ(ErrorOf("a,b\n1," + std::string(2 << 20, '\0') + "\n"), "1 rows");
}

TEST(Hostile, RowsOfAMillionQuotes) {
  std::string quotes = "1,x";
  std::string cells = "1";
  std::string names = "c0";
  for (int count = 1; count < 200000; ++count) {
    quotes += "\"\"x\"";
    cells += count % 2 == 0 ? ",\"\n\"" : ",\"a\"\"b\"";
    names += fmt::format(",c{}", count);
  }
  EXPECT_EQ(ErrorOf("a,b\n" + quotes + "\n"), "1 rows");
  EXPECT_EQ(ErrorOf("a,b\n1,\"" + quotes + "\n"),
            ":2: column b: text after the closing quote: \"\"1,x\"\"x\"" +
                std::string(quotes.begin() + 7, quotes.begin() + 59) + "…\"");
  EXPECT_EQ(ErrorOf(names + "\n" + cells + "\n" + cells + "\n"), "2 rows");
  EXPECT_EQ(ErrorOf(names + "\n" + cells + "\nx" + cells + "\n"),
            fmt::format(":{}: column c0: not a number: \"x1\"", 2 + 99999 + 1));
}

}  // namespace
}  // namespace table_test
