#ifndef HOST_RENDER_PLOT_NAMES_H
#define HOST_RENDER_PLOT_NAMES_H

#include <cstddef>
#include <string>
#include <vector>

namespace render {

/// A column of names, one per row of a picture: as large as the rows allow, shortened in the middle where too long.
class NameColumn {
 public:
  NameColumn(const std::vector<std::string>& names, double pitch, double mostWidth);

  double Width() const { return _width; }
  double FontSize() const { return _fontSize; }
  /// Every so many rows have a name; the others would have no room.
  std::size_t Step() const { return _step; }
  const std::string& Name(std::size_t row) const { return _names[row]; }

 private:
  std::vector<std::string> _names;
  double _fontSize;
  std::size_t _step;
  double _width = 0.0;
};

}  // namespace render

#endif
