#ifndef HOST_RENDER_HTML_SVG_H
#define HOST_RENDER_HTML_SVG_H

#include <string>

#include "render/plot/picture.h"

namespace render {

/// `text` for HTML, between tags or in quotes.
std::string EscapedForHtml(std::string_view text);

/// A picture as an element of an HTML page. Its identifiers begin with `prefix`, so that two pictures on a page do not
/// take each other's letters.
std::string InlineSvg(const Picture& picture, const std::string& prefix);

}  // namespace render

#endif
