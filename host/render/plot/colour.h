#ifndef HOST_RENDER_PLOT_COLOUR_H
#define HOST_RENDER_PLOT_COLOUR_H

#include <cstddef>

namespace render {

/// Parts of light from 0 to 1.
struct Colour {
  double red;
  double green;
  double blue;
};

constexpr Colour FromHex(unsigned int code) {
  return {static_cast<double>(code >> 16 & 0xffU) / 255.0, static_cast<double>(code >> 8 & 0xffU) / 255.0,
          static_cast<double>(code & 0xffU) / 255.0};
}

inline constexpr Colour kPaper = FromHex(0xffffff);
inline constexpr Colour kInk = FromHex(0x222222);
inline constexpr Colour kFaintInk = FromHex(0x666666);
inline constexpr Colour kRule = FromHex(0xcccccc);
inline constexpr Colour kFaintRule = FromHex(0xe8e8e8);
inline constexpr Colour kMissing = FromHex(0xbdbdbd);  ///< what is undefined: grey, which no scale here has
inline constexpr Colour kAccent = FromHex(0x0072b2);   ///< the blue of Okabe and Ito
inline constexpr Colour kWarning = FromHex(0xd55e00);  ///< their vermilion

/// From −1, dark red, over 0, nearly white, to 1, dark blue; what is beyond counts as the end. The classes of RdBu by
/// Harrower and Brewer (2003), which those who are blind to red or green tell apart, with straight lines between them.
Colour Diverging(double value);

/// A colour for one of many kinds: the eight of Okabe and Ito (2008) that colour-blind people tell apart, without yellow,
/// which paper swallows; then again from the first.
Colour OfKind(std::size_t kind);
inline constexpr std::size_t kKinds = 7;

/// Black or white, whichever is easier to read on it.
Colour InkOn(Colour ground);

}  // namespace render

#endif
