#ifndef HOST_RENDER_SINK_H
#define HOST_RENDER_SINK_H

#include <functional>
#include <string_view>

namespace render {

/// Takes the next piece of the output. What it throws passes through.
using Sink = std::function<void(std::string_view)>;

}  // namespace render

#endif
