#include "derive/describe.h"

#include <cmath>
#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "command/commands.h"
#include "command/ranges.h"
#include "command/session.h"
#include "derive/inrange.h"
#include "derive/pairwise.h"
#include "pass/perlevel.h"
#include "render/plot/ranges.h"
#include "render/tables.h"
#include "text/printable.h"
#include "vexa/nsmatrixpairwise.h"

namespace command {
namespace {

constexpr const char* kUndefined =
    "NA: undefined, as a variable has no values, or its cases weigh 1 or less, or a sum or a variance is "
    "beyond or below the range of a double.";

using Variables = vexa::NSMatrixPairwise;

/// Of each variable, over `rows` rows.
std::vector<derive::Description> DescriptionsOf(const Variables& sums, std::uint64_t rows,
                                                const std::vector<double>& origin,
                                                std::span<const derive::Range> ranges,
                                                std::span<const derive::Spread> spreads) {
  std::vector<derive::Description> descriptions;
  for (const derive::Cell& cell : derive::VariableCells(sums, origin, ranges)) {
    const derive::Spread spread = spreads[descriptions.size()];
    descriptions.push_back(
        derive::Describe(derive::InRange(cell, spread, spread, derive::Rows::kAll), rows - cell.n));
  }
  return descriptions;
}

void AddTable(render::Table table, render::Page& page) {
  if (page.account.weight) {
    page.tables.push_back(std::move(table));
  } else {
    page.tables = render::WithoutWeightSum(std::move(table));
  }
}

void AddUndefinedNote(const std::vector<derive::Description>& descriptions, render::Page& page) {
  for (const derive::Description& description : descriptions) {
    if (std::isfinite(description.variance)) continue;
    page.notes.emplace_back(kUndefined);
    break;
  }
}

int DescribeAll(Session& session, const std::function<std::unique_ptr<Variables>()>& fresh) {
  const auto reduction = session.Reduce<Variables>(fresh);
  const std::vector<derive::Description> descriptions =
      DescriptionsOf(*reduction.sums, reduction.tally.used, reduction.origin, RangesOf(reduction.extremes),
                     reduction.spreads);
  render::Page page = session.StartPage("Statistics", reduction);
  page.account.weightSum = reduction.sums->WeightSum();
  page.account.regWeightSum = reduction.sums->RegWeightSum();
  AddTable(render::DescriptionsTable(descriptions, session.Variables()), page);
  AddUndefinedNote(descriptions, page);
  if (session.WantsPictures()) {
    page.pictures.push_back(
        render::DrawRanges(page.command, render::HeadingOf(page), descriptions, session.Variables()));
  }
  return session.Deliver(page);
}

int DescribeByGroup(Session& session, const std::string& by,
                    const std::function<std::unique_ptr<Variables>()>& fresh) {
  using GroupVariables = pass::PerLevel<Variables>;
  const pass::Levels& levels = session.Levels();
  session.CheckPictured(levels.Size() * session.Variables().size(), "rows, one for each variable and group");
  const auto reduction =
      session.Reduce<GroupVariables>([&] { return std::make_unique<GroupVariables>(levels.Size(), fresh); });
  const std::size_t variables = session.Variables().size();
  const std::vector<derive::Range> ranges = RangesOf(reduction.extremes);
  render::Page page = session.StartPage("Statistics by " + text::Escaped(by), reduction);
  std::vector<std::string> names;
  std::vector<derive::Description> descriptions;
  for (unsigned int level = 0; level < levels.Size(); ++level) {
    const Variables& sums = reduction.sums->At(level);
    const std::vector<derive::Description> own =
        DescriptionsOf(sums, reduction.tally.groupRows[level], reduction.origin,
                       std::span(ranges).subspan(level * variables, variables),
                       std::span(reduction.spreads).subspan(level * variables, variables));
    names.push_back(levels.Label(level));
    descriptions.insert(descriptions.end(), own.begin(), own.end());
    page.account.weightSum += sums.WeightSum();
    page.account.regWeightSum += sums.RegWeightSum();
  }
  AddTable(render::GroupDescriptionsTable(descriptions, session.Variables(), names), page);
  AddUndefinedNote(descriptions, page);
  if (session.WantsPictures() && descriptions.size() <= render::kMostPictured) {
    page.pictures.push_back(
        render::DrawRanges(page.command, render::HeadingOf(page), descriptions, session.Variables(), names));
  }
  return session.Deliver(page);
}

int RunDescribe(const Options& options, Messages& messages) {
  Session session(options, messages);
  const auto all = static_cast<int>(session.Variables().size());
  // With nothing in its left run the block has no pairs.
  const auto fresh = [all] { return std::make_unique<Variables>(table::kMissing, 0, 0, all); };
  return options.grouping ? DescribeByGroup(session, options.grouping->by, fresh)
                          : DescribeAll(session, fresh);
}

}  // namespace

void AddDescribeCommand(CLI::App& program, Run& chosen) {
  const auto options = std::make_shared<Options>();
  options->missing = pass::Missing::kPairwise;
  options->extremes = true;
  CLI::App& app =
      AddCommand(program, "describe", "Each variable: n, missing, mean, sd, standard error, range.",
                 "  vexa-stats describe data.csv\n"
                 "  vexa-stats describe --by Species iris.csv\n"
                 "  vexa-stats describe -c height,weight -w cases -f csv data.csv\n",
                 *options);
  const CLI::Option& by = AddGroupingOptions(app, *options);
  AddPlotOption(app, *options,
                "Range, mean, deviation and share of missing values\nof each variable, as a file.");
  app.callback([&chosen, options, &by] {
    if (by.count() == 0) options->grouping.reset();
    chosen = [options](Messages& messages) { return RunDescribe(*options, messages); };
  });
}

}  // namespace command
