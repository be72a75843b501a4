#include <fmt/format.h>

#include <memory>
#include <string>
#include <vector>

#include "command/commands.h"
#include "command/session.h"
#include "derive/inrange.h"
#include "derive/listwise.h"
#include "derive/pairwise.h"
#include "derive/regression.h"
#include "render/plot/coefficients.h"
#include "render/regression.h"
#include "text/printable.h"
#include "vexa/matrixlistwise.h"
#include "vexa/matrixpairwise.h"

namespace command {
namespace {

struct RegressOptions {
  Options common = {};
  derive::RegressionModel model = {};
};

std::string TitleOf(const RegressOptions& options, const std::vector<std::string>& variables) {
  const std::size_t predictors = variables.size() - 1;
  return fmt::format("Regression of {} on {} variable{}{}, {}", text::Escaped(variables.back()), predictors,
                     predictors == 1 ? "" : "s", options.model.hasIntercept ? "" : " without intercept",
                     options.common.missing == pass::Missing::kPairwise
                         ? "each sum over its rows without a missing value"
                         : "over the rows where all are present");
}

/// Reduces the rows to an accumulator made with the arguments.
template <class Accumulator, class Sums, class... Arguments>
int ReduceAndShow(const RegressOptions& options, Messages& messages, Arguments... arguments) {
  Session session(options.common, messages);
  const std::vector<std::string>& names = session.Variables();
  const auto reduction =
      session.Reduce<Accumulator>([=] { return std::make_unique<Accumulator>(arguments...); });
  // The means stay about the origin: see derive::Regress.
  const Sums sums(*reduction.sums, std::vector<double>(names.size()));
  const derive::Regression regression =
      derive::Regress(derive::SumsInRange(sums, reduction.spreads), reduction.origin, options.model);
  if (regression.contradiction)
    throw table::InputError(render::ContradictionSentence(*regression.contradiction, names));

  render::Page page = session.StartPage("Regression", reduction);
  page.title = TitleOf(options, names);
  page.account.weightSum = reduction.sums->WeightSum();
  page.account.regWeightSum = reduction.sums->RegWeightSum();
  const render::RegressionReport report(regression, options.model, names);
  page.tables = report.Tables();
  page.notes = report.Notes();
  if (session.WantsPictures()) {
    page.pictures.push_back(render::DrawCoefficients(options.common.command, render::HeadingOf(page),
                                                     regression, options.model.level, names, page.notes));
  }
  if (options.common.form != Form::kText)
    for (const std::string& note : page.notes) messages.Note(note);
  return session.Deliver(page);
}

int RunRegress(const RegressOptions& options, Messages& messages) {
  if (options.common.missing == pass::Missing::kPairwise)
    return ReduceAndShow<vexa::MatrixPairwise, derive::PairwiseSums>(options, messages, table::kMissing);
  return ReduceAndShow<vexa::MatrixListwise, derive::ListwiseSums>(options, messages);
}

void AddRegressOptions(CLI::App& app, RegressOptions& options) {
  const std::string group = "Regression";
  app.add_option("-y,--response", options.common.response, "The column that is to be explained")
      ->option_text("NAME")
      ->required()
      ->group(group);
  AddList(app, "-x,--predictors", options.common.columns,
          "The columns that explain it, separated by commas:\n"
          "names, ranges a:b in file order, or positions from 1,\n"
          "such as 3:7. Default: every numeric column but the\n"
          "response and the weights")
      .group(group);
  app.add_flag_callback(
         "--no-intercept", [&options] { options.model.hasIntercept = false; },
         "An equation through the origin; R squared and\ntolerances are about zero then")
      ->group(group);
  app.add_option("--level", options.model.level, "Of the confidence limits. Default: 0.95")
      ->check(CLI::Validator(
          [](std::string& text) {
            double level = 0.0;
            const bool isLevel = CLI::detail::lexical_cast(text, level) && level > 0.0 && level < 1.0;
            return isLevel ? "" : fmt::format("takes a number between 0 and 1, not {}", text::Quoted(text));
          },
          ""))
      ->option_text("LEVEL")
      ->group(group);
}

}  // namespace

void AddRegressCommand(CLI::App& program, Run& chosen) {
  const auto options = std::make_shared<RegressOptions>();
  CLI::App& app = AddCommand(program, "regress", "Least squares regression of one variable on others.",
                             "  vexa-stats regress -y Employed longley.csv\n"
                             "  vexa-stats regress -y price -x size,rooms:age -w cases data.csv\n"
                             "  vexa-stats regress -y Ozone --missing pairwise -f json data.csv\n",
                             options->common);
  RemoveOption(app, "--columns");
  AddMissingOption(app, options->common);
  AddRegressOptions(app, *options);
  AddPlotOption(app, options->common, "The standardised coefficients with their limits, as\na file.");
  app.callback([&chosen, options] {
    chosen = [options](Messages& messages) { return RunRegress(*options, messages); };
  });
}

}  // namespace command
