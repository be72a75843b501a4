#include <fmt/format.h>

#include <cmath>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "command/commands.h"
#include "command/session.h"
#include "derive/listwise.h"
#include "derive/matrix.h"
#include "render/tables.h"
#include "vexa/matrixlistwise.h"
#include "vexa/nsmatrixlistwise.h"

namespace command {
namespace {

/// What tells one command for a matrix from another.
struct Statistic {
  const char* name;
  const char* summary;
  const char* examples;
  const char* plural;
  const char* undefined;
  bool isBounded;
  derive::Matrix (*derive)(const derive::Sums&);
};

constexpr Statistic kStatistics[] = {
    {.name = "cov",
     .summary = "Covariance matrix of all rows without a missing value.",
     .examples = "  vexa-stats cov data.csv\n"
                 "  vexa-stats cov --rows height,weight --cols 5:20 data.csv\n"
                 "  vexa-stats cov -c height,weight:age -w cases part1.csv part2.csv\n"
                 "  vexa-stats cov -f csv -o cov.csv data.csv\n",
     .plural = "Covariances",
     .undefined = "NA: undefined, as the cases weigh 1 or less, or a sum is beyond the range of a double.",
     .isBounded = false,
     .derive = derive::Covariances},
    {.name = "corr",
     .summary = "Correlation matrix of all rows without a missing value.",
     .examples = "  vexa-stats corr data.csv\n"
                 "  vexa-stats corr -c 3:7 --digits 3 data.csv\n"
                 "  zcat data.csv.gz | vexa-stats corr -f json > corr.json\n",
     .plural = "Correlations",
     .undefined = "NA: undefined, as a variable does not vary, or a sum is beyond the range of a double.",
     .isBounded = true,
     .derive = derive::Correlations},
};

bool HasUndefined(const derive::Matrix& matrix) {
  for (const double cell : matrix.cells)
    if (!std::isfinite(cell)) return true;
  return false;
}

template <class Accumulator>
int Show(const Statistic& statistic, Session& session, const pass::Reduction<Accumulator>& reduction,
         const derive::Sums& sums, const std::vector<std::string>& rows,
         const std::vector<std::string>& cols) {
  const derive::Matrix matrix = statistic.derive(sums);
  render::Page page = session.StartPage(statistic.plural, reduction);
  page.account.weightSum = reduction.sums->WeightSum();
  page.account.regWeightSum = reduction.sums->RegWeightSum();
  render::Table table = render::MatrixTable(statistic.name, matrix, rows, cols);
  table.isBounded = statistic.isBounded;
  page.tables.push_back(std::move(table));
  if (HasUndefined(matrix)) page.notes.emplace_back(statistic.undefined);
  return session.Deliver(page);
}

/// Between two lists of variables, without the cells within either.
int RunRectangle(const Statistic& statistic, Session& session) {
  const std::vector<std::string>& names = session.Variables();
  const auto left = static_cast<int>(session.Chosen().leftRun);
  const auto all = static_cast<int>(names.size());
  const auto reduction = session.Reduce<vexa::NSMatrixListwise>(
      [=] { return std::make_unique<vexa::NSMatrixListwise>(0, left, all); });
  const derive::RectangleSums sums(*reduction.sums, reduction.origin);
  return Show(statistic, session, reduction, sums, {names.begin(), names.begin() + left},
              {names.begin() + left, names.end()});
}

int RunMatrix(const Statistic& statistic, const Options& options, Messages& messages) {
  Session session(options, messages);
  if (session.Chosen().leftRun > 0) return RunRectangle(statistic, session);
  const auto reduction =
      session.Reduce<vexa::MatrixListwise>([] { return std::make_unique<vexa::MatrixListwise>(); });
  const derive::ListwiseSums sums(*reduction.sums, reduction.origin);
  return Show(statistic, session, reduction, sums, session.Variables(), session.Variables());
}

void AddRectangleOptions(CLI::App& app, Options& options) {
  const std::string group = "Columns";
  app.add_option("--rows", options.rectangle.rows,
                 "Instead of --columns: the variables of the rows of a\n"
                 "rectangle, as a list like that")
      ->option_text("LIST")
      ->join(',')
      ->group(group);
  app.add_option("--cols", options.rectangle.cols, "The variables of its columns")
      ->option_text("LIST")
      ->join(',')
      ->group(group);
}

}  // namespace

void AddMatrixCommands(CLI::App& program, Run& chosen) {
  for (const Statistic& statistic : kStatistics) {
    const auto options = std::make_shared<Options>();
    CLI::App& app = AddCommand(program, statistic.name, statistic.summary, statistic.examples, *options);
    AddRectangleOptions(app, *options);
    app.callback([&chosen, &statistic, options] {
      chosen = [&statistic, options](Messages& messages) { return RunMatrix(statistic, *options, messages); };
    });
  }
}

}  // namespace command
