#ifndef HOST_RENDER_PLOT_CENTROIDS_H
#define HOST_RENDER_PLOT_CENTROIDS_H

#include <string>
#include <vector>

#include "derive/groups.h"
#include "render/plot/picture.h"

namespace render {

/// The groups on the first two canonical functions, or on the only one. `groups` are the names of those with weight, in
/// their order. What it is made of must outlive the picture.
Picture DrawCentroids(const std::string& name, const Heading& heading,
                      const derive::CanonicalFunctions& functions, const std::vector<std::string>& groups);

}  // namespace render

#endif
