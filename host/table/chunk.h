#ifndef HOST_TABLE_CHUNK_H
#define HOST_TABLE_CHUNK_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace table {

/// Rows as they stand in one input file: found, not parsed. Storage is reused from chunk to chunk.
struct Chunk {
  /// Lines that stood before `bytes[offset]` and were dropped because they are blank.
  struct Gap {
    std::size_t offset;
    std::uint64_t lines;
  };

  std::uint64_t number = 0;     ///< counts the chunks of the whole input, from 0
  std::size_t file = 0;         ///< index of the input file
  std::uint64_t firstLine = 0;  ///< line of the first row, from 1
  std::uint32_t rows = 0;
  std::string bytes = {};  ///< whole rows, each with its newline; blank lines are left out
  std::vector<Gap> gaps = {};

  /// The line in which `bytes[offset]` stands. Counts newlines up to there: for messages, not for every row.
  std::uint64_t LineAt(std::size_t offset) const;
};

/// The lines of ascending offsets in a chunk, at the cost of one pass over it.
class LineCounter {
 public:
  explicit LineCounter(const Chunk& chunk) : _chunk(chunk), _line(chunk.firstLine) {}
  /// The line in which `bytes[offset]` stands; `offset` must not be smaller than the one before.
  std::uint64_t LineAt(std::size_t offset);

 private:
  const Chunk& _chunk;
  std::uint64_t _line;
  std::size_t _offset = 0;
  std::size_t _gap = 0;
};

}  // namespace table

#endif
