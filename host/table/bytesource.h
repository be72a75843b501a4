#ifndef HOST_TABLE_BYTESOURCE_H
#define HOST_TABLE_BYTESOURCE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace table {

/// Bytes in order from one input file. What decodes another source's bytes is a ByteSource too.
class ByteSource {
 public:
  virtual ~ByteSource() = default;

  /// Puts at most `room` (not 0) bytes at `to` and returns how many: 0 at the end, or when waiting was given
  /// up. Throws InputError when the source fails.
  virtual std::size_t Read(char* to, std::size_t room) = 0;
  /// Bytes taken from the file so far, before any decoding.
  virtual std::uint64_t Taken() const = 0;
};

/// What is known of a file before it is opened.
struct FileFacts {
  bool regular = false;
  std::uint64_t size = 0;  ///< what there is to read of a regular file
};

constexpr const char* kStandardInput = "-";

/// Throws InputError, named `name`, unless `path` looks readable: an early word on the last of many files.
/// Opens nothing, as that would disturb the writer of a named pipe.
FileFacts CheckFile(const std::string& path, const std::string& name);

/// Opens `path`; errors are named `name`. `stopped`, if given, is asked every now and then while waiting for
/// bytes; once it says true, Read gives up.
std::unique_ptr<ByteSource> OpenFile(const std::string& path, const std::string& name,
                                     std::function<bool()> stopped);

}  // namespace table

#endif
