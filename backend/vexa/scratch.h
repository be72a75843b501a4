#pragma once

#include <cstddef>

namespace vexa {

/// Room for `count` doubles, at least 64-byte aligned, for the engine to work in until the next call from the
/// same thread; null when there is no memory. A thread keeps its largest room, so that batch after batch allocates
/// nothing: blocks of columns and chunks of rows bound it, a megabyte, with many groups of rows three.
double* Scratch(std::size_t count);

}  // namespace vexa
