#ifndef HOST_COMMAND_OUTPUT_H
#define HOST_COMMAND_OUTPUT_H

#include <sys/stat.h>

#include <string>
#include <string_view>
#include <vector>

namespace command {

/// Where the result goes: standard output, or a file that is there whole or not at all.
///
/// A file is written under another name, or none, in its own folder, and takes its place in Commit. What existed
/// before stays untouched until then, and without Commit nothing is left behind. What is no ordinary file (a pipe, a
/// device) is written directly, and so is the file that standard output goes to.
class Output {
 public:
  /// `path`: empty or "-" for standard output. Throws OutputError at once, before hours of work, when the file cannot
  /// be made; UsageError, which names the option, when it is one of `inputs`.
  Output(std::string path, const std::vector<std::string>& inputs, const char* option = "--output");
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  bool IsFile() const { return !_path.empty(); }
  /// As the user named it.
  const std::string& Path() const { return _path; }
  /// Whether both would write the same file, by whatever names and links.
  bool IsSameFileAs(const Output& other) const;
  /// Columns of the terminal behind it; 0 if it is none.
  std::size_t TerminalWidth() const;

  /// Throws OutputError, or PipeClosed.
  void Write(std::string_view piece);
  /// Brings everything written so far to the disk, so that little is left for Commit to fail of. Throws like Write.
  void Complete();
  /// Makes everything written so far the result. Throws like Write.
  void Commit();

 private:
  bool Standing(struct stat& status) const;
  void OpenBeside();
  void Flush();
  void TakePlace();
  [[noreturn]] void Fail(int error) const;

  std::string _path;
  std::string _target;     // the path behind symbolic links
  std::string _temporary;  // what stands for it until Commit; empty if it has no name
  int _descriptor;
  bool _replaces = false;
  std::string _buffer;
};

}  // namespace command

#endif
