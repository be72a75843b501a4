#ifndef HOST_RENDER_SHOWN_H
#define HOST_RENDER_SHOWN_H

#include <string>
#include <vector>

#include "render/page.h"

/// Cells as people read them, at a terminal or in a browser.
namespace render {

/// A cell as text, cut at its decimal point, at which a column is aligned.
struct Shown {
  std::string whole;
  std::string fraction;
  bool isName = false;
};

enum class NumberForm { kWhole, kSignificant, kDecimals, kGiven, kProbability };

/// What stands for a number that is undefined.
inline constexpr const char* kUndefinedShown = "NA";

/// The form of each column's numbers. A value that stands twice in a matrix looks the same in both places.
std::vector<NumberForm> FormsOf(const Table& table);

/// With so many significant digits, or decimals.
Shown Show(const Value& value, NumberForm form, int digits);

/// The names of a matrix's rows and columns speak for themselves.
inline bool IsMatrix(const Table& table) { return table.isKeyed && !table.isMixed; }

}  // namespace render

#endif
