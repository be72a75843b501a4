#include "presenceclasses.h"

#include <algorithm>

namespace vexa {

namespace {

constexpr std::size_t kWordRows = 64;

}  // namespace

void PresenceClasses::Reserve(std::size_t columns, std::size_t rows) {
  _bits.reserve(columns * ((rows + kWordRows - 1) / kWordRows));
  _classes.reserve(columns);
  _classOf.reserve(columns);
  _members.reserve(columns);
}

void PresenceClasses::Find(const engine::Kernels& kernels, const std::vector<double*>& columns,
                           std::size_t rows, double missing, std::size_t border) {
  _words = (rows + kWordRows - 1) / kWordRows;
  _bits.resize(columns.size() * _words);
  _classOf.resize(columns.size());
  _classes.clear();
  // The last ones first, so that the first ones are in the cache for what comes next.
  for (std::size_t col = columns.size(); col-- > 0;)
    kernels.presence(columns[col], rows, missing, _bits.data() + col * _words);
  for (std::size_t col = 0; col < columns.size(); ++col) {
    _classOf[col] = ClassFor(col, border);
    ++_classes[_classOf[col]].columns;
  }
  DropSmallClasses();
}

/// The class whose columns are present where this one is, perhaps a new one.
std::size_t PresenceClasses::ClassFor(std::size_t col, std::size_t border) {
  const std::span bits(Present(col), _words);
  Word hash = 0xcbf29ce484222325;  // FNV-1a, word by word
  for (const Word word : bits) hash = (hash ^ word) * 0x100000001b3;
  for (std::size_t index = 0; index < _classes.size(); ++index) {
    const Class& candidate = _classes[index];
    if (candidate.hash == hash && candidate.columns < kMaxColumns &&
        (candidate.front < border) == (col < border) &&
        std::equal(bits.begin(), bits.end(), Present(candidate.front))) {
      return index;
    }
  }
  _classes.push_back({.front = col, .columns = 0, .begin = 0, .hash = hash});
  return _classes.size() - 1;
}

void PresenceClasses::DropSmallClasses() {
  std::size_t begin = 0;
  for (Class& c : _classes) {
    c.begin = begin;
    if (c.columns >= kMinColumns) begin += c.columns;
  }
  _members.resize(begin);
  for (std::size_t col = 0; col < _classOf.size(); ++col) {
    Class& c = _classes[_classOf[col]];
    if (c.columns < kMinColumns) {
      _classOf[col] = kNone;
    } else {
      _members[c.begin++] = col;
    }
  }
  for (Class& c : _classes) c.begin -= c.columns;
  std::erase_if(_classes, [](const Class& c) { return c.columns < kMinColumns; });
}

}  // namespace vexa
