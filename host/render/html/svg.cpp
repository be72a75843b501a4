#include "render/html/svg.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace render {
namespace {

/// Puts `prefix` behind every place where cairo begins an identifier. It writes no text of others: letters are shapes.
std::string WithPrefix(std::string_view svg, const std::string& prefix) {
  constexpr std::array<std::string_view, 3> kBefore = {" id=\"", "href=\"#", "url(#"};
  std::array<std::size_t, 3> next{};  // where each of them stands, at `done` or behind it
  for (std::size_t at = 0; at < next.size(); ++at) next[at] = svg.find(kBefore[at]);
  std::string changed;
  std::size_t done = 0;
  for (;;) {
    const auto first = static_cast<std::size_t>(std::min_element(next.begin(), next.end()) - next.begin());
    if (next[first] == std::string_view::npos) break;
    const std::size_t end = next[first] + kBefore[first].size();
    changed += svg.substr(done, end - done);
    changed += prefix;
    done = end;
    next[first] = svg.find(kBefore[first], end);
  }
  changed += svg.substr(done);
  return changed;
}

/// For the script, which tells what is under the pointer.
std::string GridAttribute(const CellGrid& grid) {
  return fmt::format(
      " data-grid='{{\"left\":{},\"top\":{},\"width\":{},\"height\":{},\"rows\":[{}],\"cols\":[{}]}}'",
      grid.left, grid.top, grid.width, grid.height, fmt::join(grid.rows, ","), fmt::join(grid.cols, ","));
}

}  // namespace

std::string EscapedForHtml(std::string_view text) {
  std::string escaped;
  for (const char byte : text) {
    switch (byte) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&#39;";
        break;
      default:
        escaped += byte;
    }
  }
  return escaped;
}

std::string InlineSvg(const Picture& picture, const std::string& prefix) {
  std::string svg;
  WritePicture(picture, PictureForm::kSvg, [&svg](std::string_view piece) { svg += piece; });
  // The first tag gives way to one that says what the picture is; what is before it belongs to a file of its own.
  const std::size_t start = svg.find('>', svg.find("<svg")) + 1;
  return fmt::format(
             "<svg role=\"img\" aria-label=\"{}\" width=\"{:.0f}\" height=\"{:.0f}\" viewBox=\"0 0 {} "
             "{}\"{}>",
             EscapedForHtml(picture.title + ". " + picture.description), picture.width * 4.0 / 3.0,
             picture.height * 4.0 / 3.0, picture.width, picture.height,
             picture.grid ? GridAttribute(*picture.grid) : "") +
         WithPrefix(std::string_view(svg).substr(start), prefix);
}

}  // namespace render
