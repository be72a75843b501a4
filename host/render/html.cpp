#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "render/html/assets.h"
#include "render/html/svg.h"
#include "render/number.h"
#include "render/page.h"
#include "render/shown.h"
#include "text/printable.h"

namespace render {
namespace {

/// A browser shows no larger table in reasonable time.
constexpr std::size_t kMostCells = 250'000;

// As wide as a digit and as a point, where digits are all as wide as each other.
constexpr const char* kFigureSpace = "\u2007";
constexpr const char* kPunctuationSpace = "\u2008";

/// Text of others, fit for a line of HTML.
std::string Foreign(std::string_view text) { return EscapedForHtml(text::Escaped(text)); }

/// The number with all its digits, for programs: what is copied, and what rows are sorted by.
std::string Exactly(const Value& value) {
  if (const auto* count = std::get_if<std::uint64_t>(&value)) return fmt::format("{}", *count);
  const double number = std::get<double>(value);
  return std::isfinite(number) ? Shortest(number) : kUndefinedShown;
}

/// A column's cells, which are aligned at the decimal point by blanks behind them.
class ColumnCells {
 public:
  ColumnCells(const Table& table, const Column& column, NumberForm form, int digits)
      : _column(column), _form(form), _digits(digits) {
    for (std::size_t row = 0; row < table.rows; ++row) {
      const Shown shown = Show(column.cell(row), form, digits);
      _isNames = _isNames && shown.isName;
      _fraction = std::max(_fraction, shown.fraction.size());
    }
  }

  std::string Head() const {
    return fmt::format("<th scope=\"col\"{}>{}</th>", _isNames ? " class=\"name\"" : "",
                       Foreign(_column.name));
  }

  std::string Cell(std::size_t row, bool isKey) const {
    const Value value = _column.cell(row);
    const Shown shown = Show(value, _form, _digits);
    const char* tag = isKey ? "th scope=\"row\"" : "td";
    const char* end = isKey ? "th" : "td";
    if (shown.isName) return fmt::format("<{} class=\"name\">{}</{}>", tag, EscapedForHtml(shown.whole), end);
    const std::string exact = Exactly(value);
    const char* undefined = exact == kUndefinedShown ? " class=\"none\"" : "";
    return fmt::format("<{}{} data-v=\"{}\">{}{}{}</{}>", tag, undefined, exact, EscapedForHtml(shown.whole),
                       shown.fraction, Blanks(shown.fraction.size()), end);
  }

 private:
  std::string Blanks(std::size_t fraction) const {
    std::string blanks;
    for (; fraction < _fraction; ++fraction) blanks += fraction == 0 ? kPunctuationSpace : kFigureSpace;
    return blanks;
  }

