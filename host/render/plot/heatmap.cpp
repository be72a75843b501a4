#include "render/plot/heatmap.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

#include "render/number.h"
#include "render/plot/axis.h"
#include "render/plot/canvas.h"
#include "render/plot/heading.h"
#include "render/plot/label.h"
#include "render/plot/names.h"

namespace render {
namespace {

/// Of a matrix whose cells are neither as small nor as large as they may be.
constexpr double kSide = 720.0;
/// No side is longer, whatever that makes of the cells.
constexpr double kLongestSide = 1800.0;
constexpr double kSmallestCell = 6.0;
constexpr double kLargestCell = 48.0;
/// Cells from this width on, and half of it in height, have labels.
constexpr double kLabelledCell = 24.0;
constexpr double kLabelShare = 0.27;
constexpr double kSmallestLabel = 5.0;
/// So many cells are shapes of their own; more would make files too large.
constexpr std::size_t kMostShapes = 4000;

constexpr double kMostNameWidth = 150.0;
constexpr double kNameGap = 4.0;
constexpr double kGap = 16.0;
constexpr double kBarsWidth = 64.0;
constexpr double kLegendWidth = 12.0;
constexpr double kLegendHeight = 150.0;
constexpr double kLegendRoom = 62.0;  // with its labels
constexpr double kLegendBelow = 30.0;
constexpr double kSmall = 7.5;
constexpr double kLeastWidth = 330.0;

/// One side of a cell, for so many of them next to each other.
double CellSide(std::size_t count) {
  const auto cells = static_cast<double>(count);
  return std::min(std::clamp(kSide / cells, kSmallestCell, kLargestCell), kLongestSide / cells);
}

struct CellSize {
  double width;
  double height;
};

/// Square, unless rows and columns differ so much that the cells would be lost one way or run over the page the other.
CellSize SizeOfCells(std::size_t rows, std::size_t cols) {
  const CellSize size{CellSide(cols), CellSide(rows)};
  const double smaller = std::min(size.width, size.height);
  const double most = std::max(smaller, kLabelledCell);
  return {std::min(size.width, most), std::min(size.height, most)};
}

std::vector<std::string> InOrder(const std::vector<std::string>& names,
                                 const std::vector<std::size_t>& order) {
  std::vector<std::string> ordered;
  ordered.reserve(order.size());
  for (const std::size_t at : order) ordered.push_back(names[at]);
  return ordered;
}

/// The smallest and the largest positive power of ten that enclose the deviations.
std::optional<std::pair<int, int>> Powers(const std::vector<double>& deviations) {
  double least = std::numeric_limits<double>::infinity();
  double most = 0.0;
  for (const double deviation : deviations) {
    if (!(deviation > 0.0) || !std::isfinite(deviation)) continue;
    least = std::min(least, deviation);
    most = std::max(most, deviation);
  }
  if (most == 0.0) return std::nullopt;
  const auto from = static_cast<int>(std::floor(std::log10(least) - 0.05));
  return std::pair(from, std::max(static_cast<int>(std::ceil(std::log10(most))), from + 1));
}

/// Where everything is, and how it is drawn.
class Layout {
 public:
  explicit Layout(HeatMap map)
      : _map(std::move(map)),
        _cell(SizeOfCells(_map.rowOrder.size(), _map.colOrder.size())),
        _rowNames(InOrder(*_map.rows, _map.rowOrder), _cell.height, kMostNameWidth),
        _colNames(InOrder(*_map.cols, _map.colOrder), _cell.width, kMostNameWidth),
        _powers(Powers(_map.deviations)),
        _isUpright(_colNames.Width() > _cell.width - 2.0) {
    for (const double value : _map.colours->cells) _hasUndefined = _hasUndefined || !std::isfinite(value);
    const std::size_t step = std::max(_rowNames.Step(), _colNames.Step());
    if (step > 1) _map.smallPrint.push_back(fmt::format("One of {} variables is named.", step));
    const double side = _cell.width * static_cast<double>(_map.colOrder.size());
    const double right = (_powers ? kGap + kBarsWidth : 0.0) + kGap + kLegendRoom + kMargin;
    _body.left = kMargin + _rowNames.Width() + kNameGap;
    _width = std::max(_body.left + side + right, kLeastWidth);
    _heading.emplace(_map.heading, _map.smallPrint, _width - 2.0 * kMargin);
    _body.top = _heading->Height() + (_isUpright ? _colNames.Width() : _colNames.FontSize()) + kNameGap;
    _body.width = side;
    _body.height = _cell.height * static_cast<double>(_map.rowOrder.size());
    const double below = std::max(_body.height + (_powers ? 2.0 * kSmall : 0.0), LegendHeight());
    _height = _body.top + below + kMargin;
    ChooseLabels();
  }

