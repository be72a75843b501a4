#pragma once

#include <string>

namespace bench {

/// Writes rows, and what the library computes of them, as raw doubles into files of a folder, for other programs that
/// are to be timed on the same data and to give the same sums: what each file holds is said in peers.py. False, with a
/// message, when that fails.
bool Export(const std::string& folder);

}  // namespace bench