  const Column& _column;
  NumberForm _form;
  int _digits;
  bool _isNames = true;
  std::size_t _fraction = 0;
};

void WriteTable(const Table& table, const std::string& id, const std::string& caption, int digits,
                const Sink& sink) {
  sink(fmt::format("<section id=\"{}\">\n", id));
  const std::size_t cells = table.rows * table.columns.size();
  if (cells > kMostCells) {
    sink(
        fmt::format("<h2>{}</h2>\n<p>{} rows and {} columns are more than a browser can show; "
                    "<code>--format csv</code> writes them.</p>\n</section>\n",
                    caption, Grouped(table.rows), Grouped(table.columns.size())));
    return;
  }
  const std::vector<NumberForm> forms = FormsOf(table);
  std::vector<ColumnCells> columns;
  for (std::size_t col = 0; col < table.columns.size(); ++col)
    columns.emplace_back(table, table.columns[col], forms[col], digits);
  // The heading stays where it is when the table scrolls; the caption is for those who go from table to table.
  sink(
      fmt::format("<h2 id=\"{0}-h\">{1}</h2>\n<div class=\"scroll\" role=\"region\" tabindex=\"0\" "
                  "aria-labelledby=\"{0}-h\"><table>\n<caption class=\"unseen\">{1}</caption>\n<thead><tr>",
                  id, caption));
  for (const ColumnCells& column : columns) sink(column.Head());
  sink("</tr></thead>\n<tbody>\n");
  for (std::size_t row = 0; row < table.rows; ++row) {
    std::string line = "<tr>";
    for (std::size_t col = 0; col < columns.size(); ++col) line += columns[col].Cell(row, col < table.keys);
    sink(line + "</tr>\n");
  }
  sink("</tbody></table></div>\n</section>\n");
}

void WritePictures(const Page& page, const Sink& sink) {
  int number = 0;
  for (const Picture& picture : page.pictures) {
    sink("<figure>\n<div class=\"scroll\" role=\"region\" tabindex=\"0\" aria-label=\"Picture\">");
    sink(InlineSvg(picture, fmt::format("p{}-", ++number)));
    sink(
        fmt::format("</div>\n<figcaption>{}</figcaption>\n</figure>\n", EscapedForHtml(picture.description)));
  }
}

void WriteRow(const char* term, const std::string& definition, const Sink& sink) {
  sink(fmt::format("<dt>{}</dt><dd>{}</dd>\n", term, definition));
}

void WriteRows(const Account& account, const Sink& sink) {
  WriteRow("Rows read", Grouped(account.read), sink);
  WriteRow("Rows used", Grouped(account.used), sink);
  for (const LeftOut& reason : account.leftOut) {
    if (reason.rows > 0)
      WriteRow("Left out", Grouped(reason.rows) + ' ' + EscapedForHtml(reason.phrase), sink);
  }
  if (account.blankLines > 0) WriteRow("Blank lines skipped", Grouped(account.blankLines), sink);
  WriteRow("Missing values",
           account.missing == "pairwise" ? "Each result is over the rows where its own variables are present."
                                         : "A row with a missing value of any variable is left out.",
           sink);
  if (!account.lacking.empty()) WriteRow("Missing in rows used", EscapedForHtml(account.lacking), sink);
}

void WriteWeights(const Account& account, int digits, const Sink& sink) {
  if (account.weight) {
    WriteRow("Case weight",
             fmt::format("{}: the rows used weigh {}", Foreign(*account.weight),
                         WeightSum(account.weightSum, digits)),
             sink);
  }
  if (account.regWeight) {
    WriteRow("Regression weight",
             fmt::format("{}: with it they weigh {}", Foreign(*account.regWeight),
                         WeightSum(account.regWeightSum, digits)),
             sink);
  }
  if (!account.weight && !account.regWeight) WriteRow("Weights", "none: every row counts once", sink);
  if (account.group) WriteRow("Groups by", Foreign(*account.group), sink);
}

void WriteMethod(const Page& page, int digits, const Sink& sink) {
  sink("<section id=\"method\">\n<h2>How it was computed</h2>\n<dl>\n");
  if (!page.commandLine.empty()) WriteRow("Command", "<code>" + Foreign(page.commandLine) + "</code>", sink);
  WriteRow("Program", EscapedForHtml(page.program), sink);
  std::string files;
  for (const std::string& file : page.files) files += (files.empty() ? "" : "<br>") + Foreign(file);
  if (!files.empty()) WriteRow("Input", files, sink);
  WriteRows(page.account, sink);
  WriteWeights(page.account, digits, sink);
  WriteRow("Sums",
           "formed in one pass over the rows, each variable about an origin near its values; the same bits "
           "for any "
           "number of threads",
           sink);
  sink("</dl>\n");
  if (!page.formulas.empty()) {
    sink("<h3>Formulas</h3>\n<dl>\n");
    for (const Formula& formula : page.formulas)
      WriteRow(EscapedForHtml(formula.what).c_str(), EscapedForHtml(formula.formula), sink);
    sink("</dl>\n");
  }
  sink("</section>\n");
}

/// What may be loaded, which is nothing, and the only script that may run.
std::string Policy() {
  return fmt::format(
      "default-src 'none'; img-src data:; style-src 'unsafe-inline'; script-src 'sha256-{}'; base-uri "
      "'none'; "
      "form-action 'none'",
      kPageScriptHash);
}

}  // namespace

void Html(const Page& page, int digits, const Sink& sink) {
  const std::string title = EscapedForHtml(page.title);
  // Without an icon of its own a browser would ask for one.
  sink(fmt::format(
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"{}\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<title>{}</title>\n<link rel=\"icon\" href=\"data:,\">\n<style>\n{}</style>\n</head>\n<body>\n",
      Policy(), title, kPageStyle));
  sink(fmt::format("<header>\n<h1>{}</h1>\n", title));
  if (!page.account.isComplete)
    sink("<p class=\"partial\">INTERRUPTED: this is the result of the first rows only</p>\n");
  sink(fmt::format("<p>{}</p>\n", EscapedForHtml(RowsSentence(page.account))));

  std::vector<std::pair<std::string, const Table*>> tables;
  std::string contents;
  for (const Table& table : page.tables) {
    if (!Reads(Audience::kHtml, table.audience)) continue;
    tables.emplace_back(fmt::format("t{}", tables.size() + 1), &table);
    contents += fmt::format("<li><a href=\"#{}\">{}</a></li>\n", tables.back().first,
                            table.caption.empty() ? "Results" : EscapedForHtml(table.caption));
  }
  contents += "<li><a href=\"#method\">How it was computed</a></li>\n";
  sink(fmt::format("<nav aria-label=\"Contents\"><ul>\n{}</ul></nav>\n</header>\n<main>\n", contents));

  WritePictures(page, sink);
  if (!page.notes.empty()) {
    sink("<section>\n<h2>Notes</h2>\n");
    for (const std::string& note : page.notes) sink(fmt::format("<p>{}</p>\n", EscapedForHtml(note)));
    sink("</section>\n");
  }
  for (const auto& [id, table] : tables)
    WriteTable(*table, id, table->caption.empty() ? "Results" : EscapedForHtml(table->caption), digits, sink);
  WriteMethod(page, digits, sink);
  sink("</main>\n<p id=\"status\" class=\"unseen\" role=\"status\"></p>\n<script>");
  sink(kPageScript);
  sink("</script>\n</body>\n</html>\n");
}

}  // namespace render
