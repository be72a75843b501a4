#include "render/plot/names.h"

#include <algorithm>
#include <cmath>

#include "render/plot/canvas.h"
#include "text/printable.h"

namespace render {
namespace {

constexpr double kLargestName = 9.0;
constexpr double kSmallestName = 4.5;
/// Of a row's height, what letters may take without touching the next.
constexpr double kNameShare = 0.82;

}  // namespace

NameColumn::NameColumn(const std::vector<std::string>& names, double pitch, double mostWidth)
    : _fontSize(std::clamp(pitch * kNameShare, kSmallestName, kLargestName)),
      _step(static_cast<std::size_t>(std::max(std::ceil(_fontSize / pitch * kNameShare), 1.0))) {
  for (const std::string& name : names) {
    _names.push_back(Fitted(text::Escaped(name), _fontSize, mostWidth));
    _width = std::max(_width, TextWidth(_names.back(), _fontSize));
  }
}

}  // namespace render
