#ifndef HOST_RENDER_PLOT_HEADING_H
#define HOST_RENDER_PLOT_HEADING_H

#include <string>
#include <vector>

#include "render/plot/canvas.h"
#include "render/plot/picture.h"

namespace render {

/// Around everything in a picture.
inline constexpr double kMargin = 14.0;

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

}  // namespace render

#endif
