#ifndef HOST_COMMAND_SESSION_H
#define HOST_COMMAND_SESSION_H

#include <fmt/format.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "command/failure.h"
#include "command/messages.h"
#include "command/options.h"
#include "command/output.h"
#include "pass/files.h"
#include "pass/levels.h"
#include "pass/reduce.h"
#include "render/page.h"
#include "table/table.h"

namespace command {

/// The run of one command: what all of them do before and after their own work.
///
/// A command makes a session, chooses columns, reduces the rows to sums, derives its statistics and delivers a page.
class Session {
 public:
  /// Opens the output and the input. Throws OutputError, UsageError, table::InputError, Interrupted.
  Session(const Options& options, Messages& messages);

  /// The variables and weights that the options choose; text columns that are left out for that are named on standard
  /// error.
  const pass::Columns& Chosen() const { return _chosen; }
  /// The names of the variables; of a rectangle those of its rows, then those of its columns; a response is last.
  const std::vector<std::string>& Variables() const { return _variables; }
  /// The levels of the groups, for which the files have been read once unless the options list them. Requires
  /// options.grouping.
  const pass::Levels& Levels() const { return *_levels; }

  /// Reduces all rows. Throws table::InputError for bad input and when no row can be used, Interrupted when the user
  /// stopped the run before any was.
  template <class Accumulator, class Batch = vexa::DataBatch>
  pass::Reduction<Accumulator> Reduce(const std::function<std::unique_ptr<Accumulator>()>& fresh);

  /// A page with the account of a reduction; `what` names the statistics.
  template <class Accumulator>
  render::Page StartPage(const std::string& what, const pass::Reduction<Accumulator>& reduction) const;

  /// Throws UsageError when --plot asks for a picture of more than can be shown: `count` of what.
  void CheckPictured(std::size_t count, std::string_view what) const;
  /// Whether the page is to have pictures. They show at most render::kMostPictured variables.
  bool WantsPictures() const { return _options.WantsPicture() && Pictured() <= render::kMostPictured; }

  /// Writes the page in the form and to the place that the options name, and returns the exit code. Throws OutputError
  /// and PipeClosed.
  int Deliver(const render::Page& page);

 private:
  /// How many variables a picture shows: all but a response.
  std::size_t Pictured() const { return _variables.size() - (_options.response ? 1 : 0); }
  /// Whether the sums of groups are not centred.
  bool NeedsLevelOrigins() const { return _options.command == "groups"; }
  render::Page BlankPage() const;
  std::string TitleOf(const std::string& what) const;
  void Choose();
  void ChooseAllNumeric(std::optional<std::size_t> response);
  void ChooseRectangle(const Rectangle& rectangle);
  void ChooseVariables();
  void ChooseLevels(const Grouping& grouping);
  std::size_t ChooseOne(const std::string& name, const char* option) const;
  pass::Options PassOptions();
  void CheckUsed(const pass::Tally& tally, bool isComplete) const;
  render::Account AccountOf(const pass::Tally& tally, bool isComplete) const;
  void OpenPlot();
  void Write(const render::Page& page);
  void WritePlot(const render::Page& page);
  void TellTime(const char* step);
  void TellOrigins();

  const Options& _options;
  Messages& _messages;
  std::chrono::steady_clock::time_point _stepStart = std::chrono::steady_clock::now();
  Output _output;
  std::optional<Output> _plot;
  std::optional<pass::Files> _files;  // when they are read twice
  std::unique_ptr<table::Input> _input;
  std::optional<pass::Levels> _levels;
  pass::Columns _chosen;
  std::vector<std::string> _variables;
};

template <class Accumulator, class Batch>
pass::Reduction<Accumulator> Session::Reduce(const std::function<std::unique_ptr<Accumulator>()>& fresh) {
  auto reduction =
      pass::Reduce<Accumulator, Batch>(*_input, _chosen, PassOptions(), fresh, _levels ? &*_levels : nullptr);
  // Of rows that have come since, listed levels miss nothing.
  if (_files && _levels->AreAll() && reduction.complete) _files->CheckUnchanged();
  _messages.EndProgress();
  TellTime("reading and summing");
  if (reduction.complete && reduction.tally.read == _options.maxRows) {
    _messages.Note(_options.maxRows == 1 ? std::string("only the first row is read, as --max-rows says")
                                         : fmt::format("only the first {} rows are read, as --max-rows says",
                                                       _options.maxRows));
  }
  CheckUsed(reduction.tally, reduction.complete);
  return reduction;
}

template <class Accumulator>
render::Page Session::StartPage(const std::string& what,
                                const pass::Reduction<Accumulator>& reduction) const {
  render::Page page = BlankPage();
  page.title = TitleOf(what);
  page.account = AccountOf(reduction.tally, reduction.complete);
  return page;
}

}  // namespace command

#endif
