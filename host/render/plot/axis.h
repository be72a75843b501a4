#ifndef HOST_RENDER_PLOT_AXIS_H
#define HOST_RENDER_PLOT_AXIS_H

#include <string>
#include <vector>

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

/// The axis of an interval of values, with a little air at both ends.
Axis AxisOver(double min, double max, double start, double length);

}  // namespace render

#endif
