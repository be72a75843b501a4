#ifndef HOST_RENDER_PLOT_LABEL_H
#define HOST_RENDER_PLOT_LABEL_H

#include <string>

/// Numbers as a picture writes them.
namespace render {

/// With a minus sign, where it has a hyphen.
std::string WithMinus(std::string number);

/// Three digits, and in as few characters as they take: −0.612, 20500, 1.06e7.
std::string ShortNumber(double value);

/// 0.01, 1e7
std::string PowerOfTen(int power);

}  // namespace render

#endif
