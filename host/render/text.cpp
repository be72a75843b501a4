#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>

#include "render/number.h"
#include "render/page.h"
#include "render/shown.h"
#include "text/printable.h"

namespace render {
namespace {

constexpr std::size_t kGap = 2;

/// How one column is shown.
class ColumnStyle {
 public:
  ColumnStyle(const Table& table, const Column& column, NumberForm form, int digits)
      : _digits(digits), _form(form) {
    if (!IsMatrix(table) || &column != table.columns.data()) _heading = text::Escaped(column.name);
    for (std::size_t row = 0; row < table.rows; ++row) {
      const Shown shown = Show(column.cell(row), form, digits);
      _isNames = _isNames && shown.isName;
      _whole = std::max(_whole, text::Width(shown.whole));
      _fraction = std::max(_fraction, shown.fraction.size());
    }
    _width = std::max(_whole + _fraction, text::Width(_heading));
  }

  std::size_t Width() const { return _width; }

  void AddHeading(std::string& line) const { Add(line, {_heading, "", _isNames}, 0); }
  void AddCell(std::string& line, const Value& value) const {
    Add(line, Show(value, _form, _digits), _fraction);
  }

 private:
  /// Adds a cell and the blanks that make it as wide as its column, which has `fraction` behind the point.
  void Add(std::string& line, const Shown& shown, std::size_t fraction) const {
    const std::size_t whole = text::Width(shown.whole);
    const std::size_t before = shown.isName ? 0 : _width - fraction - whole;
    line.append(before, ' ');
    line += shown.whole;
    line += shown.fraction;
    line.append(_width - before - whole - shown.fraction.size(), ' ');
  }

  int _digits;
  NumberForm _form;
  std::string _heading;
  bool _isNames = true;
  std::size_t _whole = 0;
  std::size_t _fraction = 0;
  std::size_t _width = 0;
};

void EndLine(std::string& line, const Sink& sink) {
  line.erase(line.find_last_not_of(' ') + 1);
  line += '\n';
  sink(line);
  line.clear();
}

/// Writes the key columns and columns first … last − 1.
void WriteBlock(const Table& table, const std::vector<ColumnStyle>& styles, std::size_t first,
                std::size_t last, const Sink& sink) {
  std::string line;
  const auto writeLine = [&](auto addCell) {
    for (std::size_t col = 0; col < last; col = col + 1 == table.keys ? first : col + 1) {
      if (col > 0) line.append(kGap, ' ');
      addCell(col);
    }
    EndLine(line, sink);
  };
  writeLine([&](std::size_t col) { styles[col].AddHeading(line); });
  for (std::size_t row = 0; row < table.rows; ++row)
    writeLine([&](std::size_t col) { styles[col].AddCell(line, table.columns[col].cell(row)); });
}

void WriteTable(const Table& table, const TextStyle& style, const Sink& sink) {
  std::vector<ColumnStyle> styles;
  const std::vector<NumberForm> forms = FormsOf(table);
  for (std::size_t col = 0; col < table.columns.size(); ++col)
    styles.emplace_back(table, table.columns[col], forms[col], style.digits);
  if (!table.caption.empty()) sink(fmt::format("\n{}\n", table.caption));
  std::size_t keysWidth = 0;
  for (std::size_t col = 0; col < table.keys; ++col) keysWidth += styles[col].Width() + kGap;

  for (std::size_t first = table.keys; first < styles.size();) {
    std::size_t last = first;
    std::size_t width = keysWidth;
    do {
      width += styles[last++].Width() + kGap;
    } while (last < styles.size() && width + styles[last].Width() <= style.width);
    sink("\n");
    WriteBlock(table, styles, first, last, sink);
    first = last;
  }
}

void WriteWeights(const Account& account, int digits, const Sink& sink) {
  if (account.weight) {
    sink(fmt::format("Case weight {}: the rows used weigh {}\n", text::Escaped(*account.weight),
                     WeightSum(account.weightSum, digits)));
  }
  if (account.regWeight) {
    sink(fmt::format("Regression weight {}: with it they weigh {}\n", text::Escaped(*account.regWeight),
                     WeightSum(account.regWeightSum, digits)));
  }
}

}  // namespace

std::string RowsSentence(const Account& account) {
  const auto counted = [](std::uint64_t count, const char* what) {
    return fmt::format("{} {}{}", Grouped(count), what, count == 1 ? "" : "s");
  };
  std::string sentence = counted(account.read, "row") + " read";
  if (account.blankLines > 0)
    sentence += fmt::format(" ({} skipped)", counted(account.blankLines, "blank line"));
  const std::string lacking =
      account.lacking.empty() ? "" : fmt::format(" (missing values: {})", account.lacking);
  const std::string used = account.lacksAll ? ", none with a value" : "";
  if (account.used == account.read) return sentence + (account.lacksAll ? used : ", all used") + lacking;
  std::string reasons;
  for (const LeftOut& reason : account.leftOut) {
    if (reason.rows > 0)
      reasons += fmt::format("{}{} {}", reasons.empty() ? "" : "; ", Grouped(reason.rows), reason.phrase);
  }
  return fmt::format("{}, {} used{}{}, {} left out: {}", sentence, Grouped(account.used), used, lacking,
                     Grouped(account.read - account.used), reasons);
}

Heading HeadingOf(const Page& page) {
  return {.title = page.title,
          .account = (page.account.isComplete ? "" : "INTERRUPTED, the first rows only: ") +
                     RowsSentence(page.account)};
}

void Text(const Page& page, const TextStyle& style, const Sink& sink) {
  const Account& account = page.account;
  sink(page.title + '\n');
  if (!account.isComplete) sink("INTERRUPTED: this is the result of the first rows only\n");
  sink(RowsSentence(account) + '\n');
  WriteWeights(account, style.digits, sink);
  for (const Table& table : page.tables)
    if (Reads(Audience::kText, table.audience)) WriteTable(table, style, sink);
  if (!page.notes.empty()) sink("\n");
  for (const std::string& note : page.notes) sink(note + '\n');
}

}  // namespace render
