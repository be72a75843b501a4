#include "render/plot/fonts.h"

#include <cairo-ft.h>
#include <fontconfig/fontconfig.h>

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <utility>

#include "text/printable.h"

namespace render {
namespace {

struct Free {
  void operator()(cairo_font_face_t* face) const { cairo_font_face_destroy(face); }
  void operator()(cairo_scaled_font_t* font) const { cairo_scaled_font_destroy(font); }
  void operator()(cairo_font_options_t* options) const { cairo_font_options_destroy(options); }
  void operator()(FcPattern* pattern) const { FcPatternDestroy(pattern); }
  void operator()(FcCharSet* characters) const { FcCharSetDestroy(characters); }
  void operator()(cairo_glyph_t* glyphs) const { cairo_glyph_free(glyphs); }
};
template <class T>
using Owned = std::unique_ptr<T, Free>;

/// The fonts in use. They stay for the life of the process, as cairo's own caches do.
class Faces {
 public:
  static cairo_font_face_t* Default(bool isBold) {
    static const Owned<cairo_font_face_t> plain = Toy(CAIRO_FONT_WEIGHT_NORMAL);
    static const Owned<cairo_font_face_t> bold = Toy(CAIRO_FONT_WEIGHT_BOLD);
    return isBold ? bold.get() : plain.get();
  }

  /// A font that has the character, if the system has one.
  static cairo_font_face_t* With(std::uint32_t point) {
    static std::map<std::uint32_t, Owned<cairo_font_face_t>> faces;
    Owned<cairo_font_face_t>& face = faces[point];
    if (face) return face.get();
    const Owned<FcPattern> pattern(FcPatternCreate());
    const Owned<FcCharSet> characters(FcCharSetCreate());
    FcCharSetAddChar(characters.get(), point);
    FcPatternAddCharSet(pattern.get(), FC_CHARSET, characters.get());
    FcPatternAddString(pattern.get(), FC_FAMILY, reinterpret_cast<const FcChar8*>("sans-serif"));
    // A font of pixels, as those for emoji are, has one size only.
    FcPatternAddBool(pattern.get(), FC_SCALABLE, FcTrue);
    FcConfigSubstitute(nullptr, pattern.get(), FcMatchPattern);
    FcDefaultSubstitute(pattern.get());
    face.reset(cairo_ft_font_face_create_for_pattern(pattern.get()));
    return face.get();
  }

 private:
  static Owned<cairo_font_face_t> Toy(cairo_font_weight_t weight) {
    return Owned<cairo_font_face_t>(
        cairo_toy_font_face_create("DejaVu Sans", CAIRO_FONT_SLANT_NORMAL, weight));
  }
};

Owned<cairo_scaled_font_t> Scaled(cairo_font_face_t* face, double size) {
  cairo_matrix_t scale;
  cairo_matrix_t identity;
  cairo_matrix_init_scale(&scale, size, size);
  cairo_matrix_init_identity(&identity);
  const Owned<cairo_font_options_t> options(cairo_font_options_create());
  UseExactLetters(options.get());
  return Owned<cairo_scaled_font_t>(cairo_scaled_font_create(face, &scale, &identity, options.get()));
}

/// The glyphs of a text from x on, and where they end. None when the font cannot be used.
std::pair<std::vector<cairo_glyph_t>, double> GlyphsOf(cairo_font_face_t* face, double size,
                                                       std::string_view text, double x) {
  const Owned<cairo_scaled_font_t> font = Scaled(face, size);
  cairo_glyph_t* glyphs = nullptr;
  int count = 0;
  if (cairo_scaled_font_text_to_glyphs(font.get(), x, 0.0, text.data(), static_cast<int>(text.size()),
                                       &glyphs, &count, nullptr, nullptr, nullptr) != CAIRO_STATUS_SUCCESS) {
    return {{}, x};
  }
  const Owned<cairo_glyph_t> owner(glyphs);
  cairo_text_extents_t extents;
  cairo_scaled_font_glyph_extents(font.get(), glyphs, count, &extents);
  return {{glyphs, glyphs + count}, x + extents.x_advance};
}

/// Where no font is installed cairo draws letters of ASCII by itself, and a box for any other.
bool IsInstalled(cairo_font_face_t* face) {
  const Owned<cairo_scaled_font_t> font = Scaled(face, 1.0);
  return cairo_scaled_font_get_type(font.get()) == CAIRO_FONT_TYPE_FT;
}

/// Signs that a picture must not lose, in ASCII.
std::string Plain(std::string_view text) {
  constexpr std::array<std::pair<std::string_view, std::string_view>, 3> kSigns = {
      {{"−", "-"}, {"±", "+-"}, {"…", "..."}}};
  std::string plain(text);
  for (const auto& [sign, ascii] : kSigns) {
    for (std::size_t at = 0; (at = plain.find(sign, at)) != std::string::npos;)
      plain.replace(at, sign.size(), ascii);
  }
  return plain;
}

bool LacksOne(const std::vector<cairo_glyph_t>& glyphs) {
  for (const cairo_glyph_t& glyph : glyphs)
    if (glyph.index == 0) return true;
  return false;
}

}  // namespace

void UseExactLetters(cairo_font_options_t* options) {
  cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
  cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
  cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
}

ShapedText Shape(std::string_view text, double size, bool isBold) {
  cairo_font_face_t* standard = Faces::Default(isBold);
  static const bool isInstalled = IsInstalled(standard);
  if (!isInstalled) {
    auto [glyphs, end] = GlyphsOf(standard, size, Plain(text), 0.0);
    return {{{standard, std::move(glyphs)}}, end};
  }
  auto [glyphs, end] = GlyphsOf(standard, size, text, 0.0);
  if (!LacksOne(glyphs)) return {{{standard, std::move(glyphs)}}, end};
  ShapedText shaped{.runs = {}, .width = 0.0};
  while (!text.empty()) {
    const std::size_t length = text::CharacterLength(text);
    const std::string_view character = text.substr(0, length);
    text.remove_prefix(length);
    GlyphRun run{.face = standard, .glyphs = {}};
    std::tie(run.glyphs, end) = GlyphsOf(standard, size, character, shaped.width);
    if (LacksOne(run.glyphs)) {
      run.face = Faces::With(text::CodePoint(character));
      std::tie(run.glyphs, end) = GlyphsOf(run.face, size, character, shaped.width);
    }
    shaped.width = end;
    shaped.runs.push_back(std::move(run));
  }
  return shaped;
}

}  // namespace render
