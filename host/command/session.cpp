#include "command/session.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <unordered_set>
#include <utility>

#include "command/interrupt.h"
#include "pass/levelsearch.h"
#include "pass/origin.h"
#include "render/formulas.h"
#include "render/number.h"
#include "table/rowsplitter.h"
#include "text/printable.h"
#include "vexa/vexa.h"

namespace command {
namespace {

constexpr std::size_t kUnknownWidth = 80;
constexpr std::size_t kReasonsShown = 10;

/// Of the terminal that shows the text; elsewhere as COLUMNS says, if it says something.
std::size_t TextWidth(const Output& output) {
  if (const std::size_t width = output.TerminalWidth(); width > 0) return width;
  const char* columns = std::getenv("COLUMNS");
  std::size_t width = 0;
  if (columns == nullptr) return kUnknownWidth;
  const auto [end, error] = std::from_chars(columns, columns + std::strlen(columns), width);
  return error == std::errc() && *end == '\0' && width > 0 ? width : kUnknownWidth;
}

/// The variables that lack most values, as "Ozone 37, Solar.R 7". One that stands in the rows and in the columns of a
/// rectangle, as the same of the input's `columns`, is told once.
std::string Lacking(const pass::Tally& tally, const std::vector<std::string>& variables,
                    const std::vector<std::size_t>& columns) {
  std::vector<std::size_t> order;
  std::unordered_set<std::size_t> told;
  for (std::size_t variable = 0; variable < tally.lacking.size(); ++variable)
    if (tally.lacking[variable] > 0 && told.insert(columns[variable]).second) order.push_back(variable);
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return tally.lacking[a] > tally.lacking[b]; });
  std::vector<std::string> items;
  items.reserve(order.size());
  for (const std::size_t variable : order) {
    items.push_back(
        fmt::format("{} {}", text::Escaped(variables[variable]), render::Grouped(tally.lacking[variable])));
  }
  return text::ListOf(items, 3);
}

}  // namespace

Session::Session(const Options& options, Messages& messages)
    : _options(options), _messages(messages), _output(options.output, options.files) {
  const table::Format format = options.InputFormat();
  OpenPlot();
  if (options.files.empty() && isatty(STDIN_FILENO) == 1)
    _messages.Note("reading from the terminal; Ctrl-D ends the input");
  try {
    if (options.grouping &&
        (!options.grouping->levels || (NeedsLevelOrigins() && !pass::Files::MustCopy(options.files)))) {
      _files.emplace(options.files, StopRequested);
      _input = _files->Open(format);
    } else {
      _input = std::make_unique<table::Input>(options.files, format, StopRequested);
    }
  } catch (const table::InputError&) {
    // Without its first row the input is not what it was going to be.
    if (StopRequested()) throw Interrupted();
    throw;
  }
  if (!_input->HasRows() && !StopRequested())
    throw table::InputError("has a header and no rows", {.file = _input->FileName(0)});
  Choose();
  TellTime("opening");
  if (options.grouping) ChooseLevels(*options.grouping);
}

void Session::OpenPlot() {
  if (_options.plot.empty()) return;
  _plot.emplace(_options.plot, _options.files, "--plot");
  if (!_plot->IsSameFileAs(_output)) return;
  throw UsageError(_options.output.empty() ? "--plot names the file that standard output goes to"
                                           : "--plot and --output name the same file");
}

render::Page Session::BlankPage() const {
  render::Page page{.command = _options.command,
                    .commandLine = _options.commandLine,
                    .program = "vexa-stats " VEXA_VERSION,
                    .files = _options.files,
                    .variables = _variables,
                    .formulas = render::FormulasOf(_options.command)};
  if (page.files.empty()) page.files = {"-"};
  std::replace(page.files.begin(), page.files.end(), std::string("-"), std::string("standard input"));
  return page;
}

