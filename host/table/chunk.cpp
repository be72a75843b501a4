#include "table/chunk.h"

#include <algorithm>

namespace table {

std::uint64_t Chunk::LineAt(std::size_t offset) const { return LineCounter(*this).LineAt(offset); }

std::uint64_t LineCounter::LineAt(std::size_t offset) {
  const char* bytes = _chunk.bytes.data();
  _line += static_cast<std::uint64_t>(std::count(bytes + _offset, bytes + offset, '\n'));
  _offset = offset;
  for (; _gap < _chunk.gaps.size() && _chunk.gaps[_gap].offset <= offset; ++_gap)
    _line += _chunk.gaps[_gap].lines;
  return _line;
}

}  // namespace table