  double Width() const { return _width; }
  double Height() const { return _height; }
  const HeatMap& Map() const { return _map; }
  CellGrid Cells() const {
    return {_body.left, _body.top, _body.width, _body.height, _map.rowOrder, _map.colOrder};
  }

  void Draw(Canvas& canvas) const {
    _heading->Draw(canvas);
    DrawNames(canvas);
    DrawCells(canvas);
    DrawBars(canvas);
    DrawLegend(canvas);
  }

 private:
  double Value(const derive::Matrix& matrix, std::size_t row, std::size_t col) const {
    return matrix.At(_map.rowOrder[row], _map.colOrder[col]);
  }
  Colour ColourAt(std::size_t row, std::size_t col) const {
    const double value = Value(*_map.colours, row, col);
    return std::isfinite(value) ? Diverging(value) : kMissing;
  }
  std::string Label(std::size_t row, std::size_t col) const {
    const double value = Value(*_map.labels, row, col);
    if (!std::isfinite(value)) return "NA";
    return _map.areLabelsBounded ? WithMinus(Fixed(value, 2)) : ShortNumber(value);
  }
  double LegendHeight() const { return kLegendHeight + (_hasUndefined ? kLegendBelow : 0.0); }

  /// The largest size in which every label fits its cell; 0 when that is too small to read.
  void ChooseLabels() {
    if (_cell.width < kLabelledCell || _cell.height < kLabelledCell / 2.0) return;
    _labelSize = std::min(_cell.width * kLabelShare, _cell.height / 2.0);
    for (std::size_t row = 0; row < _map.rowOrder.size(); ++row) {
      for (std::size_t col = 0; col < _map.colOrder.size(); ++col) {
        const double width = TextWidth(Label(row, col), 1.0);
        _labelSize = std::min(_labelSize, (_cell.width - 3.0) / width);
      }
    }
    if (_labelSize < kSmallestLabel) _labelSize = 0.0;
  }

  void DrawNames(Canvas& canvas) const {
    for (std::size_t row = 0; row < _map.rowOrder.size(); row += _rowNames.Step()) {
      const double size = _rowNames.FontSize();
      canvas.Text({_body.left - kNameGap, MiddleOfRow(row) + size * kCapHeight / 2.0}, _rowNames.Name(row),
                  {.size = size, .align = Align::kRight});
    }
    for (std::size_t col = 0; col < _map.colOrder.size(); col += _colNames.Step()) {
      const double size = _colNames.FontSize();
      const double middle = MiddleOfCol(col);
      if (_isUpright) {
        canvas.Text({middle + size * kCapHeight / 2.0, _body.top - kNameGap}, _colNames.Name(col),
                    {.size = size, .isUpward = true});
      } else {
        canvas.Text({middle, _body.top - kNameGap}, _colNames.Name(col),
                    {.size = size, .align = Align::kCentre});
      }
    }
  }

  void DrawCells(Canvas& canvas) const {
    const std::size_t rows = _map.rowOrder.size();
    const std::size_t cols = _map.colOrder.size();
    if (rows * cols > kMostShapes) {
      canvas.Mosaic(_body, rows, cols,
                    [this](std::size_t row, std::size_t col) { return ColourAt(row, col); });
      canvas.Frame(_body, kRule);
      return;
    }
    const double seam = Smaller() * 0.02;
    for (std::size_t row = 0; row < rows; ++row) {
      for (std::size_t col = 0; col < cols; ++col) {
        const Box box{MiddleOfCol(col) - _cell.width / 2.0 + seam,
                      MiddleOfRow(row) - _cell.height / 2.0 + seam, _cell.width - 2.0 * seam,
                      _cell.height - 2.0 * seam};
        const Colour colour = ColourAt(row, col);
        canvas.Fill(box, colour);
        if (!std::isfinite(Value(*_map.colours, row, col))) Cross(canvas, box);
        if (_labelSize == 0.0) continue;
        canvas.Text({MiddleOfCol(col), MiddleOfRow(row) + _labelSize * kCapHeight / 2.0}, Label(row, col),
                    {.size = _labelSize, .colour = InkOn(colour), .align = Align::kCentre});
      }
    }
  }

  static void Cross(Canvas& canvas, const Box& box) {
    canvas.Line({box.left, box.top}, {box.left + box.width, box.top + box.height}, kPaper, 0.5);
    canvas.Line({box.left + box.width, box.top}, {box.left, box.top + box.height}, kPaper, 0.5);
  }

