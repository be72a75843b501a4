#ifndef HOST_RENDER_PLOT_FONTS_H
#define HOST_RENDER_PLOT_FONTS_H

#include <cairo.h>

#include <string_view>
#include <vector>

namespace render {

/// Glyphs of one font at their places: the run starts at x = 0, or where the one before it ends.
struct GlyphRun {
  cairo_font_face_t* face;
  std::vector<cairo_glyph_t> glyphs;
};

struct ShapedText {
  std::vector<GlyphRun> runs;
  double width;
};

/// The text as glyphs on a baseline from (0, 0) to the right. A character that the sans-serif font lacks comes from a font
/// of the system that has it; where none has, and where there is no font at all, a box stands for it.
ShapedText Shape(std::string_view text, double size, bool isBold);

/// Measures and draws letters of the same shape on every surface.
void UseExactLetters(cairo_font_options_t* options);

}  // namespace render

#endif
