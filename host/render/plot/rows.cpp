#include "render/plot/rows.h"

#include <algorithm>

namespace render {
namespace {

constexpr double kTall = 900.0;  // of rows that are neither as high nor as low as they may be
constexpr double kLowestRow = 8.0;
constexpr double kHighestRow = 20.0;
constexpr double kMostNameWidth = 170.0;
constexpr double kNameGap = 6.0;
constexpr double kHeads = 14.0;
constexpr double kSmall = 7.5;
constexpr int kTicks = 6;
constexpr double kScreen = 500.0;  ///< higher than this, a body has its ticks above it too

}  // namespace

Rows::Rows(const Heading& heading, const std::vector<std::string>& smallPrint,
           const std::vector<std::string>& names, const RowsRoom& room)
    : _count(names.size()),
      _pitch(
          std::clamp(kTall / static_cast<double>(std::max<std::size_t>(_count, 1)), kLowestRow, kHighestRow)),
      _names(names, _pitch, kMostNameWidth),
      _width(2.0 * kMargin + _names.Width() + kNameGap + room.before + room.body + room.behind),
      _heading(heading, smallPrint, _width - 2.0 * kMargin),
      _body{kMargin + _names.Width() + kNameGap + room.before, _heading.Height() + kHeads, room.body,
            _pitch * static_cast<double>(_count)},
      _below(room.below) {}

double Rows::FontSize(double most) const { return std::min(_names.FontSize(), most); }

void Rows::DrawFrame(Canvas& canvas) const {
  _heading.Draw(canvas);
  for (std::size_t row = 0; row < _count; ++row) {
    const double size = _names.FontSize();
    canvas.Line({_body.left, Middle(row)}, {_body.left + _body.width, Middle(row)}, kFaintRule, 0.5);
    canvas.Text({kMargin + _names.Width(), Baseline(row, size)}, _names.Name(row),
                {.size = size, .align = Align::kRight});
  }
}

void Rows::DrawTicks(Canvas& canvas, const Axis& axis, const std::string& title) const {
  const double bottom = _body.top + _body.height;
  canvas.Line({_body.left, bottom}, {_body.left + _body.width, bottom}, kRule);
  for (const Tick& tick : RoundTicks(axis.min, axis.max, kTicks)) {
    const double x = axis.At(tick.value);
    canvas.Line({x, _body.top}, {x, bottom + 3.0}, kRule, 0.5);
    const Lettering lettering{.size = kSmall, .colour = kFaintInk, .align = Align::kCentre};
    canvas.Text({x, bottom + kSmall + 4.0}, tick.label, lettering);
    if (_body.height > kScreen) canvas.Text({x, _body.top - 4.0}, tick.label, lettering);
  }
  canvas.Text({_body.left + _body.width / 2.0, bottom + 2.0 * kSmall + 9.0}, title,
              {.size = kSmall + 0.5, .align = Align::kCentre});
}

}  // namespace render
