#ifndef HOST_RENDER_PLOT_COEFFICIENTS_H
#define HOST_RENDER_PLOT_COEFFICIENTS_H

#include <string>
#include <vector>

#include "derive/regression.h"
#include "render/plot/picture.h"

namespace render {

/// Standardised coefficients with their confidence limits, a row for each predictor. `variables` are the names of the
/// predictors and then of the response, `notes` what else is to be told. What it is made of must outlive the picture.
Picture DrawCoefficients(const std::string& name, const Heading& heading,
                         const derive::Regression& regression, double level,
                         const std::vector<std::string>& variables, const std::vector<std::string>& notes);

}  // namespace render

#endif
