#ifndef HOST_RENDER_PLOT_PICTURE_H
#define HOST_RENDER_PLOT_PICTURE_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "render/sink.h"

namespace render {

class Canvas;

/// More variables, groups or predictors than these are no picture any more.
inline constexpr std::size_t kMostPictured = 1000;

/// What a picture says above what is drawn.
struct Heading {
  std::string title;    ///< one sentence without a full stop
  std::string account;  ///< what became of the rows
};

/// Where the cells of a matrix are in a picture, in points.
struct CellGrid {
  double left;
  double top;
  double width;
  double height;
  std::vector<std::size_t> rows;  ///< the matrix's own, from top to bottom
  std::vector<std::size_t> cols;
};

/// A drawing of so many points of 1/72 inch.
struct Picture {
  std::string name;         ///< unique on its page: letters, digits and hyphens
  std::string title;        ///< in UTF-8, as the description
  std::string description;  ///< what it shows, for those who cannot see it
  double width;
  double height;
  std::function<void(Canvas&)> draw;
  std::optional<CellGrid> grid = {};
};

enum class PictureForm { kSvg, kPng, kPdf };

/// By the ending of a file's name, in any case: .svg, .png or .pdf.
std::optional<PictureForm> FormOfPicture(std::string_view path);

/// The same picture is the same bytes, as long as the fonts are the same. Throws std::bad_alloc, std::runtime_error when
/// cairo cannot draw it, and what the sink throws.
void WritePicture(const Picture& picture, PictureForm form, const Sink& sink);

}  // namespace render

#endif
