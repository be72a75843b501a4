#include "derive/describe.h"

#include <cmath>
#include <cstddef>
#include <memory>
#include <vector>

#include "command/commands.h"
#include "command/ranges.h"
#include "command/session.h"
#include "derive/pairwise.h"
#include "render/tables.h"
#include "vexa/nsmatrixpairwise.h"

namespace command {
namespace {

constexpr const char* kUndefined =
    "NA: undefined, as a variable has no values, or its cases weigh 1 or less, or a sum is beyond the range "
    "of a "
    "double.";

int RunDescribe(const Options& options, Messages& messages) {
  Session session(options, messages);
  const auto all = static_cast<int>(session.Variables().size());
  // With nothing in its left run the block has no pairs.
  const auto reduction = session.Reduce<vexa::NSMatrixPairwise>(
      [all] { return std::make_unique<vexa::NSMatrixPairwise>(table::kMissing, 0, 0, all); });
  const std::vector<derive::Cell> cells =
      derive::VariableCells(*reduction.sums, reduction.origin, RangesOf(reduction.extremes));
  std::vector<derive::Description> descriptions;
  for (std::size_t variable = 0; variable < cells.size(); ++variable)
    descriptions.push_back(derive::Describe(cells[variable], reduction.tally.lacking[variable]));

  render::Page page = session.StartPage("Statistics", reduction);
  page.account.weightSum = reduction.sums->WeightSum();
  page.account.regWeightSum = reduction.sums->RegWeightSum();
  page.tables.push_back(render::DescriptionsTable(descriptions, session.Variables()));
  for (const derive::Description& description : descriptions) {
    if (std::isfinite(description.variance)) continue;
    page.notes.emplace_back(kUndefined);
    break;
  }
  return session.Deliver(page);
}

}  // namespace

void AddDescribeCommand(CLI::App& program, Run& chosen) {
  const auto options = std::make_shared<Options>();
  options->missing = pass::Missing::kPairwise;
  options->extremes = true;
  AddCommand(program, "describe", "Each variable: n, missing, mean, sd, standard error, range.",
             "  vexa-stats describe data.csv\n"
             "  vexa-stats describe -c height,weight -w cases -f csv data.csv\n",
             *options)
      .callback([&chosen, options] {
        chosen = [options](Messages& messages) { return RunDescribe(*options, messages); };
      });
}

}  // namespace command
