#ifndef HOST_PASS_RUN_H
#define HOST_PASS_RUN_H

#include <cstdint>
#include <functional>
#include <memory>

#include "pass/mergetree.h"
#include "pass/options.h"
#include "table/table.h"

namespace pass {

/// Reduces chunks, each by itself. One per thread.
class ChunkReducer {
 public:
  virtual ~ChunkReducer() = default;
  /// Touches nothing that another thread uses. Throws for the first fault among the rows.
  virtual std::unique_ptr<Partial> Reduce(const table::Chunk& chunk) = 0;
};

struct Plan {
  unsigned int chunkRows = 1;
  unsigned int threads = 1;  ///< at least 1
  /// Makes a worker's reducer; called on the caller's thread. Storage is better left to the first Reduce: of
  /// many workers few may see a chunk.
  std::function<std::unique_ptr<ChunkReducer>()> makeReducer = {};
};

struct Outcome {
  std::unique_ptr<Partial> partial = {};  ///< null when there was no chunk
  bool complete = true;                   ///< false: stopped before the end
};

/// Runs the driver over the rest of the input.
///
/// Of several faults the first in the order of the chunks is thrown, whatever the number of threads and their
/// timing: a fault of a chunk, or that of all chunks before it taken together.
Outcome Run(table::Input& input, const Options& options, const Plan& plan);

}  // namespace pass

#endif