std::string Session::TitleOf(const std::string& what) const {
  const std::size_t count = _variables.size();
  const std::size_t left = _chosen.leftRun;
  const std::string variables = fmt::format("{}{} variable{}", left > 0 ? fmt::format("{} with ", left) : "",
                                            count - left, count - left == 1 ? "" : "s");
  const char* rows = count == 1 ? "over the rows where it is present"
                     : _options.missing == pass::Missing::kPairwise
                         ? "each over its rows without a missing value"
                     : count == 2 && left == 0 ? "over the rows where both are present"
                                               : "over the rows where all are present";
  return fmt::format("{} of {}, {}", what, variables, rows);
}

void Session::Choose() {
  const std::vector<table::Column>& columns = _input->Columns();
  if (_options.weight) _chosen.weight = ChooseOne(*_options.weight, "--weight");
  if (_options.regWeight) _chosen.regWeight = ChooseOne(*_options.regWeight, "--reg-weight");
  if (_options.grouping) _chosen.group = ChooseOne(_options.grouping->by, "--by");
  ChooseVariables();
  for (const std::size_t col : _chosen.variables) _variables.push_back(columns[col].name);
  CheckPictured(Pictured(), "variables");
  if (_options.verbose) {
    std::vector<std::string> names;
    for (const std::string& name : _variables) names.push_back(text::Escaped(name));
    _messages.Note(fmt::format("{} columns, separated by {}; {} variables: {}", columns.size(),
                               text::Quoted({&_input->UsedFormat().delimiter, 1}), names.size(),
                               text::ListOf(names)));
    TellOrigins();
  }
}

void Session::CheckPictured(std::size_t count, std::string_view what) const {
  if (!_plot || count <= render::kMostPictured) return;
  throw UsageError(fmt::format("--plot shows up to {} {}, not {}; choose some of them", render::kMostPictured,
                               what, count));
}

/// What is subtracted from the variables before they are summed.
void Session::TellOrigins() {
  if (NeedsLevelOrigins()) {
    return _messages.Note(_files ? "origins: each group's own"
                                 : "origins: each group's own, or the variable's where its rows begin late");
  }
  std::vector<std::string> origins;
  for (const std::size_t col : _chosen.variables) {
    const table::Column& column = _input->Columns()[col];
    if (const double origin = pass::Origin(column.sample); origin != 0.0)
      origins.push_back(fmt::format("{} {}", text::Escaped(column.name), origin));
  }
  _messages.Note(origins.empty()
                     ? std::string("origin of all variables: 0")
                     : fmt::format("origins: {}{}", text::ListOf(origins),
                                   origins.size() < _chosen.variables.size() ? "; of the others 0" : ""));
}

void Session::ChooseVariables() {
  std::optional<std::size_t> response;
  if (_options.response) response = ChooseOne(*_options.response, "--response");
  const Rectangle& rectangle = _options.rectangle;
  if (rectangle.rows || rectangle.cols) {
    ChooseRectangle(rectangle);
  } else if (_options.columns) {
    if (_options.columns->empty())
      throw UsageError(fmt::format("{} names no column", response ? "--predictors" : "--columns"));
    _chosen.variables = table::SelectColumns(_input->Columns(), *_options.columns);
  } else {
    ChooseAllNumeric(response);
  }
  if (!response) return;
  if (std::find(_chosen.variables.begin(), _chosen.variables.end(), *response) != _chosen.variables.end())
    throw UsageError(fmt::format("{} is the response, and no predictor", text::Quoted(*_options.response)));
  _chosen.variables.push_back(*response);
}

