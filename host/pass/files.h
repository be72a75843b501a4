#ifndef HOST_PASS_FILES_H
#define HOST_PASS_FILES_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "table/table.h"

namespace pass {

/// Input files that are read more than once. What can be read only once, standard input or a pipe, is copied
/// to a temporary file without a name in TMPDIR (/tmp).
class Files {
 public:
  /// Copies what must be copied; none at all stands for standard input. `stopped`, if given, is asked while
  /// waiting for bytes; once it says true the copy ends, as does every Input.
  ///
  /// Throws InputError for what cannot be read, and when there is no room for a copy.
  explicit Files(std::vector<std::string> paths, std::function<bool()> stopped = {});
  /// Whether that has to copy any of them. Throws InputError for what cannot be read.
  static bool MustCopy(const std::vector<std::string>& paths);
  ~Files();
  Files(const Files&) = delete;
  Files& operator=(const Files&) = delete;

  /// The files from their beginning; messages name them as the user did.
  std::unique_ptr<table::Input> Open(const table::Format& format) const;

  /// Throws InputError when one of the files is another or has changed since construction. To be called after
  /// the last pass.
  void CheckUnchanged() const;

 private:
  struct File;
  std::vector<File> _files;
  std::function<bool()> _stopped;
};

}  // namespace pass

#endif
