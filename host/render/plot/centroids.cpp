#include "render/plot/centroids.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <utility>

#include "render/plot/axis.h"
#include "render/plot/canvas.h"
#include "render/plot/heading.h"
#include "render/plot/rows.h"
#include "text/printable.h"

namespace render {
namespace {

constexpr double kLongSide = 440.0;
constexpr double kShortSide = 150.0;
constexpr double kLeftRoom = 46.0;
constexpr double kBelow = 32.0;
constexpr double kDot = 2.6;
constexpr double kRim = 0.8;
/// Deviations that are seen beyond the outermost means, and the least part of their range.
constexpr double kBeyond = 1.25;
constexpr double kBeyondPart = 0.04;
constexpr double kNameSize = 8.0;
constexpr double kTickSize = 7.5;
constexpr double kMostNameWidth = 140.0;
constexpr int kTicks = 6;

std::string FunctionTitle(const derive::CanonicalFunctions& functions, std::size_t function) {
  return fmt::format("canonical function {} ({:.1f} %)", function + 1,
                     100.0 * functions.proportions[function]);
}

/// Names next to points, where they hide neither each other nor a point.
class Names {
 public:
  explicit Names(const Box& room) : _room(room) {}

  void Avoid(Point point) { _taken.push_back(Around(point, kDot)); }

  /// Where the name may begin, on its baseline; nothing if there is no room around the point.
  std::optional<Point> Place(Point point, double width) {
    const double height = kNameSize * kCapHeight;
    const double near = kDot + 2.5;
    const Point starts[] = {{point.x + near, point.y + height / 2.0},
                            {point.x - near - width, point.y + height / 2.0},
                            {point.x - width / 2.0, point.y - near},
                            {point.x - width / 2.0, point.y + near + height},
                            {point.x + near / 1.4, point.y - near / 1.4},
                            {point.x - near / 1.4 - width, point.y - near / 1.4},
                            {point.x + near / 1.4, point.y + near + height},
                            {point.x - near / 1.4 - width, point.y + near + height}};
    for (const Point& start : starts) {
      // A little more than capitals take, for what goes above and below them.
      const Box box{start.x - 1.0, start.y - height - 1.5, width + 2.0, height + 4.0};
      const bool isInside = box.left >= _room.left && box.top >= _room.top &&
                            box.left + box.width <= _room.left + _room.width &&
                            box.top + box.height <= _room.top + _room.height;
      if (!isInside ||
          std::any_of(_taken.begin(), _taken.end(), [&](const Box& other) { return Overlap(box, other); })) {
        continue;
      }
      _taken.push_back(box);
      return start;
    }
    return std::nullopt;
  }

 private:
  static Box Around(Point point, double radius) {
    return {point.x - radius, point.y - radius, 2.0 * radius, 2.0 * radius};
  }
  static bool Overlap(const Box& a, const Box& b) {
    return a.left < b.left + b.width && b.left < a.left + a.width && a.top < b.top + b.height &&
           b.top < a.top + a.height;
  }

  Box _room;
  std::vector<Box> _taken;
};

/// Two functions as axes with the same unit.
class Plane {
 public:
  Plane(const Heading& heading, std::vector<std::string> smallPrint,
        const derive::CanonicalFunctions& functions, const std::vector<std::string>& groups)
      : _functions(functions) {
    for (const std::string& group : groups)
      _groups.push_back(Fitted(text::Escaped(group), kNameSize, kMostNameWidth));
    const Range horizontal = RangeOf(0);
    const Range vertical = RangeOf(1);
    const double unit = kLongSide / std::max(horizontal.Width(), vertical.Width());
    _body.width = std::max(horizontal.Width() * unit, kShortSide);
    _body.height = std::max(vertical.Width() * unit, kShortSide);
    _body.left = kMargin + kLeftRoom;
    _width = _body.left + std::max(_body.width, kLongSide * 0.8) + kMargin;
    _unit = unit;
    _x = AxisAround(horizontal, _body.left, _body.width);
    _unnamed = groups.size();
    // The heading tells how many names have no room, which depends on where the body is only by its height.
    _heading.emplace(heading, smallPrint, _width - 2.0 * kMargin);
    PlaceBody(vertical);
    if (_unnamed == 0) return;
    smallPrint.push_back(
        fmt::format("Groups without room for their name: {} of {}.", _unnamed, groups.size()));
    _heading.emplace(heading, smallPrint, _width - 2.0 * kMargin);
    PlaceBody(vertical);
  }

  double Width() const { return _width; }
  double Height() const { return _body.top + _body.height + kBelow + kMargin; }

  void Draw(Canvas& canvas) const {
    _heading->Draw(canvas);
    DrawAxes(canvas);
    for (std::size_t group = 0; group < _groups.size() && !IsCrowded(); ++group)
      canvas.Veil(At(group), _unit, ColourOf(group));
    for (std::size_t group = 0; group < _groups.size(); ++group)
      canvas.Circle(At(group), _unit, IsCrowded() ? kRule : ColourOf(group));
    for (std::size_t group = 0; group < _groups.size(); ++group) {
      canvas.Disc(At(group), kDot + kRim, kPaper);
      canvas.Disc(At(group), kDot, ColourOf(group));
    }
    for (std::size_t group = 0; group < _groups.size(); ++group) {
      if (_places[group]) canvas.Text(*_places[group], _groups[group], {.size = kNameSize, .hasHalo = true});
    }
  }

 private:
  /// More groups than there are colours: two of one colour would be taken for the same kind, and so many veils add up to
  /// a wall.
  bool IsCrowded() const { return _groups.size() > kKinds; }
  Colour ColourOf(std::size_t group) const { return IsCrowded() ? kAccent : OfKind(group); }

  struct Range {
    double min;
    double max;
    double Width() const { return max - min; }
  };