void Session::ChooseAllNumeric(std::optional<std::size_t> response) {
  const std::vector<table::Column>& columns = _input->Columns();
  std::vector<std::string> skipped;
  std::vector<std::string> reasons;
  std::vector<std::string> unnamed;
  for (std::size_t col = 0; col < columns.size(); ++col) {
    if (col == _chosen.weight || col == _chosen.regWeight || col == _chosen.group || col == response)
      continue;
    if (!columns[col].isNamed) {
      unnamed.push_back(fmt::format("{}", col + 1));
    } else if (columns[col].kind == table::Kind::kNumeric) {
      _chosen.variables.push_back(col);
    } else {
      skipped.push_back(text::Escaped(columns[col].name));
      reasons.push_back(fmt::format("{} ({} in line {})", skipped.back(),
                                    text::Quoted(columns[col].firstText), columns[col].firstTextLine));
    }
  }
  if (!unnamed.empty()) {
    _messages.Note(fmt::format("without a name, left out: column{} {}", unnamed.size() == 1 ? "" : "s",
                               text::ListOf(unnamed)));
  }
  if (!skipped.empty()) {
    _messages.Note(fmt::format("not numeric, left out: {}",
                               fmt::join(skipped.size() <= kReasonsShown ? reasons : skipped, ", ")));
  }
  if (_chosen.variables.empty()) {
    throw table::InputError(response ? "has no numeric column besides the response" : "has no numeric column",
                            {.file = _input->FileName(0)});
  }
}

void Session::ChooseRectangle(const Rectangle& rectangle) {
  if (!rectangle.rows || !rectangle.cols) throw UsageError("--rows and --cols come together");
  if (_options.columns) throw UsageError("--columns does not go with --rows and --cols");
  if (rectangle.rows->empty()) throw UsageError("--rows names no column");
  if (rectangle.cols->empty()) throw UsageError("--cols names no column");
  _chosen.variables = table::SelectColumns(_input->Columns(), *rectangle.rows);
  _chosen.leftRun = _chosen.variables.size();
  for (const std::size_t col : table::SelectColumns(_input->Columns(), *rectangle.cols))
    _chosen.variables.push_back(col);
}

void Session::ChooseLevels(const Grouping& grouping) {
  if (grouping.levels) {
    table::RowSplitter splitter(',');
    std::vector<std::string> list;
    for (const std::string_view level : splitter.Split(*grouping.levels)) list.emplace_back(level);
    if (list.size() > grouping.mostLevels) {
      throw UsageError(fmt::format("--levels lists {} groups, more than --max-groups {}", list.size(),
                                   grouping.mostLevels));
    }
    _levels = pass::GivenLevels(*_input, *_chosen.group, list);
    if (!_files) return;
    const bool isComplete =
        pass::FindOrigins(*_files, _options.InputFormat(), _chosen, PassOptions(), *_levels);
    _messages.EndProgress();
    if (!isComplete) throw Interrupted();
    TellTime("finding the groups' origins");
    return;
  }
  pass::LevelSearch search =
      pass::FindLevels(*_files, _options.InputFormat(), _chosen, PassOptions(), grouping.mostLevels);
  _messages.EndProgress();
  if (!search.complete) throw Interrupted();
  _levels = std::move(search.levels);
  TellTime("finding the groups");
}

std::size_t Session::ChooseOne(const std::string& name, const char* option) const {
  if (name.empty()) throw UsageError(fmt::format("{} names no column", option));
  const std::vector<std::size_t> found = table::SelectColumns(_input->Columns(), name);
  if (found.size() != 1)
    throw UsageError(fmt::format("{} takes one column, not {}", option, text::Quoted(name)));
  return found[0];
}

pass::Options Session::PassOptions() {
  pass::Options options{.missing = _options.missing,
                        .threads = _options.threads,
                        .extremes = _options.extremes,
                        .levelOrigins = NeedsLevelOrigins(),
                        .stopped = StopRequested};
  if (_options.progress.value_or(Messages::IsTerminal())) {
    options.progress = [this](const pass::Progress& progress) {
      _messages.Progress(progress.rows, progress.bytes, progress.totalBytes);
    };
  }
  if (_options.verbose) options.notice = [this](std::string_view sentence) { _messages.Note(sentence); };
  return options;
}

void Session::CheckUsed(const pass::Tally& tally, bool isComplete) const {
  if (tally.used > 0) return;
  if (!isComplete) throw Interrupted();
  throw table::InputError("no row can be used: " + render::RowsSentence(AccountOf(tally, isComplete)));
}

