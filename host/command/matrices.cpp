#include <fmt/format.h>

#include <cmath>
#include <cstddef>
#include <memory>
#include <numeric>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "command/commands.h"
#include "command/session.h"
#include "derive/definite.h"
#include "derive/listwise.h"
#include "derive/matrix.h"
#include "derive/pairwise.h"
#include "derive/similarity.h"
#include "render/plot/heatmap.h"
#include "render/tables.h"
#include "text/printable.h"
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
     .undefined = "NA: undefined, as its cases weigh 1 or less, or a sum is beyond the range of a double.",
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
     .undefined =
         "NA: undefined, as a variable does not vary in its rows, or a sum is beyond the range of a double.",
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

/// The strongest correlations, for those who cannot see the picture. Of a matrix with itself the diagonal is left out.
std::string ExtremesSentence(const derive::Matrix& correlations, const render::HeatMap& map,
                             bool isSymmetric) {
  struct Place {
    std::size_t row;
    std::size_t col;
  };
  std::optional<Place> least;
  std::optional<Place> most;
  const auto at = [&](const Place& place) { return correlations.At(place.row, place.col); };
  for (Place place{0, 0}; place.row < correlations.rows; ++place.row) {
    for (place.col = 0; place.col < (isSymmetric ? place.row : correlations.cols); ++place.col) {
      if (std::isnan(at(place))) continue;
      if (!least || at(place) < at(*least)) least = place;
      if (!most || at(place) > at(*most)) most = place;
    }
  }
  if (!least) return "";
  const auto tell = [&](const Place& place) {
    return fmt::format("{:.2f} ({} with {})", at(place), text::Escaped((*map.rows)[place.row]),
                       text::Escaped((*map.cols)[place.col]));
  };
  return fmt::format(" The correlations lie between {} and {}.", tell(*least), tell(*most));
}

/// The colours are correlations for every statistic: a covariance by itself would tell of the units of its variables
/// first, and the largest variance would leave all others pale.
render::Picture DrawMatrix(const Statistic& statistic, Order order, const derive::Matrix& matrix,
                           const derive::Matrix& correlations, bool isSymmetric, render::HeatMap map) {
  map.name = statistic.name;
  map.smallPrint.emplace_back(statistic.picture);
  map.colours = &correlations;
  map.labels = &matrix;
  map.areLabelsBounded = statistic.isBounded;
  map.rowOrder.resize(matrix.rows);
  map.colOrder.resize(matrix.cols);
  std::iota(map.rowOrder.begin(), map.rowOrder.end(), std::size_t{0});
  std::iota(map.colOrder.begin(), map.colOrder.end(), std::size_t{0});
  if (order == Order::kCluster && isSymmetric) {
    map.rowOrder = map.colOrder = derive::OrderVariables(correlations);
    map.smallPrint.emplace_back(
        "Order: average linkage of 1 − r, so that what rises together stands together.");
  } else if (order == Order::kCluster) {
    map.rowOrder = derive::OrderRows(correlations);
    map.colOrder = derive::OrderCols(correlations);
    map.smallPrint.emplace_back("Order: average linkage of the distances between rows, and between columns.");
  }
  if (!statistic.isBounded && isSymmetric) {
    for (std::size_t variable = 0; variable < matrix.rows; ++variable)
      map.deviations.push_back(std::sqrt(matrix.At(variable, variable)));
  }
  map.description = fmt::format("Heat map of {} rows and {} columns.{}", matrix.rows, matrix.cols,
                                ExtremesSentence(correlations, map, isSymmetric));
  return render::DrawHeatMap(std::move(map));
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
    page.pictures.push_back(DrawMatrix(statistic, work.options.order, matrix, correlations,
                                       sums.IsSymmetric(),
                                       {.heading = render::HeadingOf(page), .rows = &rows, .cols = &cols}));
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
  return Show(work, Sums(*reduction.sums, reduction.origin), std::move(page));
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
