#ifndef HOST_RENDER_FORMULAS_H
#define HOST_RENDER_FORMULAS_H

#include <string_view>
#include <vector>

#include "render/page.h"

namespace render {

/// How the results of a command are defined; nothing for a command that has none.
std::vector<Formula> FormulasOf(std::string_view command);

}  // namespace render

#endif
