// Rows and cells against a reader that looks at one byte at a time, through files and pipes, in place and
// through the CSV library.

#include <random>
#include <regex>

#include "host/table/reading.h"

namespace table_test {
namespace {

using table::Chunk;
using table::Format;
using table::Input;
using table::InputError;
using table::kMissing;

struct PlainCell {
  std::string content;
  std::string raw;
  std::uint64_t line = 0;
  bool broken = false;
};
using PlainRow = std::vector<PlainCell>;

struct PlainText {
  std::vector<PlainRow> rows;
  std::uint64_t blankLines = 0;
  std::uint64_t openQuoteLine = 0;
};

std::string TrimBlanks(const std::string& text) {
  const std::size_t first = text.find_first_not_of(" \t");
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

/// The whole text byte by byte, all of it in memory: slow and obvious.
PlainText ReadPlainly(std::string text, char delimiter, bool blankIsRow) {
  if (!text.empty() && text.back() != '\n') text += '\n';
  const auto rowEndsAt = [&](std::size_t at) {
    return text[at] == '\n' || (text[at] == '\r' && text[at + 1] == '\n');
  };
  PlainText plain;
  std::uint64_t line = 1;
  for (std::size_t at = 0; at < text.size();) {
    const std::string firstLine = text.substr(at, text.find('\n', at) - at);
    const std::string blanks = delimiter == '\t' ? " \r" : " \t\r";
    if (!blankIsRow && firstLine.find_first_not_of(blanks) == std::string::npos) {
      ++plain.blankLines;
      ++line;
      at += firstLine.size() + 1;
      continue;
    }
    PlainRow row;
    for (bool rowEnded = false; !rowEnded;) {
      PlainCell cell;
      cell.line = line;
      const std::size_t begin = at;
      if (text[at] == '"') {
        for (++at;; ++at) {
          if (at == text.size()) {
            plain.openQuoteLine = cell.line;
            return plain;
          }
          if (text[at] == '\n') ++line;
          if (text[at] == '"' && text[++at] != '"') break;
          cell.content += text[at];
        }
        cell.broken = text[at] != delimiter && !rowEndsAt(at);
      }
      while (text[at] != delimiter && !rowEndsAt(at)) cell.content += text[at++];
      cell.raw = text.substr(begin, at - begin);
      row.push_back(cell);
      rowEnded = text[at] != delimiter;
      at += text[at] == '\r' && rowEnded ? 2 : 1;
    }
    ++line;
    plain.rows.push_back(row);
  }
  return plain;
}

bool IsMissingToken(std::string text) {
  for (char& byte : text) byte = static_cast<char>(std::tolower(static_cast<unsigned char>(byte)));
  return text.empty() || text == "na" || text == "nan" || text == "." || text == "null";
}

/// The value of a cell by the grammar of numbers and the C library; an empty reason if it is one.
double PlainNumber(const std::string& text, std::string& reason) {
  static const auto kIgnoreCase = std::regex::icase | std::regex::optimize;
  static const std::regex number("[+-]?([0-9]+(\\.[0-9]*)?|\\.[0-9]+)(e[+-]?[0-9]+)?", kIgnoreCase);
  static const std::regex notFinite("[+-]?(inf|infinity|nan(\\([a-z0-9_]*\\))?)", kIgnoreCase);
  reason = "";
  if (IsMissingToken(text)) return kMissing;
  if (!std::regex_match(text, number)) {
    reason = std::regex_match(text, notFinite) ? "not a finite number" : "not a number";
    return 0.0;
  }
  const double value = std::strtod(text.c_str(), nullptr);
  const std::string digits = text.substr(0, text.find_first_of("eE"));
  const bool vanished = value == 0.0 && digits.find_first_of("123456789") != std::string::npos;
  if (std::isinf(value) || value == kMissing || vanished) reason = "number out of range";
  return value;
}

/// What reading rows below a header of the columns must come to.
Outcome ExpectedOutcome(const PlainText& plain, const std::string& file,
                        const std::vector<std::string>& names, const Choice& choice) {
  Outcome outcome;
  const auto readRow = [&](const PlainRow& row) {
    for (std::size_t col = 0; col < row.size(); ++col) {
      const table::Place place{file, row[col].line, col < names.size() ? names[col] : ""};
      if (row[col].broken) throw InputError("text after the closing quote", place, row[col].raw);
    }
    if (row.size() != names.size()) {
      throw InputError(fmt::format("row of {} cells where there are {} columns", row.size(), names.size()),
                       {file, row[0].line});
    }
    std::vector<double> values(choice.numeric.size());
    for (std::size_t col = 0; col < row.size(); ++col) {
      const auto slots = std::count(choice.numeric.begin(), choice.numeric.end(), col);
      if (slots == 0) continue;
      const std::string content = TrimBlanks(row[col].content);
      std::string reason;
      const double value = PlainNumber(content, reason);
      if (!reason.empty()) throw InputError(reason, {file, row[col].line, names[col]}, content);
      for (std::size_t slot = 0; slot < values.size(); ++slot)
        if (choice.numeric[slot] == col) values[slot] = value;
    }
    std::optional<std::string> text;
    if (choice.text && !IsMissingToken(TrimBlanks(row[*choice.text].content)))
      text = TrimBlanks(row[*choice.text].content);
    outcome.rows.push_back(ShowRow(values, text));
  };
  outcome.error = MessageOf([&] {
    for (const PlainRow& row : plain.rows) readRow(row);
    if (plain.openQuoteLine != 0) throw InputError("quote is never closed", {file, plain.openQuoteLine});
  });
  return outcome;
}

/// Rows and blank lines of the text behind a header, checked in every way of reading it.
void CheckText(const std::string& body, const std::vector<std::string>& names, char delimiter, Choice choice,
               std::size_t piece) {
  const std::string text = fmt::format("{}\n", fmt::join(names, std::string(1, delimiter))) + body;
  Format format;
  format.delimiter = delimiter;
  PlainText plain = ReadPlainly(text, delimiter, names.size() == 1);
  plain.rows.erase(plain.rows.begin());
  const TempFile file(text);
  const Outcome expected = ExpectedOutcome(plain, file.Path(), names, choice);
  for (const bool split : {false, true}) {
    choice.splitEveryRow = split;
    Input input({file.Path()}, format);
    EXPECT_EQ(ReadRows(input, choice), expected) << testing::PrintToString(text) << split;
    if (!expected.error.empty()) continue;
    EXPECT_EQ(input.BlankLines(), plain.blankLines) << testing::PrintToString(text);
    EXPECT_EQ(input.BytesRead(), text.size());
  }
  if (piece > 0) {
    const Feed feed(text, piece);
    const Outcome piped = ReadFiles({feed.Path()}, choice, format);
    EXPECT_EQ(piped, ExpectedOutcome(plain, feed.Path(), names, choice))
        << testing::PrintToString(text) << piece;
  }
}

class Generator {
 public:
  explicit Generator(unsigned seed) : _random(seed) {}
  std::size_t Below(std::size_t bound) {
    return std::uniform_int_distribution<std::size_t>(0, bound - 1)(_random);
  }

  Choice AnyChoice(std::size_t width) {
    Choice choice;
    for (std::size_t count = Below(2 * width + 1); count > 0; --count) choice.numeric.push_back(Below(width));
    if (Below(2) == 0) choice.text = Below(width);
    choice.chunkRows = static_cast<std::uint32_t>(1 + Below(5));
    return choice;
  }

  /// Cells that mostly are numbers, with every kind of trouble now and then.
  std::string Table(std::size_t width, char delimiter) {
    using namespace std::string_view_literals;
    static const std::vector<std::string> tame =
        Split("1|-2.5|3e5||NA| 4 |+6|\"7\"|0.1234567890123456|12345678.87654321|-0");
    static const std::vector<std::string> texts =
        Split("\"a\"\"b\"|\"x,y\"|\"x\ny\"|\"x\r\ny\"|\" 8 \"|\"\"|\"\"\"\"|\"\n\n9\"|nAn|. ");
    static const std::vector<std::string> wild = Split(
        "x|\"|\"b\"c|a\"b| \"d\"|\"e\" |1e400|-1e400|1e-400|inf|-Infinity|+-1|1:2|1/2|0E0|+|-|1.2.3|1e|5.|.5|"
        "1 2|0x1p3|1\r2|\r|1\0|\0|\xff|1_0|nan(1)|\"\r\"|\"q\"\r|null |1d5|-1.7976931348623157e308|"
        "1.7976931348623157e308|4.9e-324|123456789|0.00000000000000000001"sv);
    std::string table;
    for (std::size_t rows = Below(9); rows > 0; --rows) {
      if (Below(12) == 0) table += Below(2) == 0 ? "\n" : " \r\n";
      const std::size_t cells = width + (Below(40) == 0 ? Below(3) : 1) - 1;
      for (std::size_t col = 0; col < cells; ++col) {
        if (col > 0) table += delimiter;
        const std::size_t kind = Below(60);
        const auto& pool = kind == 0 ? wild : kind < 12 ? texts : tame;
        table += pool[Below(pool.size())];
      }
      table += rows == 1 && Below(3) == 0 ? "" : Below(4) == 0 ? "\r\n" : "\n";
    }
    return table;
  }

  /// No table at all.
  std::string Soup(char delimiter) {
    const std::string bytes = std::string("\"\"\n\r1 a.") + delimiter;
    std::string soup;
    for (std::size_t count = Below(30); count > 0; --count) soup += bytes[Below(bytes.size())];
    return soup;
  }

 private:
  std::mt19937 _random;
};

TEST(Rows, GeneratedTablesReadLikeByteByByte) {
  Generator generator(20240611);
  const std::vector<std::string> names = {"a", "b", "c", "d", "e"};
  for (int round = 0; round < 4000 && !testing::Test::HasFailure(); ++round) {
    const std::size_t width = 1 + generator.Below(names.size());
    const char delimiter = ",;\t|"[generator.Below(4)];
    const Choice choice = generator.AnyChoice(width);
    const std::string body = round % 4 == 0 ? generator.Soup(delimiter) : generator.Table(width, delimiter);
    const std::size_t piece = round % 8 == 0 ? 1 + generator.Below(9) : 0;
    SCOPED_TRACE(fmt::format("round {}", round));
    CheckText(body, {names.begin(), names.begin() + static_cast<std::ptrdiff_t>(width)}, delimiter, choice,
              piece);
  }
}

TEST(Rows, EveryByteInANumber) {
  const Choice choice{.numeric = {0}, .text = 1};
  for (int byte = 0; byte < 256; ++byte) {
    for (const char* number : {"?12", "1?2", "12345678?", "1.?2", "0.12345678?9"}) {
      std::string row = number;
      std::replace(row.begin(), row.end(), '?', static_cast<char>(byte));
      CheckText(row + ",a text long enough to read the number eight bytes at a time\n", {"a", "b"}, ',',
                choice, 0);
    }
  }
}

TEST(Rows, ChunksDoNotDependOnPieces) {
  std::string text = "a,b\n";
  for (int row = 0; row < 1500; ++row) text += row % 7 == 0 ? "\n1,\"x\n\"\n" : "2,y\r\n";
  const auto chunksOf = [](const std::string& path) {
    Input input({path});
    std::vector<std::string> chunks;
    for (Chunk chunk; input.Next(chunk, 100);) {
      std::string gaps;
      for (const Chunk::Gap& gap : chunk.gaps) gaps += fmt::format(" {}+{}", gap.offset, gap.lines);
      chunks.push_back(fmt::format("{} {} {} {}{}\n{}", chunk.number, chunk.file, chunk.firstLine, chunk.rows,
                                   gaps, chunk.bytes));
    }
    return chunks;
  };
  const TempFile file(text);
  const auto expected = chunksOf(file.Path());
  EXPECT_EQ(expected.size(), 15U);
  for (const std::size_t piece : {1U, 2U, 3U, 997U})
    EXPECT_EQ(chunksOf(Feed(text, piece).Path()), expected) << piece;
}

TEST(Rows, BlankLinesTakeNoRoomButCount) {
  const TempFile file("a,b\n1,2\n" + std::string(3 << 20, '\n') + "3,4\n\n\n5,x\n" + std::string(1000, '\n'));
  Input input({file.Path()});
  Chunk chunk;
  ASSERT_TRUE(input.Next(chunk, 1000));
  EXPECT_EQ(chunk.rows, 3U);
  EXPECT_EQ(chunk.bytes, "1,2\n3,4\n5,x\n");
  EXPECT_EQ(chunk.LineAt(4), 3U + (3 << 20));
  table::RowParser parser(input, {1});
  EXPECT_EQ(MessageOf([&] { parser.ForEachRow(chunk, [](auto, auto) {}); }),
            fmt::format("{}:{}: column b: not a number: \"x\"", file.Path(), 6U + (3 << 20)));
  EXPECT_FALSE(input.Next(chunk, 1000));
  EXPECT_EQ(input.BlankLines(), (3U << 20) + 2 + 1000);
}

TEST(Rows, SeveralFilesAreOneTable) {
  const TempFile first(
      "\xef\xbb\xbf"
      "a;b\n1;2");
  const TempFile headerOnly("\n a ;\"b\"\r\n");
  const TempFile second("a;b\n3;4\n5;6\n7;8\n");
  Input input({first.Path(), headerOnly.Path(), second.Path()});
  Chunk chunk;
  std::string seen;
  while (input.Next(chunk, 2))
    seen += fmt::format("{}:{}:{}:{} ", chunk.number, chunk.file, chunk.firstLine, chunk.rows);
  EXPECT_EQ(seen, "0:0:2:1 1:2:2:2 2:2:4:1 ");
  EXPECT_EQ(input.Columns()[0].sample, (std::vector<double>{1, 3, 5, 7}));
  EXPECT_EQ(input.BytesRead(), input.TotalBytes());
  EXPECT_EQ(input.BlankLines(), 1U);
}

TEST(Rows, StopEndsWithTheLastWholeRow) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  const std::string text = "a,b\n1,2\n3,4\n5,";  // and the writer stays silent
  ASSERT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
  int asked = 0;
  Input input({fmt::format("/dev/fd/{}", ends[0])}, {}, [&] { return ++asked > 3; });
  EXPECT_EQ(ReadRows(input, {.numeric = {0, 1}}).rows.size(), 2U);
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
}  // namespace table_test
