#include "command/options.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "command/failure.h"
#include "render/plot/picture.h"
#include "table/inputerror.h"
#include "table/rowsplitter.h"
#include "text/printable.h"

namespace command {
namespace {

char OneByte(const std::string& text, const char* option) {
  if (text == "tab" || text == "\\t") return '\t';
  if (text.size() == 1) return text[0];
  throw UsageError(fmt::format("{} takes a single character{}, not {}", option,
                               std::string_view(option) == "--delimiter" ? ", or tab" : "",
                               text::Quoted(text)));
}

/// An empty value is a slip, of a shell's variable say, and no wish for the default.
CLI::Validator NotEmpty(const char* what) {
  return CLI::Validator([what](std::string& value) { return std::string(value.empty() ? what : ""); }, "");
}

void AddColumnOptions(CLI::App& app, Options& options) {
  const std::string group = "Columns";
  AddList(app, "-c,--columns", options.columns,
          "The variables, separated by commas: names, ranges\n"
          "a:b in file order, or positions from 1, such as 3:7.\n"
          "A name with a comma goes in double quotes.\n"
          "Default: every numeric column but the weights.")
      .group(group);
  app.add_option("-w,--weight", options.weight,
                 "Case weights: how many cases a row stands for.\n"
                 "Rows where it is missing or 0 are left out.")
      ->option_text("NAME")
      ->group(group);
  app.add_option("-r,--reg-weight", options.regWeight,
                 "Regression weights: how much a row counts in means,\n"
                 "squares and products, but not in the divisor.")
      ->option_text("NAME")
      ->group(group);
}

void AddInputOptions(CLI::App& app, Options& options) {
  const std::string group = "Input";
  AddList(app, "--na", options.missingTokens,
          "What stands for a missing value besides an empty\n"
          "cell, in any case, separated by commas.\n"
          "Default: NA,NaN,.,null")
      .option_text("TOKENS")
      ->group(group);
  app.add_option("-d,--delimiter", options.delimiter,
                 "What separates cells: a character, or tab. Default:\n"
                 "the first of tab ; , | that stands in the header")
      ->check(NotEmpty("needs a character"))
      ->option_text("CHAR")
      ->group(group);
  app.add_option("--decimal", options.decimal, "The decimal sign: . (default) or a comma, say")
      ->option_text("CHAR")
      ->group(group);
  app.add_flag("--no-header", options.noHeader, "The first row is data; columns are named V1, V2, …")
      ->group(group);
  app.add_option("--max-rows", options.maxRows, "Read only the first N rows of all files together")
      ->check(CLI::Range(std::uint64_t{1}, std::uint64_t{1} << 62))
      ->option_text("N")
      ->group(group);
}

void AddOutputOptions(CLI::App& app, Options& options) {
  const std::string group = "Output";
  const std::vector<std::pair<std::string, Form>> forms = {
      {"text", Form::kText}, {"csv", Form::kCsv}, {"json", Form::kJson}, {"html", Form::kHtml}};
  app.add_option_function<std::string>(
         "-f,--format",
         [&options, forms](const std::string& name) {
           for (const auto& [form, value] : forms)
             if (form == name) options.form = value;
         },
         "text (default), csv, json or html, a page with tables\n"
         "and pictures. Numbers in csv and json are the\n"
         "shortest that read back to the same double; what is\n"
         "undefined is empty, or null.")
      ->check(CLI::IsMember({"text", "csv", "json", "html"}))
      ->option_text("FORMAT")
      ->group(group);
  app.add_option("-o,--output", options.output,
                 "The file for the result, written whole or not at\n"
                 "all. Default: standard output")
      ->check(NotEmpty("names no file"))
      ->option_text("FILE")
      ->group(group);
  app.add_option("--digits", options.digits, "Significant digits in text and html, 1 to 17.\nDefault: 6")
      ->check(CLI::Range(1, 17))
      ->option_text("N")
      ->group(group);
}

void AddRunOptions(CLI::App& app, Options& options) {
  const std::string group = "Running";
  app.add_option("-t,--threads", options.threads,
                 "Threads; 0 (default): as many as there are CPUs.\n"
                 "The result is the same for any number, to the bit.")
      ->check(CLI::Range(0, 1024))
      ->option_text("N")
      ->group(group);
  app.add_flag_callback(
         "--progress", [&options] { options.progress = true; },
         "Show how far the run has come; the default where\nstandard error is a terminal")
      ->trigger_on_parse()  // of this and the next the last one counts
      ->group(group);
  app.add_flag_callback(
         "--no-progress", [&options] { options.progress = false; }, "Do not")
      ->trigger_on_parse()
      ->group(group);
  app.add_flag("--verbose", options.verbose, "Tell on standard error what is done, and how long it\ntakes")
      ->group(group);
}

}  // namespace

table::Format Options::InputFormat() const {
  table::Format format;
  if (!delimiter.empty()) format.delimiter = OneByte(delimiter, "--delimiter");
  format.decimal = OneByte(decimal, "--decimal");
  format.header = !noHeader;
  format.mostRows = maxRows;
  if (missingTokens) {
    // An empty cell is never taken for text, whatever else stands for a missing value.
    format.missing = {""};
    table::RowSplitter splitter(',');
    for (const std::string_view token : splitter.Split(*missingTokens)) format.missing.emplace_back(token);
  }
  try {
    table::CheckFormat(format);
  } catch (const table::InputError& error) {
    throw UsageError(error.what());
  }
  return format;
}

CLI::Option& AddList(CLI::App& app, const std::string& name, std::optional<std::string>& list,
                     const std::string& help) {
  // CLI11 would split at the commas, those in quotes too, lose what is empty between two of them, and take the next
  // argument for a list of nothing else.
  const auto take = [&list](const CLI::results_t& given) {
    list = fmt::format("{}", fmt::join(given, ","));
    return true;
  };
  return *app.add_option(name, take, help)->option_text("LIST")->take_all();
}

namespace {

std::string ForShell(const std::string& word) {
  constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_./,:=+@%";
  if (!word.empty() && word.find_first_not_of(kPlain) == std::string::npos) return word;
  std::string quoted = "'";
  for (const char byte : word) {
    // A quote ends the quoted text, stands by itself, and begins it again.
    if (byte == '\'') quoted += "'\\'";
    quoted += byte;
  }
  return quoted + '\'';
}

/// Options that change nothing of a result.
constexpr std::array<std::string_view, 6> kOfTheRun = {"output",   "plot",        "threads",
                                                       "progress", "no-progress", "verbose"};

/// The command line that gives the same result: long names, in the order of the help.
std::string CommandLineOf(const CLI::App& app) {
  std::string line = "vexa-stats " + app.get_name();
  std::string files;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& value : option->results()) {
      if (option->get_positional()) {
        files += ' ' + ForShell(value);
        continue;
      }
      const std::string& name = option->get_lnames().front();
      if (std::find(kOfTheRun.begin(), kOfTheRun.end(), name) == kOfTheRun.end()) {
        line += " --" + name;
        if (option->get_expected_min() > 0) line += ' ' + ForShell(value);
      }
    }
  }
  return line + files;
}

}  // namespace

