#include <memory>

#include "command/commands.h"
#include "command/session.h"
#include "derive/listwise.h"
#include "render/tables.h"
#include "vexa/matrixlistwise.h"

namespace command {
namespace {

int RunSums(const Options& options, Messages& messages) {
  Session session(options, messages);
  const auto reduction =
      session.Reduce<vexa::MatrixListwise>([] { return std::make_unique<vexa::MatrixListwise>(); });
  const derive::ListwiseSums sums(*reduction.sums, reduction.origin);

  render::Page page = session.StartPage("Sums", reduction);
  page.account.weightSum = reduction.sums->WeightSum();
  page.account.regWeightSum = reduction.sums->RegWeightSum();
  page.tables = render::SumsTables(sums, session.Variables(), session.Variables());
  return session.Deliver(page);
}

}  // namespace

void AddSumsCommand(CLI::App& program, Run& chosen) {
  const auto options = std::make_shared<Options>();
  AddCommand(program, "sums", "What they are made of: counts, weight sums, means, centred sums.",
             "  vexa-stats sums data.csv\n"
             "  vexa-stats sums -f csv -c x,y -w cases -r precision data.csv\n",
             *options)
      .callback([&chosen, options] {
        chosen = [options](Messages& messages) { return RunSums(*options, messages); };
      });
}

}  // namespace command
