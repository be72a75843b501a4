#ifndef HOST_RENDER_PLOT_ROWS_H
#define HOST_RENDER_PLOT_ROWS_H

#include <cstddef>
#include <string>
#include <vector>

#include "render/plot/axis.h"
#include "render/plot/canvas.h"
#include "render/plot/heading.h"
#include "render/plot/names.h"

namespace render {

/// The room around the body of a picture of rows.
struct RowsRoom {
  double before = 0.0;  ///< between the names and the body
  double body = 360.0;  ///< its width
  double behind = 0.0;
  double below = 0.0;
};

/// A picture with a row for each of several names: heading, names, and a body with faint lines for the rows.
class Rows {
 public:
  Rows(const Heading& heading, const std::vector<std::string>& smallPrint,
       const std::vector<std::string>& names, const RowsRoom& room);

  double Width() const { return _width; }
  double Height() const { return _body.top + _body.height + _below + kMargin; }
  const Box& Body() const { return _body; }
  double Pitch() const { return _pitch; }
  std::size_t Count() const { return _count; }
  double Middle(std::size_t row) const { return _body.top + _pitch * (static_cast<double>(row) + 0.5); }
  /// Of the names, and of numbers in the rows; not larger than `most`.
  double FontSize(double most = 9.0) const;
  double Baseline(std::size_t row, double size) const { return Middle(row) + size * kCapHeight / 2.0; }

  void DrawFrame(Canvas& canvas) const;
  /// Lines through the body, and their labels under it.
  void DrawTicks(Canvas& canvas, const Axis& axis, const std::string& title) const;

 private:
  std::size_t _count;
  double _pitch;
  NameColumn _names;
  double _width;
  HeadingBlock _heading;
  Box _body;
  double _below;
};

/// Room for ticks and a title under an axis.
inline constexpr double kAxisRoom = 26.0;

}  // namespace render

#endif
