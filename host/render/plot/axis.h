#ifndef HOST_RENDER_PLOT_AXIS_H
#define HOST_RENDER_PLOT_AXIS_H

#include <string>
#include <vector>

#include "render/plot/canvas.h"
#include "render/plot/picture.h"

namespace render {

/// Values from `min` to `max`, which is larger, on a straight line of paper.
struct Axis {
  double min;
  double max;
  double start;   ///< where min is
  double length;  ///< negative: towards the left or the top

  double At(double value) const { return start + (value - min) / (max - min) * length; }
};

struct Tick {
  double value;
  std::string label;
};

/// About `count` round numbers in a range: multiples of 1, 2 or 5 times a power of ten.
std::vector<Tick> RoundTicks(double min, double max, int count);

/// The title, in bold, and under it the lines of small print; Height tells before where they end.
class HeadingBlock {
 public:
  HeadingBlock(const Heading& heading, const std::vector<std::string>& smallPrint, double width);

  double Height() const;
  void Draw(Canvas& canvas) const;

 private:
  std::vector<std::string> _title;
  std::vector<std::string> _smallPrint;
};

/// Around everything in a picture.
inline constexpr double kMargin = 14.0;

/// A column of names, one per row of a picture: as large as the rows allow, shortened in the middle where too long.
class NameColumn {
 public:
  NameColumn(const std::vector<std::string>& names, double pitch, double mostWidth);

  double Width() const { return _width; }
  double FontSize() const { return _fontSize; }
  /// Every so many rows have a name; the others would have no room.
  std::size_t Step() const { return _step; }
  const std::string& Name(std::size_t row) const { return _names[row]; }

 private:
  std::vector<std::string> _names;
  double _fontSize;
  std::size_t _step;
  double _width = 0.0;
};

}  // namespace render

#endif