  void DrawBars(Canvas& canvas) const {
    if (!_powers) return;
    const auto [from, to] = *_powers;
    const double left = _body.left + _body.width + kGap;
    const double bottom = _body.top + _body.height;
    const Axis axis{static_cast<double>(from), static_cast<double>(to), left, kBarsWidth};
    canvas.Text({left + kBarsWidth / 2.0, _body.top - kNameGap}, "std. deviation (log)",
                {.size = kSmall, .colour = kFaintInk, .align = Align::kCentre});
    for (const int power : {from, to}) {
      const double x = axis.At(power);
      canvas.Line({x, _body.top}, {x, bottom}, kRule);
      canvas.Text({x, bottom + kSmall + 3.0}, PowerOfTen(power),
                  {.size = kSmall, .colour = kFaintInk, .align = Align::kCentre});
    }
    for (std::size_t row = 0; row < _map.rowOrder.size(); ++row) {
      const double deviation = _map.deviations[_map.rowOrder[row]];
      if (!(deviation > 0.0) || !std::isfinite(deviation)) continue;
      // On a logarithmic scale a bar would have no beginning.
      const Point end{axis.At(std::log10(deviation)), MiddleOfRow(row)};
      canvas.Line({left, end.y}, end, kRule, std::min(_cell.height * 0.1, 0.8));
      canvas.Disc(end, std::min(_cell.height * 0.35, 3.0), kFaintInk);
    }
  }

  void DrawLegend(Canvas& canvas) const {
    constexpr int kSteps = 120;
    const double left = _body.left + _body.width + (_powers ? kGap + kBarsWidth : 0.0) + kGap;
    const Axis axis{-1.0, 1.0, _body.top + kLegendHeight, -kLegendHeight};
    for (int step = 0; step < kSteps; ++step) {
      const double value = -1.0 + 2.0 * (step + 0.5) / kSteps;
      const double height = kLegendHeight / kSteps;
      // One step reaches into the next, so that no seam shows.
      canvas.Fill({left, axis.At(value) - height / 2.0, kLegendWidth, height * (step == 0 ? 1.0 : 1.5)},
                  Diverging(value));
    }
    canvas.Frame({left, _body.top, kLegendWidth, kLegendHeight}, kRule);
    canvas.Text({left + kLegendWidth / 2.0, _body.top - kNameGap}, "r",
                {.size = kSmall, .colour = kFaintInk, .align = Align::kCentre});
    for (const Tick& tick : RoundTicks(-1.0, 1.0, 4)) {
      const double y = axis.At(tick.value);
      canvas.Line({left + kLegendWidth, y}, {left + kLegendWidth + 3.0, y}, kFaintInk);
      canvas.Text({left + kLegendWidth + 6.0, y + kSmall * kCapHeight / 2.0}, tick.label,
                  {.size = kSmall, .colour = kFaintInk});
    }
    if (!_hasUndefined) return;
    const Box box{left, _body.top + kLegendHeight + kLegendBelow - kLegendWidth, kLegendWidth, kLegendWidth};
    canvas.Fill(box, kMissing);
    Cross(canvas, box);
    canvas.Text({left + kLegendWidth + 6.0, box.top + (kLegendWidth + kSmall * kCapHeight) / 2.0},
                "r undefined", {.size = kSmall, .colour = kFaintInk});
  }

  double Smaller() const { return std::min(_cell.width, _cell.height); }
  double MiddleOfRow(std::size_t row) const {
    return _body.top + _cell.height * (static_cast<double>(row) + 0.5);
  }
  double MiddleOfCol(std::size_t col) const {
    return _body.left + _cell.width * (static_cast<double>(col) + 0.5);
  }

  HeatMap _map;
  CellSize _cell;
  NameColumn _rowNames;
  NameColumn _colNames;
  std::optional<std::pair<int, int>> _powers;
  bool _isUpright;
  bool _hasUndefined = false;
  double _labelSize = 0.0;
  Box _body = {};
  double _width = 0.0;
  double _height = 0.0;
  std::optional<HeadingBlock> _heading;
};

}  // namespace

Picture DrawHeatMap(HeatMap map) {
  const auto layout = std::make_shared<const Layout>(std::move(map));
  return {.name = layout->Map().name,
          .title = layout->Map().heading.title,
          .description = layout->Map().description,
          .width = layout->Width(),
          .height = layout->Height(),
          .draw = [layout](Canvas& canvas) { layout->Draw(canvas); },
          .grid = layout->Cells()};
}

}  // namespace render
