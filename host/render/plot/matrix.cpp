#include "render/plot/matrix.h"

#include <fmt/format.h>

#include <cmath>
#include <cstddef>
#include <numeric>
#include <optional>
#include <utility>

#include "derive/similarity.h"
#include "render/plot/heatmap.h"
#include "text/printable.h"

namespace render {
namespace {

/// The strongest correlations, for those who cannot see the picture. Of variables with themselves the diagonal is left
/// out.
std::string ExtremesSentence(const MatrixView& view) {
  struct Place {
    std::size_t row;
    std::size_t col;
  };
  std::optional<Place> least;
  std::optional<Place> most;
  const auto at = [&](const Place& place) { return view.correlations.At(place.row, place.col); };
  for (Place place{0, 0}; place.row < view.matrix.rows; ++place.row) {
    for (place.col = 0; place.col < (view.isSymmetric ? place.row : view.matrix.cols); ++place.col) {
      if (std::isnan(at(place))) continue;
      if (!least || at(place) < at(*least)) least = place;
      if (!most || at(place) > at(*most)) most = place;
    }
  }
  if (!least) return "";
  const auto tell = [&](const Place& place) {
    return fmt::format("{:.2f} ({} with {})", at(place), text::Escaped(view.rows[place.row]),
                       text::Escaped(view.cols[place.col]));
  };
  return fmt::format(" The correlations lie between {} and {}.", tell(*least), tell(*most));
}

std::vector<std::size_t> AsGiven(std::size_t count) {
  std::vector<std::size_t> order(count);
  std::iota(order.begin(), order.end(), std::size_t{0});
  return order;
}

void PutInOrder(const MatrixView& view, HeatMap& map) {
  if (!view.isClustered) {
    map.rowOrder = AsGiven(view.matrix.rows);
    map.colOrder = AsGiven(view.matrix.cols);
  } else if (view.isSymmetric) {
    map.rowOrder = map.colOrder = derive::OrderVariables(view.correlations);
    map.smallPrint.emplace_back(
        "Order: average linkage of 1 − r, so that what rises together stands together.");
  } else {
    map.rowOrder = derive::OrderRows(view.correlations);
    map.colOrder = derive::OrderCols(view.correlations);
    map.smallPrint.emplace_back("Order: average linkage of the distances between rows, and between columns.");
  }
}

}  // namespace

Picture DrawMatrix(const MatrixView& view) {
  HeatMap map{.name = view.name,
              .heading = view.heading,
              .smallPrint = {view.colours},
              .description = fmt::format("Heat map of {} rows and {} columns.{}", view.matrix.rows,
                                         view.matrix.cols, ExtremesSentence(view)),
              .colours = &view.correlations,
              .labels = &view.matrix,
              .areLabelsBounded = view.isBounded,
              .rows = &view.rows,
              .cols = &view.cols};
  PutInOrder(view, map);
  if (view.isSymmetric && !view.isBounded) {
    for (std::size_t variable = 0; variable < view.matrix.rows; ++variable)
      map.deviations.push_back(std::sqrt(view.matrix.At(variable, variable)));
  }
  return DrawHeatMap(std::move(map));
}

}  // namespace render
