#include "render/plot/colour.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace render {
namespace {

constexpr std::array kRedToBlue = {
    FromHex(0x67001f), FromHex(0xb2182b), FromHex(0xd6604d), FromHex(0xf4a582),
    FromHex(0xfddbc7), FromHex(0xf7f7f7), FromHex(0xd1e5f0), FromHex(0x92c5de),
    FromHex(0x4393c3), FromHex(0x2166ac), FromHex(0x053061),
};

constexpr std::array<Colour, kKinds> kOkabeIto = {
    FromHex(0x0072b2), FromHex(0xd55e00), FromHex(0x009e73), FromHex(0xcc79a7),
    FromHex(0xe69f00), FromHex(0x56b4e9), FromHex(0x000000),
};

}  // namespace

Colour Diverging(double value) {
  const double place =
      (std::clamp(value, -1.0, 1.0) + 1.0) / 2.0 * static_cast<double>(kRedToBlue.size() - 1);
  const std::size_t below = std::min(static_cast<std::size_t>(place), kRedToBlue.size() - 2);
  const double share = place - static_cast<double>(below);
  const Colour& from = kRedToBlue[below];
  const Colour& to = kRedToBlue[below + 1];
  return {std::lerp(from.red, to.red, share), std::lerp(from.green, to.green, share),
          std::lerp(from.blue, to.blue, share)};
}

Colour OfKind(std::size_t kind) { return kOkabeIto[kind % kKinds]; }

Colour InkOn(Colour ground) {
  const double light = 0.299 * ground.red + 0.587 * ground.green + 0.114 * ground.blue;
  return light < 0.55 ? kPaper : kInk;
}

}  // namespace render
