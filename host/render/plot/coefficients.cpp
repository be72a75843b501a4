#include "render/plot/coefficients.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

#include "render/number.h"
#include "render/plot/canvas.h"
#include "render/plot/label.h"
#include "render/plot/rows.h"

namespace render {
namespace {

using derive::Coefficient;

constexpr double kNumberGap = 8.0;
constexpr double kNumberSize = 7.5;
constexpr double kMostRadius = 3.2;

bool HasLimits(const Coefficient& term) {
  return std::isfinite(term.standardisedLower) && std::isfinite(term.standardisedUpper);
}

/// Whether the limits exclude 0.
bool IsClear(const Coefficient& term) {
  return HasLimits(term) && (term.standardisedLower > 0.0 || term.standardisedUpper < 0.0);
}

/// Last zeros are kept: neighbours in a column show the same precision.
std::string Digits(double value) { return WithMinus(Significant(value, 3)); }

std::string Numbers(const Coefficient& term) {
  std::string numbers = Digits(term.standardised);
  if (HasLimits(term))
    numbers += fmt::format("  [{}, {}]", Digits(term.standardisedLower), Digits(term.standardisedUpper));
  return numbers;
}

/// The terms that are no intercept, and where they stand.
class Layout {
 public:
  Layout(const Heading& heading, const derive::Regression& regression,
         const std::vector<std::string>& smallPrint, const std::vector<std::string>& variables)
      : _terms(Predictors(regression)), _rows(heading, smallPrint, Names(variables), Room()) {}

  const Rows& Frame() const { return _rows; }

  std::string Description() const {
    return fmt::format(
        "Standardised coefficients of {} predictors with confidence limits, which exclude 0 for {}.",
        _terms.size(), std::count_if(_terms.begin(), _terms.end(), IsClear));
  }

  void Draw(Canvas& canvas) const {
    _rows.DrawFrame(canvas);
    const Box& body = _rows.Body();
    double min = 0.0;
    double max = 0.0;
    for (const Coefficient& term : _terms) {
      for (const double value : {term.standardised, term.standardisedLower, term.standardisedUpper}) {
        if (!std::isfinite(value)) continue;
        min = std::min(min, value);
        max = std::max(max, value);
      }
    }
    const Axis axis = AxisOver(min, max, body.left, body.width);
    _rows.DrawTicks(canvas, axis, "standardised coefficient");
    canvas.Line({axis.At(0.0), body.top - 3.0}, {axis.At(0.0), body.top + body.height}, kInk, 0.9);
    for (std::size_t row = 0; row < _terms.size(); ++row) DrawTerm(canvas, axis, row);
  }

 private:
  static std::vector<Coefficient> Predictors(const derive::Regression& regression) {
    std::vector<Coefficient> terms;
    std::copy_if(regression.coefficients.begin(), regression.coefficients.end(), std::back_inserter(terms),
                 [](const Coefficient& term) { return term.variable.has_value(); });
    return terms;
  }

  std::vector<std::string> Names(const std::vector<std::string>& variables) const {
    std::vector<std::string> names;
    for (const Coefficient& term : _terms) names.push_back(variables[*term.variable]);
    return names;
  }

  RowsRoom Room() const {
    double numbers = 0.0;
    for (const Coefficient& term : _terms) numbers = std::max(numbers, TextWidth(Numbers(term), kNumberSize));
    return {.body = 360.0, .behind = kNumberGap + numbers, .below = kAxisRoom};
  }

  void DrawTerm(Canvas& canvas, const Axis& axis, std::size_t row) const {
    const Coefficient& term = _terms[row];
    const double size = _rows.FontSize(kNumberSize);
    const double y = _rows.Middle(row);
    const bool isClear = IsClear(term);
    const Colour colour = isClear ? kAccent : kFaintInk;
    const double radius = std::min(_rows.Pitch() * 0.3, kMostRadius);
    if (HasLimits(term)) {
      const double thick = std::min(_rows.Pitch() * 0.12, 1.6);
      canvas.Line({axis.At(term.standardisedLower), y}, {axis.At(term.standardisedUpper), y}, colour, thick);
    }
    if (std::isfinite(term.standardised)) {
      const Point at{axis.At(term.standardised), y};
      canvas.Disc(at, radius, isClear ? colour : kPaper);
      if (!isClear) canvas.Circle(at, radius, colour, 1.0);
    }
    canvas.Text({_rows.Body().left + _rows.Body().width + kNumberGap, _rows.Baseline(row, size)},
                Numbers(term), {.size = size, .colour = isClear ? kInk : kFaintInk});
  }

  std::vector<Coefficient> _terms;
  Rows _rows;
};

}  // namespace

Picture DrawCoefficients(const std::string& name, const Heading& heading,
                         const derive::Regression& regression, double level,
                         const std::vector<std::string>& variables, const std::vector<std::string>& notes) {
  std::vector<std::string> smallPrint = {fmt::format(
      "Coefficients in units of the standard deviations, with {:.6g} % confidence limits; a ring where these "
      "include 0.",
      100.0 * level)};
  smallPrint.insert(smallPrint.end(), notes.begin(), notes.end());
  const auto layout = std::make_shared<const Layout>(heading, regression, smallPrint, variables);
  return {.name = name,
          .title = heading.title,
          .description = layout->Description(),
          .width = layout->Frame().Width(),
          .height = layout->Frame().Height(),
          .draw = [layout](Canvas& canvas) { layout->Draw(canvas); }};
}

}  // namespace render
