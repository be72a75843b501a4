#ifndef HOST_RENDER_PLOT_CANVAS_H
#define HOST_RENDER_PLOT_CANVAS_H

#include <cairo.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "render/plot/colour.h"

namespace render {

// All lengths are points of 1/72 inch, from the left and from the top.

struct Point {
  double x;
  double y;
};

struct Box {
  double left;
  double top;
  double width;
  double height;
};

enum class Align { kLeft, kCentre, kRight };

struct Lettering {
  double size = 8.0;
  Colour colour = kInk;
  Align align = Align::kLeft;
  bool isBold = false;
  bool hasHalo = false;   ///< of paper, so that lines under the text do not run into it
  bool isUpward = false;  ///< turned to be read from below; alignment is along the text
};

/// Height of capitals and digits, for a font size of 1: a text in the middle of a line starts half of it below.
inline constexpr double kCapHeight = 0.72;

/// Draws on a surface of cairo. Texts are UTF-8 without control characters; a character that the font lacks is taken
/// from a font of the system that has it.
class Canvas {
 public:
  /// `cairo` must outlive the canvas.
  explicit Canvas(cairo_t* cairo);

  void Line(Point from, Point to, Colour colour, double width = 0.6);
  void Dashes(Point from, Point to, Colour colour, double width = 0.6);
  void Fill(const Box& box, Colour colour);
  void Frame(const Box& box, Colour colour, double width = 0.6);
  void Disc(Point centre, double radius, Colour colour);
  void Circle(Point centre, double radius, Colour colour, double width = 0.8);
  /// Fills a circle thinly enough to see what is under it.
  void Veil(Point centre, double radius, Colour colour);
  /// At its baseline.
  void Text(Point at, std::string_view text, const Lettering& lettering);
  /// A grid of coloured cells without gaps, as one image: for more of them than shapes should be.
  void Mosaic(const Box& box, std::size_t rows, std::size_t cols,
              const std::function<Colour(std::size_t row, std::size_t col)>& colourAt);

 private:
  void Use(Colour colour, double opacity = 1.0);

  cairo_t* _cairo;
};

double TextWidth(std::string_view text, double size, bool isBold = false);
/// The text, or with an ellipsis in its middle as much of it as is no wider than `width`.
std::string Fitted(std::string_view text, double size, double width);
/// The text in lines no wider than `width`; a word that is wider is shortened.
std::vector<std::string> Wrapped(std::string_view text, double size, double width, bool isBold = false);

}  // namespace render

#endif
