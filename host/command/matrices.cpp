#include <fmt/format.h>

#include <cmath>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "command/commands.h"
#include "command/session.h"
#include "derive/definite.h"
#include "derive/inrange.h"
#include "derive/listwise.h"
#include "derive/matrix.h"
#include "derive/pairwise.h"
#include "render/plot/matrix.h"
#include "render/tables.h"
#include "vexa/matrixlistwise.h"
#include "vexa/matrixpairwise.h"
#include "vexa/nsmatrixlistwise.h"
#include "vexa/nsmatrixpairwise.h"

namespace command {
namespace {

/// What tells one command for a matrix from another.
struct Statistic {
  const char* name;
  const char* summary;
  const char* examples;
  const char* plural;
  const char* undefined;
  const char* picture;  ///< what its cells show
  bool isBounded;
  derive::Matrix (*derive)(const derive::Sums&);
  derive::Matrix (*test)(const derive::Sums&);  ///< p values; null if it has none
};

constexpr Statistic kStatistics[] = {
    {.name = "cov",
     .summary = "Covariance matrix of complete rows, or of each pair's.",
     .examples = "  vexa-stats cov data.csv\n"
                 "  vexa-stats cov --rows height,weight --cols 5:20 data.csv\n"
                 "  vexa-stats cov -c height,weight:age -w cases part1.csv part2.csv\n"
                 "  vexa-stats cov -f csv -o cov.csv data.csv\n",
     .plural = "Covariances",
     .undefined = "NA: undefined, as its cases weigh 1 or less, or it or a sum is beyond or below the range "
                  "of a double.",
     .picture =
         "A colour shows a covariance as a share of what it could be at most, the product of both standard "
         "deviations: their correlation, from −1, red, to 1, blue.",
     .isBounded = false,
     .derive = derive::Covariances,
     .test = nullptr},
    {.name = "corr",
     .summary = "Correlation matrix of complete rows, or of each pair's.",
     .examples = "  vexa-stats corr data.csv\n"
                 "  vexa-stats corr -c 3:7 --digits 3 data.csv\n"
                 "  vexa-stats corr --missing pairwise --counts --p data.csv\n"
                 "  zcat data.csv.gz | vexa-stats corr -f json > corr.json\n",
     .plural = "Correlations",
     .undefined = "NA: undefined, as a variable does not vary in its rows, or a sum is beyond or below the "
                  "range of a double.",
     .picture = "A colour shows a correlation, from −1, red, to 1, blue.",
     .isBounded = true,
     .derive = derive::Correlations,
     .test = derive::CorrelationPValues},
};

bool HasUndefined(const derive::Matrix& matrix) {
  for (const double cell : matrix.cells)
    if (!std::isfinite(cell)) return true;
  return false;
}

void NoteIfIndefinite(const derive::Matrix& correlations, Messages& messages) {
  const std::optional<derive::Indefinite> indefinite = derive::FindIndefinite(correlations);
  if (!indefinite) return;
  const bool areAll = indefinite->variables == correlations.rows;
  messages.Note(fmt::format(
      "the correlations{} are not positive semidefinite: their smallest eigenvalue is {:.6g}",
      areAll ? "" : fmt::format(" of the {} variables where all are defined", indefinite->variables),
      indefinite->smallestEigenvalue));
}

/// One run of one of the commands.
struct Work {
  const Statistic& statistic;
  const Options& options;
  Session& session;
  Messages& messages;
};

int Show(const Work& work, const derive::Sums& sums, render::Page page) {
  const Statistic& statistic = work.statistic;
  const derive::Matrix matrix = statistic.derive(sums);

  const std::vector<std::string>& names = work.session.Variables();
  const auto left = static_cast<std::ptrdiff_t>(sums.IsSymmetric() ? 0 : sums.Rows());
  const std::vector<std::string> rows(names.begin(), left > 0 ? names.begin() + left : names.end());
  const std::vector<std::string> cols(names.begin() + left, names.end());
  render::Table table = render::MatrixTable(statistic.name, matrix, rows, cols);
  table.isBounded = statistic.isBounded;
  page.tables.push_back(std::move(table));
  derive::Matrix pValues;
  if (work.options.pValues) {
    pValues = statistic.test(sums);
    page.tables.push_back(render::MatrixTable("p", pValues, rows, cols));
    page.tables.back().caption = "Two-sided p values of no correlation";
  }
  if (work.options.counts || !sums.IsListwise()) {
    page.tables.push_back(render::CountsTable(sums, rows, cols));
    if (!work.options.counts) page.tables.back().audience = render::Audience::kJson;
  }
  if (HasUndefined(matrix)) page.notes.emplace_back(statistic.undefined);
  derive::Matrix correlations;
  if (work.session.WantsPictures()) {
    correlations = derive::Correlations(sums);
    page.pictures.push_back(render::DrawMatrix({.name = statistic.name,
                                                .heading = render::HeadingOf(page),
                                                .colours = statistic.picture,
                                                .matrix = matrix,
                                                .correlations = correlations,
                                                .rows = rows,
                                                .cols = cols,
                                                .isSymmetric = sums.IsSymmetric(),
                                                .isBounded = statistic.isBounded,
                                                .isClustered = work.options.order == Order::kCluster}));
  }
  const int code = work.session.Deliver(page);
  // Of thousands of variables this takes longer than all before it.
  if (statistic.isBounded && sums.IsSymmetric() && !sums.IsListwise())
    NoteIfIndefinite(matrix, work.messages);
  return code;
}

/// Reduces the rows to an accumulator made with the arguments.
template <class Accumulator, class Sums, class... Arguments>
int ReduceAndShow(const Work& work, Arguments... arguments) {
  const auto reduction =
      work.session.Reduce<Accumulator>([=] { return std::make_unique<Accumulator>(arguments...); });
  render::Page page = work.session.StartPage(work.statistic.plural, reduction);
  page.account.weightSum = reduction.sums->WeightSum();
  page.account.regWeightSum = reduction.sums->RegWeightSum();
  const Sums sums(*reduction.sums, reduction.origin);
  return Show(work, derive::SumsInRange(sums, reduction.spreads), std::move(page));
}

int RunMatrix(const Statistic& statistic, const Options& options, Messages& messages) {
  if (options.order != Order::kGiven && !options.WantsPicture())
    throw UsageError("--order is that of a picture: it takes --plot or --format html");
  Session session(options, messages);
  const Work work{statistic, options, session, messages};
  const bool isPairwise = options.missing == pass::Missing::kPairwise;
  const auto left = static_cast<int>(session.Chosen().leftRun);
  const auto all = static_cast<int>(session.Variables().size());
  if (left > 0) {
    if (isPairwise) {
      using derive::PairwiseRectangleSums;
      return ReduceAndShow<vexa::NSMatrixPairwise, PairwiseRectangleSums>(work, table::kMissing, 0, left,
                                                                          all);
    }
    return ReduceAndShow<vexa::NSMatrixListwise, derive::RectangleSums>(work, 0, left, all);
  }
  if (isPairwise) return ReduceAndShow<vexa::MatrixPairwise, derive::PairwiseSums>(work, table::kMissing);
  return ReduceAndShow<vexa::MatrixListwise, derive::ListwiseSums>(work);
}

void AddRectangleOptions(CLI::App& app, Options& options) {
  const std::string group = "Columns";
  AddList(app, "--rows", options.rectangle.rows,
          "Instead of --columns: the variables of the rows of a\n"
          "rectangle, as a list like that")
      .group(group);
  AddList(app, "--cols", options.rectangle.cols, "The variables of its columns").group(group);
}

}  // namespace

void AddMatrixCommands(CLI::App& program, Run& chosen) {
  for (const Statistic& statistic : kStatistics) {
    const auto options = std::make_shared<Options>();
    CLI::App& app = AddCommand(program, statistic.name, statistic.summary, statistic.examples, *options);
    AddRectangleOptions(app, *options);
    AddMissingOption(app, *options);
    app.add_flag("--counts", options->counts,
                 "Also the matrix of the counts of rows behind each\n"
                 "cell; with pairwise handling json always has it")
        ->group("Output");
    if (statistic.test != nullptr)
      app.add_flag("--p", options->pValues, "Also the matrix of the two-sided p values")->group("Output");
    AddPlotOption(app, *options, "A heat map of the matrix, with names, as a file.");
    app.add_option_function<std::string>(
           "--order",
           [options](const std::string& name) {
             options->order = name == "cluster" ? Order::kCluster : Order::kGiven;
           },
           "Of its variables: given (default), or cluster, which\nputs similar ones together")
        ->check(CLI::IsMember({"given", "cluster"}))
        ->option_text("ORDER")
        ->group("Output");
    app.callback([&chosen, &statistic, options] {
      chosen = [&statistic, options](Messages& messages) { return RunMatrix(statistic, *options, messages); };
    });
  }
}

}  // namespace command