void RemoveOption(CLI::App& app, const std::string& name) {
  // CLI11's own search allocates where it must not throw.
  for (CLI::Option* option :
       app.get_options([&](const CLI::Option* each) { return each->get_name() == name; }))
    app.remove_option(option);
}

CLI::App& AddCommand(CLI::App& program, const std::string& name, const std::string& summary,
                     const std::string& examples, Options& options) {
  options.command = name;
  CLI::App& app = *program.add_subcommand(name, summary)->group("Commands");
  app.add_option("FILE", options.files,
                 "CSV or TSV files with the same header; - or none at\n"
                 "all is standard input")
      ->option_text(" ");
  AddColumnOptions(app, options);
  AddInputOptions(app, options);
  AddOutputOptions(app, options);
  AddRunOptions(app, options);
  // Behind the others.
  app.set_help_flag();
  app.set_help_flag("-h,--help", "Print this help")->group("Running");
  app.footer("Examples:\n" + examples);
  app.parse_complete_callback([&app, &options] { options.commandLine = CommandLineOf(app); });
  return app;
}

void AddMissingOption(CLI::App& app, Options& options) {
  app.add_option_function<std::string>(
         "-m,--missing",
         [&options](const std::string& name) {
           options.missing = name == "pairwise" ? pass::Missing::kPairwise : pass::Missing::kListwise;
         },
         "listwise (default): only rows where all variables\n"
         "are present; pairwise: each cell over the rows where\n"
         "its own variables are present")
      ->check(CLI::IsMember({"listwise", "pairwise"}))
      ->option_text("HOW")
      ->group("Columns");
}

void AddPlotOption(CLI::App& app, Options& options, const std::string& what) {
  app.add_option("--plot", options.plot, what + "\nThe ending tells the form: .svg, .png or .pdf.")
      ->check(CLI::Validator(
          [](std::string& path) {
            return render::FormOfPicture(path)
                       ? ""
                       : fmt::format("takes a file that ends in .svg, .png or .pdf, not {}",
                                     text::Quoted(path));
          },
          ""))
      ->option_text("FILE")
      ->group("Output");
}

CLI::Option& AddGroupingOptions(CLI::App& app, Options& options) {
  const std::string group = "Groups";
  Grouping& grouping = options.grouping.emplace();
  CLI::Option& by =
      *app.add_option("-b,--by", grouping.by, "The column that tells a row's group: numbers or text")
           ->option_text("NAME")
           ->group(group);
  AddList(app, "--levels", grouping.levels,
          "The groups to compare, separated by commas, where\n"
          "not all; it also saves reading the input twice.")
      .needs(&by)
      ->group(group);
  app.add_option("--max-groups", grouping.mostLevels, "More groups than these are an error. Default: 1000")
      ->check(CLI::Range(1, 1 << 20))
      ->option_text("N")
      ->needs(&by)
      ->group(group);
  return by;
}

HelpFormatter::HelpFormatter(std::size_t column) {
  column_width(column);
  label("Positionals", "Arguments");
  label("SUBCOMMAND", "COMMAND");
}

std::string HelpFormatter::make_usage(const CLI::App* app, std::string name) const {
  if (app->get_parent() == nullptr) return fmt::format("\nUsage: {} COMMAND [OPTION…] [FILE…]\n", name);
  return fmt::format("\nUsage: {} [OPTION…] [FILE…]\n", name);
}

std::string HelpFormatter::make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const {
  return CLI::detail::find_and_replace(CLI::Formatter::make_help(app, std::move(name), mode), "\n\n\n",
                                       "\n\n");
}

std::string HelpFormatter::make_description(const CLI::App* app) const {
  return app->get_description() + '\n';
}

}  // namespace command
