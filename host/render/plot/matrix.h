#ifndef HOST_RENDER_PLOT_MATRIX_H
#define HOST_RENDER_PLOT_MATRIX_H

#include <string>
#include <vector>

#include "derive/matrix.h"
#include "render/plot/picture.h"

namespace render {

/// Covariances or correlations, of variables with each other or with others. What it refers to must outlive the picture.
struct MatrixView {
  std::string name;
  Heading heading;
  std::string colours;  ///< what these show, for the small print
  const derive::Matrix& matrix;
  /// The colours, whatever the matrix holds: a covariance by itself tells of the units of its variables first, and the
  /// largest variance would leave all others pale.
  const derive::Matrix& correlations;
  const std::vector<std::string>& rows;
  const std::vector<std::string>& cols;
  bool isSymmetric;
  bool isBounded;    ///< the matrix is one of correlations
  bool isClustered;  ///< ordered by similarity
};

Picture DrawMatrix(const MatrixView& view);

}  // namespace render

#endif
