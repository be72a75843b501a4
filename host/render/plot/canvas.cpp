#include "render/plot/canvas.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <numbers>
#include <utility>

#include "render/plot/fonts.h"
#include "text/printable.h"

namespace render {
namespace {

constexpr double kFullTurn = 2.0 * std::numbers::pi;
constexpr double kVeil = 0.12;
constexpr double kHalo = 0.8;
constexpr double kHaloWidth = 0.25;  // for a font size of 1
constexpr const char* kEllipsis = "…";

/// Viewers smooth an image that they enlarge; so many pixels per cell keep its edges where they are.
constexpr std::size_t kMosaicPixels = 3000;
constexpr std::size_t kMostCellPixels = 8;

std::uint32_t Pixel(Colour colour) {
  const auto part = [](double light) { return static_cast<std::uint32_t>(std::lround(light * 255.0)); };
  return part(colour.red) << 16 | part(colour.green) << 8 | part(colour.blue);
}

struct Free {
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};

}  // namespace

Canvas::Canvas(cairo_t* cairo) : _cairo(cairo) {
  cairo_font_options_t* options = cairo_font_options_create();
  UseExactLetters(options);
  cairo_set_font_options(_cairo, options);
  cairo_font_options_destroy(options);
}

void Canvas::Use(Colour colour, double opacity) {
  cairo_set_source_rgba(_cairo, colour.red, colour.green, colour.blue, opacity);
}

void Canvas::Line(Point from, Point to, Colour colour, double width) {
  Use(colour);
  cairo_set_line_width(_cairo, width);
  cairo_move_to(_cairo, from.x, from.y);
  cairo_line_to(_cairo, to.x, to.y);
  cairo_stroke(_cairo);
}

void Canvas::Dashes(Point from, Point to, Colour colour, double width) {
  const double length = 3.0;
  cairo_set_dash(_cairo, &length, 1, 0.0);
  Line(from, to, colour, width);
  cairo_set_dash(_cairo, nullptr, 0, 0.0);
}

void Canvas::Fill(const Box& box, Colour colour) {
  Use(colour);
  cairo_rectangle(_cairo, box.left, box.top, box.width, box.height);
  cairo_fill(_cairo);
}

void Canvas::Frame(const Box& box, Colour colour, double width) {
  Use(colour);
  cairo_set_line_width(_cairo, width);
  cairo_rectangle(_cairo, box.left, box.top, box.width, box.height);
  cairo_stroke(_cairo);
}

void Canvas::Disc(Point centre, double radius, Colour colour) {
  Use(colour);
  cairo_arc(_cairo, centre.x, centre.y, radius, 0.0, kFullTurn);
  cairo_fill(_cairo);
}

void Canvas::Veil(Point centre, double radius, Colour colour) {
  Use(colour, kVeil);
  cairo_arc(_cairo, centre.x, centre.y, radius, 0.0, kFullTurn);
  cairo_fill(_cairo);
}

void Canvas::Circle(Point centre, double radius, Colour colour, double width) {
  Use(colour);
  cairo_set_line_width(_cairo, width);
  // Without this a line would lead here from wherever the pen was.
  cairo_new_sub_path(_cairo);
  cairo_arc(_cairo, centre.x, centre.y, radius, 0.0, kFullTurn);
  cairo_stroke(_cairo);
}

void Canvas::Text(Point at, std::string_view text, const Lettering& lettering) {
  const ShapedText shaped = Shape(text, lettering.size, lettering.isBold);
  const double before = lettering.align == Align::kLeft     ? 0.0
                        : lettering.align == Align::kCentre ? shaped.width / 2.0
                                                            : shaped.width;
  cairo_save(_cairo);
  cairo_translate(_cairo, at.x, at.y);
  if (lettering.isUpward) cairo_rotate(_cairo, -kFullTurn / 4.0);
  cairo_translate(_cairo, -before, 0.0);
  cairo_set_font_size(_cairo, lettering.size);
  if (lettering.hasHalo) {
    for (const GlyphRun& run : shaped.runs) {
      cairo_set_font_face(_cairo, run.face);
      cairo_glyph_path(_cairo, run.glyphs.data(), static_cast<int>(run.glyphs.size()));
    }
    Use(kPaper, kHalo);
    cairo_set_line_width(_cairo, lettering.size * kHaloWidth);
    cairo_set_line_join(_cairo, CAIRO_LINE_JOIN_ROUND);
    cairo_stroke(_cairo);
  }
  Use(lettering.colour);
  for (const GlyphRun& run : shaped.runs) {
    cairo_set_font_face(_cairo, run.face);
    cairo_show_glyphs(_cairo, run.glyphs.data(), static_cast<int>(run.glyphs.size()));
  }
  cairo_restore(_cairo);
}

void Canvas::Mosaic(const Box& box, std::size_t rows, std::size_t cols,
                    const std::function<Colour(std::size_t row, std::size_t col)>& colourAt) {
  const std::size_t side = std::clamp<std::size_t>(kMosaicPixels / std::max(rows, cols), 1, kMostCellPixels);
  const auto width = static_cast<int>(cols * side);
  const auto height = static_cast<int>(rows * side);
  const std::unique_ptr<cairo_surface_t, Free> image(
      cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
  unsigned char* bytes = cairo_image_surface_get_data(image.get());
  if (bytes == nullptr) return;  // The canvas takes the error over below, where whoever draws asks for it.
  const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(image.get()));
  for (std::size_t row = 0; row < rows; ++row) {
    auto* first = reinterpret_cast<std::uint32_t*>(bytes + row * side * stride);
    for (std::size_t col = 0; col < cols; ++col)
      std::fill_n(first + col * side, side, Pixel(colourAt(row, col)));
    for (std::size_t line = 1; line < side; ++line)
      std::copy_n(first, cols * side, reinterpret_cast<std::uint32_t*>(bytes + (row * side + line) * stride));
  }
  cairo_surface_mark_dirty(image.get());
  cairo_save(_cairo);
  cairo_translate(_cairo, box.left, box.top);
  cairo_scale(_cairo, box.width / width, box.height / height);
  cairo_set_source_surface(_cairo, image.get(), 0.0, 0.0);
  cairo_pattern_set_filter(cairo_get_source(_cairo), CAIRO_FILTER_GOOD);
  // Smoothing at the edges would take in what is not there.
  cairo_pattern_set_extend(cairo_get_source(_cairo), CAIRO_EXTEND_PAD);
  cairo_rectangle(_cairo, 0.0, 0.0, width, height);
  cairo_fill(_cairo);
  cairo_restore(_cairo);
}

double TextWidth(std::string_view text, double size, bool isBold) { return Shape(text, size, isBold).width; }

std::string Fitted(std::string_view text, double size, double width) {
  if (TextWidth(text, size) <= width) return std::string(text);
  // Where a character begins that stands by itself.
  std::vector<std::size_t> starts;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = text::CharacterLength(text.substr(at));
    if (text::Width(text.substr(at, length)) > 0) starts.push_back(at);
    at += length;
  }
  starts.push_back(text.size());
  const std::size_t count = starts.size() - 1;
  const auto shortened = [&](std::size_t kept) {
    const std::size_t tail = kept / 2;
    return std::string(text.substr(0, starts[kept - tail])) + kEllipsis +
           std::string(text.substr(starts[count - tail]));
  };
  std::size_t fits = 1;
  for (std::size_t tooMany = count; fits + 1 < tooMany;) {
    const std::size_t middle = (fits + tooMany) / 2;
    (TextWidth(shortened(middle), size) <= width ? fits : tooMany) = middle;
  }
  return shortened(std::min(fits, count));
}

std::vector<std::string> Wrapped(std::string_view text, double size, double width, bool isBold) {
  std::vector<std::string> lines;
  std::string line;
  while (!text.empty()) {
    const std::size_t length = std::min(text.find(' '), text.size());
    // Bold letters are about a tenth wider.
    std::string word = Fitted(text.substr(0, length), size, isBold ? 0.9 * width : width);
    text.remove_prefix(std::min(length + 1, text.size()));
    std::string longer = line;
    if (!longer.empty()) longer += ' ';
    longer += word;
    if (!line.empty() && TextWidth(longer, size, isBold) > width) {
      lines.push_back(std::exchange(line, std::move(word)));
    } else {
      line = std::move(longer);
    }
  }
  if (!line.empty()) lines.push_back(std::move(line));
  return lines;
}

}  // namespace render