  Range RangeOf(std::size_t function) const {
    Range range{_functions.centroids.At(0, function), _functions.centroids.At(0, function)};
    for (std::size_t group = 0; group < _groups.size(); ++group) {
      range.min = std::min(range.min, _functions.centroids.At(group, function));
      range.max = std::max(range.max, _functions.centroids.At(group, function));
    }
    const double beyond = std::max(kBeyond, kBeyondPart * range.Width());
    return {range.min - beyond, range.max + beyond};
  }

  Axis AxisAround(const Range& range, double start, double length) const {
    const double middle = (range.min + range.max) / 2.0;
    const double half = std::abs(length) / _unit / 2.0;
    return {middle - half, middle + half, start, length};
  }

  void PlaceBody(const Range& vertical) {
    _body.top = _heading->Height();
    _y = AxisAround(vertical, _body.top + _body.height, -_body.height);
    Names names({_body.left, _body.top, _width - kMargin - _body.left, _body.height});
    for (std::size_t group = 0; group < _groups.size(); ++group) names.Avoid(At(group));
    _places.clear();
    for (std::size_t group = 0; group < _groups.size(); ++group)
      _places.push_back(names.Place(At(group), TextWidth(_groups[group], kNameSize)));
    _unnamed = static_cast<std::size_t>(std::count(_places.begin(), _places.end(), std::nullopt));
  }

  Point At(std::size_t group) const {
    return {_x.At(_functions.centroids.At(group, 0)), _y.At(_functions.centroids.At(group, 1))};
  }

  void DrawAxes(Canvas& canvas) const {
    const double right = _body.left + _body.width;
    const double bottom = _body.top + _body.height;
    for (const Tick& tick : RoundTicks(_x.min, _x.max, kTicks)) {
      const double x = _x.At(tick.value);
      canvas.Line({x, _body.top}, {x, bottom}, kFaintRule);
      canvas.Text({x, bottom + kTickSize + 4.0}, tick.label,
                  {.size = kTickSize, .colour = kFaintInk, .align = Align::kCentre});
    }
    for (const Tick& tick : RoundTicks(_y.min, _y.max, kTicks)) {
      const double y = _y.At(tick.value);
      canvas.Line({_body.left, y}, {right, y}, kFaintRule);
      canvas.Text({_body.left - 4.0, y + kTickSize * kCapHeight / 2.0}, tick.label,
                  {.size = kTickSize, .colour = kFaintInk, .align = Align::kRight});
    }
    canvas.Frame(_body, kRule);
    canvas.Text({_body.left + _body.width / 2.0, bottom + 2.0 * kTickSize + 11.0},
                FunctionTitle(_functions, 0), {.size = kNameSize, .align = Align::kCentre});
    canvas.Text({kMargin + kNameSize, _body.top + _body.height / 2.0},
                Fitted(FunctionTitle(_functions, 1), kNameSize, _body.height),
                {.size = kNameSize, .align = Align::kCentre, .isUpward = true});
  }

  const derive::CanonicalFunctions& _functions;
  std::vector<std::string> _groups;
  std::vector<std::optional<Point>> _places;
  std::size_t _unnamed = 0;
  std::optional<HeadingBlock> _heading;
  Box _body = {};
  double _width = 0.0;
  double _unit = 1.0;
  Axis _x = {};
  Axis _y = {};
};

void DrawLine(Canvas& canvas, const Rows& rows, const derive::CanonicalFunctions& functions) {
  rows.DrawFrame(canvas);
  const std::vector<double>& cells = functions.centroids.cells;
  const auto [min, max] = std::minmax_element(cells.begin(), cells.end());
  const Axis axis = AxisOver(*min - 1.0, *max + 1.0, rows.Body().left, rows.Body().width);
  rows.DrawTicks(canvas, axis, FunctionTitle(functions, 0));
  for (std::size_t group = 0; group < rows.Count(); ++group) {
    const double mean = cells[group];
    const double y = rows.Middle(group);
    canvas.Line({axis.At(mean - 1.0), y}, {axis.At(mean + 1.0), y}, kAccent,
                std::min(rows.Pitch() * 0.12, 1.6));
    canvas.Disc({axis.At(mean), y}, std::min(rows.Pitch() * 0.3, kDot), kAccent);
  }
}

}  // namespace

Picture DrawCentroids(const std::string& name, const Heading& heading,
                      const derive::CanonicalFunctions& functions, const std::vector<std::string>& groups) {
  const std::size_t count = functions.eigenvalues.size();
  const std::string description =
      fmt::format("The means of {} groups on {}.", groups.size(),
                  count > 1 ? "the first two canonical functions" : "the canonical function");
  if (count == 1) {
    const auto rows = std::make_shared<const Rows>(
        heading,
        std::vector<std::string>{
            "Dot: the mean of a group; line: one standard deviation within groups to both "
            "sides, which is the unit of the axis."},
        groups, RowsRoom{.body = kLongSide, .below = kAxisRoom});
    return {.name = name,
            .title = heading.title,
            .description = description,
            .width = rows->Width(),
            .height = rows->Height(),
            .draw = [rows, &functions](Canvas& canvas) { DrawLine(canvas, *rows, functions); }};
  }
  std::vector<std::string> smallPrint = {
      "Dot: the mean of a group; circle: one standard deviation within groups, which is the unit of both "
      "axes. In "
      "brackets: the share that a function has in the differences between the groups."};
  const auto plane = std::make_shared<const Plane>(heading, std::move(smallPrint), functions, groups);
  return {.name = name,
          .title = heading.title,
          .description = description,
          .width = plane->Width(),
          .height = plane->Height(),
          .draw = [plane](Canvas& canvas) { plane->Draw(canvas); }};
}

}  // namespace render
