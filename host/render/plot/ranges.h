#ifndef HOST_RENDER_PLOT_RANGES_H
#define HOST_RENDER_PLOT_RANGES_H

#include <string>
#include <vector>

#include "derive/describe.h"
#include "render/plot/picture.h"

namespace render {

/// Range, mean and deviation of each variable, and what share of it is missing. With groups there are descriptions of all
/// variables for the first group, then for the next; the picture has the groups of a variable next to each other, on one
/// scale.
Picture DrawRanges(const std::string& name, const Heading& heading,
                   const std::vector<derive::Description>& descriptions,
                   const std::vector<std::string>& variables, const std::vector<std::string>& groups = {});

}  // namespace render

#endif
