#include "render/plot/picture.h"

#include <cairo-pdf.h>
#include <cairo-svg.h>
#include <cairo.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <exception>
#include <memory>
#include <new>
#include <stdexcept>

#include "render/plot/canvas.h"

namespace render {
namespace {

constexpr double kPixelsPerPoint = 2.0;
/// What cairo and most viewers can hold.
constexpr double kMostPixels = 30000.0;

struct Free {
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
  void operator()(cairo_t* cairo) const { cairo_destroy(cairo); }
};
using Surface = std::unique_ptr<cairo_surface_t, Free>;

/// Hands what cairo writes to a sink. Exceptions do not pass through code in C: the first one is kept.
struct Stream {
  const Sink& sink;
  std::exception_ptr failure = nullptr;

  static cairo_status_t Write(void* closure, const unsigned char* bytes, unsigned int count) {
    auto& stream = *static_cast<Stream*>(closure);
    if (stream.failure) return CAIRO_STATUS_WRITE_ERROR;
    try {
      stream.sink({reinterpret_cast<const char*>(bytes), count});
    } catch (...) {
      stream.failure = std::current_exception();
      return CAIRO_STATUS_WRITE_ERROR;
    }
    return CAIRO_STATUS_SUCCESS;
  }

  void Check(cairo_status_t status) const {
    if (failure) std::rethrow_exception(failure);
    if (status == CAIRO_STATUS_NO_MEMORY) throw std::bad_alloc();
    if (status != CAIRO_STATUS_SUCCESS)
      throw std::runtime_error(std::string("the picture cannot be drawn: ") + cairo_status_to_string(status));
  }
};

void Draw(const Picture& picture, cairo_surface_t* surface, double scale, const Stream& stream) {
  const std::unique_ptr<cairo_t, Free> cairo(cairo_create(surface));
  cairo_scale(cairo.get(), scale, scale);
  Canvas canvas(cairo.get());
  // Whole pixels reach beyond the edge.
  canvas.Fill({0.0, 0.0, picture.width + 1.0, picture.height + 1.0}, kPaper);
  picture.draw(canvas);
  stream.Check(cairo_status(cairo.get()));
}

void WritePixels(const Picture& picture, Stream& stream) {
  const double scale = std::min(kPixelsPerPoint, kMostPixels / std::max(picture.width, picture.height));
  const Surface surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24,
                                                   static_cast<int>(std::ceil(picture.width * scale)),
                                                   static_cast<int>(std::ceil(picture.height * scale))));
  Draw(picture, surface.get(), scale, stream);
  stream.Check(cairo_surface_write_to_png_stream(surface.get(), Stream::Write, &stream));
}

void WriteShapes(const Picture& picture, PictureForm form, Stream& stream) {
  const auto create =
      form == PictureForm::kSvg ? cairo_svg_surface_create_for_stream : cairo_pdf_surface_create_for_stream;
  const Surface surface(create(Stream::Write, &stream, picture.width, picture.height));
  if (form == PictureForm::kPdf) {
    // Without a date of its own cairo would write today's.
    cairo_pdf_surface_set_metadata(surface.get(), CAIRO_PDF_METADATA_CREATE_DATE, "");
    cairo_pdf_surface_set_metadata(surface.get(), CAIRO_PDF_METADATA_TITLE, picture.title.c_str());
  }
  Draw(picture, surface.get(), 1.0, stream);
  cairo_surface_finish(surface.get());
  stream.Check(cairo_surface_status(surface.get()));
}

}  // namespace

std::optional<PictureForm> FormOfPicture(std::string_view path) {
  constexpr std::array<std::pair<std::string_view, PictureForm>, 3> kEndings = {
      {{".svg", PictureForm::kSvg}, {".png", PictureForm::kPng}, {".pdf", PictureForm::kPdf}}};
  for (const auto& [ending, form] : kEndings) {
    // A name that is nothing but an ending has none.
    if (path.size() <= ending.size()) continue;
    const std::string_view last = path.substr(path.size() - ending.size());
    const auto isSame = [](char a, char b) { return std::tolower(static_cast<unsigned char>(a)) == b; };
    if (std::equal(last.begin(), last.end(), ending.begin(), isSame)) return form;
  }
  return std::nullopt;
}

void WritePicture(const Picture& picture, PictureForm form, const Sink& sink) {
  Stream stream{.sink = sink};
  if (form == PictureForm::kPng) {
    WritePixels(picture, stream);
  } else {
    WriteShapes(picture, form, stream);
  }
}

}  // namespace render
