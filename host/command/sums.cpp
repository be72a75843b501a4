#include <memory>

#include "command/commands.h"
#include "command/ranges.h"
#include "command/session.h"
#include "derive/inrange.h"
#include "derive/listwise.h"
#include "derive/pairwise.h"
#include "render/tables.h"
#include "vexa/matrixlistwise.h"
#include "vexa/matrixpairwise.h"
#include "vexa/smatrixlistwise.h"

namespace command {
namespace {

template <class Accumulator>
int Show(Session& session, const pass::Reduction<Accumulator>& reduction, const derive::Sums& sums,
         render::WithExtremes extremes) {
  render::Page page = session.StartPage("Sums", reduction);
  page.account.weightSum = reduction.sums->WeightSum();
  page.account.regWeightSum = reduction.sums->RegWeightSum();
  const derive::SumsInRange inRange(sums, reduction.spreads);
  page.tables = render::SumsTables(inRange, session.Variables(), session.Variables(), extremes);
  return session.Deliver(page);
}

int RunWithExtremes(Session& session) {
  const auto reduction =
      session.Reduce<vexa::SMatrixListwise>([] { return std::make_unique<vexa::SMatrixListwise>(); });
  const derive::BlockSums sums(*reduction.sums, reduction.origin, RangesOf(reduction.extremes));
  return Show(session, reduction, sums, render::WithExtremes::kYes);
}

int RunPairwise(Session& session, render::WithExtremes extremes) {
  const auto reduction = session.Reduce<vexa::MatrixPairwise>(
      [] { return std::make_unique<vexa::MatrixPairwise>(table::kMissing); });
  const derive::PairwiseSums sums(*reduction.sums, reduction.origin, RangesOf(reduction.extremes));
  return Show(session, reduction, sums, extremes);
}

int RunSums(const Options& options, Messages& messages) {
  Session session(options, messages);
  if (options.missing == pass::Missing::kPairwise)
    return RunPairwise(session, options.extremes ? render::WithExtremes::kYes : render::WithExtremes::kNo);
  if (options.extremes) return RunWithExtremes(session);
  const auto reduction =
      session.Reduce<vexa::MatrixListwise>([] { return std::make_unique<vexa::MatrixListwise>(); });
  const derive::ListwiseSums sums(*reduction.sums, reduction.origin);
  return Show(session, reduction, sums, render::WithExtremes::kNo);
}

}  // namespace

void AddSumsCommand(CLI::App& program, Run& chosen) {
  const auto options = std::make_shared<Options>();
  CLI::App& app = AddCommand(program, "sums", "Counts, weight sums, means, centred squares and products.",
                             "  vexa-stats sums data.csv\n"
                             "  vexa-stats sums -f csv -c x,y -w cases -r precision data.csv\n",
                             *options);
  AddMissingOption(app, *options);
  app.add_flag("--extremes", options->extremes, "Also the smallest and largest value of each variable")
      ->group("Output");
  app.callback(
      [&chosen, options] { chosen = [options](Messages& messages) { return RunSums(*options, messages); }; });
}

}  // namespace command
