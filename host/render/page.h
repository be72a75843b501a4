#ifndef HOST_RENDER_PAGE_H
#define HOST_RENDER_PAGE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "render/plot/picture.h"
#include "render/sink.h"

/// What a command has to say, and the forms in which it can be said.
///
/// A command builds one Page of accounts, tables and pictures; Text, Csv, Json and Html write it out. No form knows of a command,
/// no command of a form.
namespace render {

/// A name, a count, or a measured number; one that is not finite means undefined.
using Value = std::variant<std::string, std::uint64_t, double>;

struct Column {
  std::string name;
  /// The cell of a row; called once or twice per row, so that a large table is never held as text.
  std::function<Value(std::size_t row)> cell;
  /// Values as they stand in the input: people see no zeros behind their last digit.
  bool isGiven = false;
};

/// Who reads a table: a set of forms.
enum class Audience : unsigned int {
  kText = 1,
  kCsv = 2,
  kJson = 4,
  kHtml = 8,
  kPeople = kText | kHtml,
  kPrograms = kCsv | kJson,
  kJsonAndHtml = kJson | kHtml,
  kAllButCsv = kText | kJson | kHtml,
  kEverybody = kText | kCsv | kJson | kHtml,
};

constexpr bool Reads(Audience form, Audience audience) {
  return (static_cast<unsigned int>(form) & static_cast<unsigned int>(audience)) != 0;
}

struct Table {
  std::string name = {};     ///< its key in JSON
  std::string caption = {};  ///< its heading in text
  std::size_t rows = 0;
  /// The first columns, that tell what a row is about; a folded table repeats them.
  std::size_t keys = 1;
  std::vector<Column> columns = {};
  /// Each row's single key is unique, as in a matrix: JSON gives an object of rows instead of a list.
  bool isKeyed = false;
  /// The columns are of different kinds, other than in a matrix: text shows each in a form of its own.
  bool isMixed = false;
  /// Numbers between −1 and 1: text shows them with one number of decimals.
  bool isBounded = false;
  Audience audience = Audience::kEverybody;
};

/// Rows that were not used, for one reason.
struct LeftOut {
  std::string name;    ///< in JSON
  std::string phrase;  ///< behind their count: "with a missing value"
  std::uint64_t rows = 0;
};

/// What became of the rows.
struct Account {
  bool isComplete = true;    ///< false: interrupted, and the page is about the rows read until then
  std::string missing = {};  ///< how missing values were handled: "listwise", "pairwise"
  std::uint64_t read = 0;
  std::uint64_t used = 0;
  std::vector<LeftOut> leftOut = {};
  std::string lacking = {};                ///< values that rows in use lack: "Ozone 37, Solar.R 7"
  bool lacksAll = false;                   ///< rows in use have no value at all
  std::uint64_t blankLines = 0;            ///< skipped, and no rows
  std::optional<std::string> weight = {};  ///< the column, if any
  std::optional<std::string> regWeight = {};
  std::optional<std::string> group = {};
  double weightSum = 0.0;
  double regWeightSum = 0.0;
};

/// How a result is defined.
struct Formula {
  std::string what;
  std::string formula;
};

struct Page {
  std::string command = {};
  std::string commandLine = {};  ///< fit for a shell
  std::string program = {};      ///< name and version
  std::vector<std::string> files = {};
  std::string title = {};
  Account account = {};
  std::vector<std::string> variables = {};
  std::vector<Table> tables = {};
  std::vector<Picture> pictures = {};
  std::string undrawn = {};  ///< why there is no picture, where there may be one: "there is one group only"
  std::vector<std::string> notes = {};  ///< for people
  std::vector<Formula> formulas = {};
};

/// The account's rows as one sentence: "153 rows read, 111 used, 42 left out: 42 with a missing value".
std::string RowsSentence(const Account& account);

/// What a picture of the page says above what is drawn.
Heading HeadingOf(const Page& page);

struct TextStyle {
  std::size_t width = 80;  ///< columns of the terminal; a wider table is folded
  int digits = 6;          ///< significant ones, 1 to 17
};

/// For a person at a terminal.
void Text(const Page& page, const TextStyle& style, const Sink& sink);
/// The tables for programs, each with its header, with an empty line between two.
void Csv(const Page& page, const Sink& sink);
/// One object: the account, the variables, and every table for programs under its name.
void Json(const Page& page, const Sink& sink);
/// For a person with a browser, or a printer: everything in one file that asks no network for anything. The numbers have
/// so many significant digits, 1 to 17.
void Html(const Page& page, int digits, const Sink& sink);

}  // namespace render

#endif
