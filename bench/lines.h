#pragma once

#include <functional>
#include <string>
#include <vector>

#include "interleave.h"

/// The lines of the table of ratios: pieces of the library's work, each with something that does comparable work.

namespace bench {

struct Line {
  std::string work;
  std::string shape;
  std::string against;
  Candidate ours;
  Candidate theirs;
  double operations = 0.0;  ///< multiplications and additions of one piece of ours; 0: no share of the peak
  double limit = 0.0;       ///< the ratio that must not be exceeded; 0: none
  double aim = 0.0;         ///< the ratio to be reached; 0: none

  /// What ours computes, with the engine's active kernels; null: nothing that could be compared.
  std::function<std::vector<double>()> result;
  /// What it has to be, to the bit; null: what result gives with the plain kernels. Called after result, with the
  /// plain kernels active.
  std::function<std::vector<double>()> expected;
  /// Whether theirs has computed what it should; null: nothing to check.
  std::function<bool()> theirsIsRight;
};

/// A line by the name by which it is asked for. Its data exist as long as the line.
struct Entry {
  std::string name;
  bool blas;  ///< compared with OpenBLAS
  std::function<Line()> make;
};

/// Those that this build and this machine can measure.
std::vector<Entry> Lines();

}  // namespace bench
