#include "render/plot/ranges.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <utility>

#include "render/plot/canvas.h"
#include "render/plot/label.h"
#include "render/plot/rows.h"

namespace render {
namespace {

using derive::Description;

constexpr double kNumberRoom = 52.0;
constexpr double kNumberGap = 6.0;
constexpr double kRangeWidth = 300.0;
constexpr double kMissingGap = 14.0;
constexpr double kMissingWidth = 80.0;
constexpr double kPercentRoom = 36.0;
constexpr double kNumberSize = 7.5;
constexpr Colour kSpread = FromHex(0x9ecae1);

std::string Percent(double share) {
  // A little is not nothing, and nearly everything is not all.
  if (share > 0.0 && share < 0.0005) return "<0.1 %";
  if (share < 1.0 && share > 0.9995) return ">99.9 %";
  return fmt::format("{:.{}f} %", 100.0 * share, share == 0.0 || share == 1.0 ? 0 : 1);
}

struct Extent {
  double min = std::numeric_limits<double>::infinity();
  double max = -std::numeric_limits<double>::infinity();

  void Take(double value) {
    if (!std::isfinite(value)) return;
    min = std::min(min, value);
    max = std::max(max, value);
  }
  void Take(const Description& variable) {
    for (const double value :
         {variable.range.min, variable.range.max, variable.mean - variable.sd, variable.mean + variable.sd})
      Take(value);
  }
};

/// A description, and what its scale is to hold.
struct Row {
  Description variable;
  Extent extent;
};

void DrawRange(Canvas& canvas, const Rows& rows, std::size_t row, const Row& content) {
  const Description& variable = content.variable;
  const Box& body = rows.Body();
  const double y = rows.Middle(row);
  const double size = rows.FontSize(kNumberSize);
  if (!std::isfinite(variable.range.min) || !std::isfinite(variable.range.max)) {
    canvas.Text({body.left + body.width / 2.0, rows.Baseline(row, size)}, "no values",
                {.size = size, .colour = kFaintInk, .align = Align::kCentre});
    return;
  }
  const double sd = std::isfinite(variable.sd) ? variable.sd : 0.0;
  const bool hasMean = std::isfinite(variable.mean);
  const Axis axis = AxisOver(content.extent.min, content.extent.max, body.left, body.width);
  const double thick = std::min(rows.Pitch() * 0.5, 8.0);
  if (hasMean && sd > 0.0) {
    const double left = axis.At(variable.mean - sd);
    canvas.Fill({left, y - thick / 2.0, axis.At(variable.mean + sd) - left, thick}, kSpread);
  }
  canvas.Line({axis.At(variable.range.min), y}, {axis.At(variable.range.max), y}, kInk, 0.9);
  for (const double end : {variable.range.min, variable.range.max})
    canvas.Line({axis.At(end), y - thick / 2.0}, {axis.At(end), y + thick / 2.0}, kInk, 0.9);
  if (hasMean) canvas.Disc({axis.At(variable.mean), y}, std::min(thick * 0.45, 3.0), kAccent);
  canvas.Text({body.left - kNumberGap, rows.Baseline(row, size)}, ShortNumber(variable.range.min),
              {.size = size, .colour = kFaintInk, .align = Align::kRight});
  canvas.Text({body.left + body.width + kNumberGap, rows.Baseline(row, size)},
              ShortNumber(variable.range.max), {.size = size, .colour = kFaintInk});
}

void DrawMissing(Canvas& canvas, const Rows& rows, std::size_t row, const Description& variable) {
  const double all = static_cast<double>(variable.n) + static_cast<double>(variable.missing);
  const double share = all > 0.0 ? static_cast<double>(variable.missing) / all : 0.0;
  const double left = rows.Body().left + rows.Body().width + kNumberRoom + kMissingGap;
  const double thick = std::min(rows.Pitch() * 0.6, 10.0);
  const double top = rows.Middle(row) - thick / 2.0;
  const double size = rows.FontSize(kNumberSize);
  canvas.Fill({left, top, kMissingWidth, thick}, kFaintRule);
  if (share > 0.0) canvas.Fill({left, top, std::max(share * kMissingWidth, 0.7), thick}, kWarning);
  canvas.Text({left + kMissingWidth + kPercentRoom, rows.Baseline(row, size)}, Percent(share),
              {.size = size, .colour = share > 0.0 ? kInk : kFaintInk, .align = Align::kRight});
}

void DrawHeads(Canvas& canvas, const Rows& rows) {
  const Box& body = rows.Body();
  const double y = body.top - 5.0;
  const double right = body.left + body.width;
  const auto head = [&](double x, Align align, const char* words) {
    canvas.Text({x, y}, words, {.size = kNumberSize, .colour = kFaintInk, .align = align});
  };
  head(body.left - kNumberGap, Align::kRight, "smallest");
  head(body.left + body.width / 2.0, Align::kCentre, "mean ± standard deviation");
  head(right + kNumberGap, Align::kLeft, "largest");
  head(right + kNumberRoom + kMissingGap, Align::kLeft, "missing");
}

}  // namespace

Picture DrawRanges(const std::string& name, const Heading& heading,
                   const std::vector<Description>& descriptions, const std::vector<std::string>& variables,
                   const std::vector<std::string>& groups) {
  const std::size_t groupCount = std::max<std::size_t>(groups.size(), 1);
  std::vector<std::string> names;
  std::vector<Row> content;
  for (std::size_t variable = 0; variable < variables.size(); ++variable) {
    Extent extent;
    for (std::size_t group = 0; group < groupCount; ++group)
      extent.Take(descriptions[group * variables.size() + variable]);
    for (std::size_t group = 0; group < groupCount; ++group) {
      content.push_back({descriptions[group * variables.size() + variable], extent});
      names.push_back(groups.empty() ? variables[variable] : variables[variable] + ": " + groups[group]);
    }
  }
  const std::vector<std::string> smallPrint = {
      "Each variable has a scale of its own. Line: from the smallest to the largest value; dot and bar: mean "
      "and "
      "one standard deviation to both sides."};
  const auto rows = std::make_shared<const Rows>(
      heading, smallPrint, names,
      RowsRoom{.before = kNumberRoom,
               .body = kRangeWidth,
               .behind = kNumberRoom + kMissingGap + kMissingWidth + kPercentRoom});
  return {.name = name,
          .title = heading.title,
          .description = fmt::format(
              "Range, mean, standard deviation and share of missing values, in {} rows.", names.size()),
          .width = rows->Width(),
          .height = rows->Height(),
          .draw = [rows, content = std::move(content)](Canvas& canvas) {
            rows->DrawFrame(canvas);
            DrawHeads(canvas, *rows);
            for (std::size_t row = 0; row < rows->Count(); ++row) {
              DrawRange(canvas, *rows, row, content[row]);
              DrawMissing(canvas, *rows, row, content[row].variable);
            }
          }};
}

}  // namespace render
