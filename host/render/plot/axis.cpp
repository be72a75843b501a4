#include "render/plot/axis.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "render/plot/label.h"
#include "text/printable.h"

namespace render {
namespace {

constexpr double kTitleSize = 11.0;
constexpr double kTitleLine = 14.0;
constexpr double kSmallSize = 8.0;
constexpr double kSmallLine = 11.0;
constexpr double kBelow = 12.0;

constexpr double kLargestName = 9.0;
constexpr double kSmallestName = 4.5;
/// Of a row's height, what letters may take without touching the next.
constexpr double kNameShare = 0.82;

}  // namespace

std::vector<Tick> RoundTicks(double min, double max, int count) {
  const double rough = (max - min) / count;
  const double power = std::pow(10.0, std::floor(std::log10(rough)));
  if (!std::isfinite(power) || power == 0.0) return {};
  const double digit = rough / power;
  const double step = power * (digit <= 1.0 ? 1.0 : digit <= 2.0 ? 2.0 : digit <= 5.0 ? 5.0 : 10.0);
  std::vector<Tick> ticks;
  // A value is a multiple of the step, not a sum of steps, whose rounding would show in the labels.
  const double first = std::ceil(min / step - 1e-9);
  const double last = std::floor(max / step + 1e-9);
  for (int tick = 0; tick <= static_cast<int>(last - first); ++tick) {
    const double value = (first + tick) * step;
    ticks.push_back({value, WithMinus(fmt::format("{:.6g}", value == 0.0 ? 0.0 : value))});
  }
  return ticks;
}

HeadingBlock::HeadingBlock(const Heading& heading, const std::vector<std::string>& smallPrint, double width)
    : _title(Wrapped(heading.title, kTitleSize, width, true)),
      _smallPrint(Wrapped(heading.account, kSmallSize, width)) {
  for (const std::string& sentence : smallPrint)
    for (std::string& line : Wrapped(sentence, kSmallSize, width)) _smallPrint.push_back(std::move(line));
}

double HeadingBlock::Height() const {
  return kMargin + kTitleLine * static_cast<double>(_title.size()) +
         kSmallLine * static_cast<double>(_smallPrint.size()) + kBelow;
}

void HeadingBlock::Draw(Canvas& canvas) const {
  double baseline = kMargin;
  for (const std::string& line : _title)
    canvas.Text({kMargin, baseline += kTitleLine}, line, {.size = kTitleSize, .isBold = true});
  for (const std::string& line : _smallPrint)
    canvas.Text({kMargin, baseline += kSmallLine}, line, {.size = kSmallSize, .colour = kFaintInk});
}

NameColumn::NameColumn(const std::vector<std::string>& names, double pitch, double mostWidth)
    : _fontSize(std::clamp(pitch * kNameShare, kSmallestName, kLargestName)),
      _step(static_cast<std::size_t>(std::max(std::ceil(_fontSize / pitch * kNameShare), 1.0))) {
  for (const std::string& name : names) {
    _names.push_back(Fitted(text::Escaped(name), _fontSize, mostWidth));
    _width = std::max(_width, TextWidth(_names.back(), _fontSize));
  }
}

}  // namespace render
