#include "render/plot/heading.h"

#include <utility>

namespace render {
namespace {

constexpr double kTitleSize = 11.0;
constexpr double kTitleLine = 14.0;
constexpr double kSmallSize = 8.0;
constexpr double kSmallLine = 11.0;
constexpr double kBelow = 12.0;

}  // namespace

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

}  // namespace render
