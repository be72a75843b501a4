#ifndef HOST_RENDER_PLOT_HEATMAP_H
#define HOST_RENDER_PLOT_HEATMAP_H

#include <cstddef>
#include <string>
#include <vector>

#include "derive/matrix.h"
#include "render/plot/picture.h"

namespace render {

/// A matrix whose cells are to be coloured. Everything that it refers to must outlive the picture.
struct HeatMap {
  std::string name = {};
  Heading heading = {};
  /// What the cells are about, in the small print: what the colours mean, how the variables are ordered.
  std::vector<std::string> smallPrint = {};
  std::string description = {};
  const derive::Matrix* colours = nullptr;  ///< from −1 to 1
  /// Written into the cells where they are large enough.
  const derive::Matrix* labels = nullptr;
  bool areLabelsBounded = false;  ///< they are within ±1, and have one number of decimals
  const std::vector<std::string>* rows = nullptr;
  const std::vector<std::string>* cols = nullptr;
  std::vector<std::size_t> rowOrder = {};  ///< from top to bottom
  std::vector<std::size_t> colOrder = {};
  /// Of the rows, shown as bars beside them; none: no bars.
  std::vector<double> deviations = {};
};

Picture DrawHeatMap(HeatMap map);

}  // namespace render

#endif
