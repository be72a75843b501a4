#ifndef HOST_RENDER_HTML_ASSETS_H
#define HOST_RENDER_HTML_ASSETS_H

#include <string_view>

/// The files of this folder, which the build puts into the program.
namespace render {

extern const std::string_view kPageStyle;       ///< page.css
extern const std::string_view kPageScript;      ///< page.js
extern const std::string_view kPageScriptHash;  ///< its SHA-256, as a browser is told it: base64

}  // namespace render

#endif
