// What is wrong with an input, and how little it takes to say so.

#include "host/table/reading.h"

namespace table_test {
namespace {

using table::Format;
using table::Input;

/// What reading the first column as a number and the second as text comes to, without the file's name.
std::string ErrorOf(const std::string& bytes, const Format& format = {}) {
  const TempFile file(bytes);
  const Outcome outcome = ReadFiles({file.Path()}, {.numeric = {0}, .text = 1}, format);
  if (outcome.error.empty()) return fmt::format("{} rows", outcome.rows.size());
  return outcome.error.substr(file.Path().size());
}

TEST(Errors, NameTheirPlace) {
  using namespace std::string_literals;
  const std::string twelve(12, '0');
  const struct {
    std::string bytes;
    std::string error;
  } cases[] = {
      {"\n \r\n", ": is empty"},
      {"\xef\xbb\xbf", ": is empty"},
      {"a,b", "0 rows"},
      {"\n\nV2,,c\n1,2,3\n", ":3: columns 1 and 2 have the same name: \"V2\""},
      {"a,b, a \n", ":1: columns 1 and 3 have the same name: \"a\""},
      {"a,\"b\"c\n", ":1: text after the closing quote: \"\"b\"c\""},
      {"a,b\r1,2\r", ":1: carriage return in the header: lines must end in a newline: \"a,b\\r1,2\""},
      {"\xff\xfe"
       "a\0,\0b\0\n\0"s,
       ": is UTF-16 text: convert it to UTF-8 first"},
      {"a,b\n1,x\n\n2,\"\n\"\n3,4,5\n", ":6: row of 3 cells where there are 2 columns"},
      {"a,b\n1,\"\n\"\n\n\n\"two\",x\n", ":6: column a: not a number: \"two\""},
      {"a,b\n1e-999,x\n", ":2: column a: number out of range: \"1e-999\""},
      {"a,b\n1,x\n1,\"x\ny\n", ":3: quote is never closed"},
      {"a,b\n\x1b[31m\xff,x\n", ":2: column a: not a number: \"\\x1b[31m\\xff\""},
      {"a,b\né€😀\xe0\x80\xaf\xed\xa0\x80\xf4\x90\x80\x80\xc2\x9b\xc1\xbf\xe2\x80\xae\xe2\x82,x\n",
       ":2: column a: not a number: "
       "\"é€😀\\xe0\\x80\\xaf\\xed\\xa0\\x80\\xf4\\x90\\x80\\x80\\xc2\\x9b\\xc1\\xbf\\xe2\\x80\\xae\\xe2\\x82"
       "\""},
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
  EXPECT_EQ(ReadFiles({first.Path(), other.Path()}, {.numeric = {0}}).error,
            first.Path() + ":3: column a: number out of range: \"1e999\"");
}

TEST(Errors, FilesThatCannotBeRead) {
  const auto errorOf = [](const std::vector<std::string>& paths) {
    return ReadFiles(paths, {.numeric = {0}}).error;
  };
  const TempFile good("a,b\n1,2\n");
  const TempFile longer("\na,b,c\n1,2,3\n");
  const TempFile empty("");
  EXPECT_EQ(errorOf({"-", good.Path(), "-"}), "standard input can be read only once");
  EXPECT_EQ(errorOf({"/proc/self/mem"}), "/proc/self/mem: cannot be read: Input/output error");
  EXPECT_EQ(errorOf({good.Path(), empty.Path()}), empty.Path() + ": is empty");
  EXPECT_EQ(errorOf({good.Path(), longer.Path()}),
            longer.Path() + ":2: the header has 3 columns, but 2 in " + good.Path());
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
  table::Chunk chunk;
  EXPECT_FALSE(input.Next(chunk, 10));
}

TEST(Errors, FormatsThatCannotWork) {
  const TempFile file("a,b\n1,2\n");
  for (const std::string marks : {"\".", "\n.", "5.", ",,", ",-"}) {
    const Format format{.delimiter = marks[0], .decimal = marks[1]};
    EXPECT_NE(ReadFiles({file.Path()}, {}, format).error, "") << marks;
  }
}

TEST(Errors, OfTheCallerArePlacedAtTheRowInHand) {
  const TempFile file("g,w\nx,1\n\n\"y\nz\",\"-2\"\n");
  Input input({file.Path()});
  table::RowParser parser(input, {1}, 0);
  table::Chunk chunk;
  ASSERT_TRUE(input.Next(chunk, 10));
  std::string errors;
  parser.ForEachRow(chunk, [&](std::span<const double> values, auto) {
    if (values[0] < 0)
      errors += fmt::format("{} {}", parser.ErrorAt(0, "negative").what(), parser.ErrorAtText("odd").what());
  });
  EXPECT_EQ(errors,
            fmt::format("{0}:5: column w: negative: \"-2\" {0}:4: column g: odd: \"y\\nz\"", file.Path()));
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
  EXPECT_EQ(ErrorOf("\n" + std::string(1'000'000, ',') + "\n"), ":2: more than 1000000 columns");
  std::string novels = "a,b\n";
  for (int row = 0; row < 9; ++row) novels += "1," + megabyte + '\n';
  const TempFile file(novels);
  Input input({file.Path()});
  std::string rows;
  for (table::Chunk chunk; input.Next(chunk, 100);) rows += fmt::format("{} ", chunk.rows);
  EXPECT_EQ(rows, "4 4 1 ");
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
