#ifndef HOST_TABLE_INPUT_H
#define HOST_TABLE_INPUT_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "table/chunk.h"
#include "table/column.h"
#include "table/format.h"
#include "table/inputerror.h"

namespace table {

/// The input files in order, read sequentially in reused blocks: any size, from any kind of file, in constant
/// memory.
///
/// Not thread-safe: Next is called under a lock. The other members may be called at any time, BytesRead and
/// BlankLines while another thread is in Next too.
class Input {
 public:
  /// Opens the files (`-`, or no path at all, is standard input) and reads the head of the first ones.
  /// `stopped`, if given, is asked while waiting for bytes: once it says true, the input ends with the last
  /// whole row. `names`, if given, are what messages call the files instead of their paths.
  ///
  /// Throws InputError for what cannot be read, is empty, has more than 1,000,000 columns, or a header
  /// with a repeated name. Bad
  /// rows behind the header are left to Next and RowParser, so that the first one in file order is reported.
  explicit Input(std::vector<std::string> paths, Format format = {}, std::function<bool()> stopped = {},
                 std::vector<std::string> names = {});
  ~Input();
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  const std::vector<Column>& Columns() const;
  /// False when there is a header and nothing else, in all files.
  bool HasRows() const;
  /// The format in use: the delimiter is the detected one.
  const Format& UsedFormat() const;
  std::size_t Files() const;
  /// The name for messages: the path as given, "<stdin>" for standard input.
  const std::string& FileName(std::size_t file) const;

  /// Calls take(chunk) for the rows that the kinds of the columns were learned from; Next hands them out all the same.
  /// Requires that it has not been called. Ends before a fault, and with an InputError that `take` throws.
  void ReadHead(const std::function<void(const Chunk&)>& take);

  /// Puts the next at most `rows` (not 0) rows of one file into `chunk`; false when all files are exhausted.
  ///
  /// Where a chunk ends depends on the rows alone, never on how the bytes arrive: it is full with `rows`
  /// rows, at the end of a file, or with the row that brings it to 32 bytes for each of their cells, but not
  /// below 4 MiB nor above 64.
  ///
  /// Throws InputError for a quote that is never closed, a row over 64 MiB, a file that fails, shrinks or has
  /// another header; all rows before that place have been handed out then, and every later call returns
  /// false.
  bool Next(Chunk& chunk, std::uint32_t rows);

  /// Bytes taken from the files so far, before any decoding.
  std::uint64_t BytesRead() const;
  /// Blank lines skipped so far. In a one-column file they are rows with a missing value and not counted
  /// here.
  std::uint64_t BlankLines() const;
  /// Size of all files together, 0 if it is not known how much of it is going to be read.
  std::uint64_t TotalBytes() const;

 private:
  class Reader;
  std::unique_ptr<Reader> _reader;
};

}  // namespace table

#endif
