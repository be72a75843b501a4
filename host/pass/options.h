#ifndef HOST_PASS_OPTIONS_H
#define HOST_PASS_OPTIONS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

namespace pass {

/// Chosen columns of the input, by their position in its header. One column may play several parts.
struct Columns {
  /// The columns of the batches, in this order. A rectangle between two runs has its left run first.
  std::vector<std::size_t> variables;
  std::size_t leftRun = 0;  ///< for a rectangle: how many of the variables make up its left run
  std::optional<std::size_t> weight = {};
  std::optional<std::size_t> regWeight = {};
  std::optional<std::size_t> group = {};
};

enum class Missing {
  kListwise,  ///< a row with a missing variable is left out
  kPairwise,  ///< a missing variable goes into the batch as table::kMissing
};

/// How far a pass has come.
struct Progress {
  std::uint64_t rows;
  std::uint64_t bytes;
  std::uint64_t totalBytes;  ///< 0: not known
};

struct Options {
  Missing missing = Missing::kListwise;
  unsigned int threads = 0;  ///< 0: as many as the machine offers
  /// Bytes that the workers may take together; 0: half of the machine's memory. Only fewer workers come of it:
  /// one always runs.
  std::uint64_t memoryLimit = 0;
  /// Whether the smallest and the largest value of each variable are wanted.
  bool extremes = false;
  /// Whether the search for levels finds an origin for each, which sums that are not centred need.
  bool levelOrigins = false;
  /// Asked before every chunk; once it says true, no more rows are read and the result is that of the first
  /// rows. Give the Input the same function. Called by any thread, by one at a time.
  std::function<bool()> stopped = {};
  /// Told before every chunk, by any thread, one call at a time.
  std::function<void(const Progress&)> progress = {};
  /// Told, on the caller's thread, what a curious user may want to know: one sentence without a full stop.
  std::function<void(std::string_view)> notice = {};
  /// Rows of a chunk and of a batch; 0: ChunkRows and BatchRows. Other numbers change the last bits of a result: for
  /// tests, which want many chunks and batches out of few rows.
  unsigned int chunkRows = 0;
  unsigned int batchRows = 0;
};

}  // namespace pass

#endif