render::Account Session::AccountOf(const pass::Tally& tally, bool isComplete) const {
  const bool isListwise = _options.missing == pass::Missing::kListwise;
  const std::string lacking = Lacking(tally, _variables, _chosen.variables);
  render::Account account{.isComplete = isComplete, .missing = isListwise ? "listwise" : "pairwise"};
  account.read = tally.read;
  account.used = tally.used;
  account.blankLines = _input->BlankLines();
  if (_chosen.weight || _chosen.regWeight) {
    account.leftOut.push_back({"missing_weight", "with a missing weight", tally.missingWeight});
    account.leftOut.push_back({"zero_weight", "with a weight of zero", tally.zeroWeight});
  }
  if (_chosen.group) {
    account.leftOut.push_back({"missing_group", "without a group", tally.missingGroup});
    account.leftOut.push_back({"other_group", "of other groups", tally.otherGroup});
  }
  account.leftOut.push_back(
      {"missing_value", fmt::format("with a missing value ({})", lacking), tally.missingValue});
  if (!isListwise) {
    account.lacking = lacking;
    account.lacksAll = tally.used > 0 && std::all_of(tally.lacking.begin(), tally.lacking.end(),
                                                     [&](std::uint64_t rows) { return rows == tally.used; });
  }
  const auto nameOf = [&](std::size_t col) { return _input->Columns()[col].name; };
  if (_chosen.weight) account.weight = nameOf(*_chosen.weight);
  if (_chosen.regWeight) account.regWeight = nameOf(*_chosen.regWeight);
  if (_chosen.group) account.group = nameOf(*_chosen.group);
  return account;
}

int Session::Deliver(const render::Page& page) {
  const render::Account& account = page.account;
  if (!account.isComplete) {
    const Output* unwritten = _output.IsFile() ? &_output : _plot ? &*_plot : nullptr;
    _messages.Note(fmt::format(
        "interrupted after {} row{}{}", account.read, account.read == 1 ? "" : "s",
        unwritten != nullptr ? "; nothing is written to " + text::Escaped(unwritten->Path()) : ""));
    if (_output.IsFile()) return kInterrupted;
    _plot.reset();
  }
  if (_options.form != Form::kText || _output.IsFile()) _messages.Note(render::RowsSentence(account));
  const bool lacksPicture = _plot && page.pictures.empty();
  if (lacksPicture) _plot.reset();
  if (_plot) WritePlot(page);
  try {
    Write(page);
    _output.Commit();
  } catch (const PipeClosed&) {
    // Whoever has read enough of the result may still want the picture.
    if (_plot) _plot->Commit();
    throw;
  }
  if (_plot) _plot->Commit();
  TellTime("writing");
  if (lacksPicture) {
    throw OutputError(
        fmt::format("{}: there is nothing to draw, as {}", text::Escaped(_options.plot), page.undrawn));
  }
  return account.isComplete ? kSuccess : kInterrupted;
}

void Session::WritePlot(const render::Page& page) {
  render::WritePicture(page.pictures.at(0), *render::FormOfPicture(_options.plot),
                       [this](std::string_view piece) { _plot->Write(piece); });
  _plot->Complete();
}

void Session::Write(const render::Page& page) {
  const render::Sink sink = [this](std::string_view piece) { _output.Write(piece); };
  switch (_options.form) {
    case Form::kText: {
      render::Text(page, {.width = TextWidth(_output), .digits = _options.digits}, sink);
      break;
    }
    case Form::kCsv:
      render::Csv(page, sink);
      break;
    case Form::kJson:
      render::Json(page, sink);
      break;
    case Form::kHtml:
      render::Html(page, _options.digits, sink);
      break;
  }
}

void Session::TellTime(const char* step) {
  const auto now = std::chrono::steady_clock::now();
  if (_options.verbose) {
    const std::chrono::duration<double> taken = now - _stepStart;
    _messages.Note(fmt::format("{}: {:.3f} s", step, taken.count()));
  }
  _stepStart = now;
}

}  // namespace command
