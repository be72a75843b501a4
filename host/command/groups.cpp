#include "derive/groups.h"

#include <fmt/format.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "command/commands.h"
#include "command/session.h"
#include "render/groups.h"
#include "text/printable.h"
#include "vexa/DscIndividualMatrix.h"
#include "vexa/databatchbygroup.h"

namespace command {
namespace {

struct GroupOptions {
  Options common = {};
  derive::Priors priors = derive::Priors::kEqual;
};

int RunGroups(const GroupOptions& options, Messages& messages) {
  Session session(options.common, messages);
  const pass::Levels& levels = session.Levels();
  session.CheckPictured(levels.Size(), "groups");
  const auto variables = static_cast<int>(session.Variables().size());
  const auto reduction = session.Reduce<vexa::DiscIndividualMatrix, vexa::DataBatchByGroup>([&] {
    return std::make_unique<vexa::DiscIndividualMatrix>(static_cast<int>(levels.Size()), variables);
  });
  std::vector<std::string> names;
  for (unsigned int level = 0; level < levels.Size(); ++level) names.push_back(levels.Label(level));
  const derive::GroupAnalysis analysis = derive::AnalyseGroups(
      *reduction.sums, reduction.origin, reduction.tally.groupRows, options.priors, reduction.spreads);

  render::Page page = session.StartPage(
      fmt::format("Discriminant analysis by {}", text::Escaped(options.common.grouping->by)), reduction);
  page.account.weightSum = reduction.sums->WeightSum();
  page.account.regWeightSum = page.account.weightSum;
  const render::GroupReport report(analysis, session.Variables(), names);
  page.tables = report.Tables();
  page.notes = report.Notes();
  page.undrawn = report.Undrawn();
  if (session.WantsPictures()) {
    if (std::optional<render::Picture> picture = report.Draw(render::HeadingOf(page)))
      page.pictures.push_back(*std::move(picture));
  }
  if (options.common.form != Form::kText)
    for (const std::string& note : page.notes) messages.Note(note);
  return session.Deliver(page);
}

void AddGroupOptions(CLI::App& app, GroupOptions& options) {
  AddGroupingOptions(app, options.common).required();
  app.add_option_function<std::string>(
         "--priors",
         [&options](const std::string& name) {
           options.priors = name == "size" ? derive::Priors::kSize : derive::Priors::kEqual;
         },
         "Of the classification functions: equal (default), or\nsize for the groups' weights")
      ->check(CLI::IsMember({"equal", "size"}))
      ->option_text("PRIORS")
      ->group("Groups");
}

}  // namespace

void AddGroupsCommand(CLI::App& program, Run& chosen) {
  const auto options = std::make_shared<GroupOptions>();
  CLI::App& app =
      AddCommand(program, "groups", "Discriminant analysis: what separates groups of rows, and how well.",
                 "  vexa-stats groups --by Species iris.csv\n"
                 "  vexa-stats groups --by year --levels 2019,2020 -c height,weight data.csv\n"
                 "  vexa-stats groups --by region -w cases --priors size -f json data.csv\n",
                 options->common);
  RemoveOption(app, "--reg-weight");
  AddGroupOptions(app, *options);
  AddPlotOption(app, options->common, "The groups on the first two canonical functions, as a\nfile.");
  app.callback([&chosen, options] {
    chosen = [options](Messages& messages) { return RunGroups(*options, messages); };
  });
}

}  // namespace command
