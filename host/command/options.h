#ifndef HOST_COMMAND_OPTIONS_H
#define HOST_COMMAND_OPTIONS_H

#include <CLI/CLI.hpp>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "pass/options.h"
#include "table/format.h"

namespace command {

enum class Form { kText, kCsv, kJson, kHtml };

/// Of variables in a picture.
enum class Order { kGiven, kCluster };

/// Which rows belong together.
struct Grouping {
  std::string by = {};                     ///< the column of the groups
  std::optional<std::string> levels = {};  ///< its values, as a list; nothing: all that the input has
  unsigned int mostLevels = 1000;
};

/// Two lists of columns, between which a rectangle lies.
struct Rectangle {
  std::optional<std::string> rows = {};
  std::optional<std::string> cols = {};
};

/// The options that every command has.
struct Options {
  std::string command = {};
  std::string commandLine = {};         ///< what was asked for, fit for a shell
  std::vector<std::string> files = {};  ///< none: standard input

  std::optional<std::string> columns = {};
  std::optional<std::string> weight = {};
  std::optional<std::string> regWeight = {};
  std::optional<std::string> response = {};  ///< for a command that has it; the columns are its predictors
  Rectangle rectangle = {};                  ///< instead of columns, for a command that has it
  pass::Missing missing = pass::Missing::kListwise;
  bool counts = false;                    ///< for a command that has cells with rows of their own
  bool pValues = false;                   ///< for a command that has them
  std::optional<Grouping> grouping = {};  ///< for a command that has groups
  bool extremes = false;                  ///< for a command that shows them

  std::optional<std::string> missingTokens = {};
  std::string delimiter = {};
  std::string decimal = ".";
  bool noHeader = false;
  std::uint64_t maxRows = 0;  ///< 0: all

  Form form = Form::kText;
  std::string output = {};
  std::string plot = {};        ///< a file for a picture, by whose ending its form is chosen
  Order order = Order::kGiven;  ///< for a command that has it
  int digits = 6;

  unsigned int threads = 0;
  std::optional<bool> progress = {};  ///< nothing: when somebody may be watching
  bool verbose = false;

  /// How to read the input. Throws UsageError.
  table::Format InputFormat() const;
  bool WantsPicture() const { return !plot.empty() || form == Form::kHtml; }
};

/// Adds a command to the program, with its description and the examples that end its help, and the common options,
/// whose values go to `options`.
CLI::App& AddCommand(CLI::App& program, const std::string& name, const std::string& summary,
                     const std::string& examples, Options& options);

/// Takes one of the common options away from a command.
void RemoveOption(CLI::App& app, const std::string& name);

/// Adds an option for a list with commas. Given several times, its values are one list.
CLI::Option& AddList(CLI::App& app, const std::string& name, std::optional<std::string>& list,
                     const std::string& help);

/// Adds the choice of how missing values are handled.
void AddMissingOption(CLI::App& app, Options& options);

/// Adds the picture, for a command that has one: `what` is to be seen on it.
void AddPlotOption(CLI::App& app, Options& options, const std::string& what);

/// Adds the column of the groups, which is returned, and the choice of its levels. They stay in options.grouping, which a
/// command resets where no column was given.
CLI::Option& AddGroupingOptions(CLI::App& app, Options& options);

/// The help of this program, laid out for people.
class HelpFormatter : public CLI::Formatter {
 public:
  /// `column`: where the explanations begin.
  explicit HelpFormatter(std::size_t column);
  std::string make_usage(const CLI::App* app, std::string name) const override;
  std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override;
  std::string make_description(const CLI::App* app) const override;
};

}  // namespace command

#endif
