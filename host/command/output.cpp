#include "command/output.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

#include "command/failure.h"
#include "table/bytesource.h"
#include "text/printable.h"

namespace command {
namespace {

constexpr std::size_t kBufferBytes = std::size_t{1} << 16;
constexpr int kAttempts = 100;

/// The file that a path leads to, behind symbolic links.
std::string Resolved(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> resolved(realpath(path.c_str(), nullptr), std::free);
  return resolved ? std::string(resolved.get()) : path;
}

/// Where a link that leads to no file yet wants it; any other path as it is.
std::string Followed(std::string path) {
  constexpr int kMostLinks = 40;
  for (int links = 0; links < kMostLinks; ++links) {
    std::error_code error;
    const std::filesystem::path next = std::filesystem::read_symlink(path, error);
    if (error) break;
    path = (std::filesystem::path(path).parent_path() / next).string();
  }
  return path;
}

/// The descriptor that a path is a name of; -1 if it is none.
int DescriptorOf(const std::string& path) {
  if (path == "/dev/stderr") return STDERR_FILENO;
  for (const std::string_view folder : {"/dev/fd/", "/proc/self/fd/"}) {
    if (!path.starts_with(folder)) continue;
    int number = -1;
    const char* end = path.data() + path.size();
    const auto [stop, error] = std::from_chars(path.data() + folder.size(), end, number);
    if (error == std::errc() && stop == end) return number;
  }
  return -1;
}

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

bool IsSame(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

/// Whether what is written to standard output goes to that file, other than a device.
bool IsStandardOutput(const struct stat& file) {
  struct stat output {};
  return !S_ISCHR(file.st_mode) && fstat(STDOUT_FILENO, &output) == 0 && IsSame(output, file);
}

/// Throws UsageError, which names the option, when the file is one of the inputs.
void CheckNoInput(const struct stat& file, std::vector<std::string> inputs, const char* option) {
  if (inputs.empty()) inputs.emplace_back(table::kStandardInput);
  for (const std::string& input : inputs) {
    const bool isStandard = input == table::kStandardInput;
    struct stat status {};
    const int failed = isStandard ? fstat(STDIN_FILENO, &status) : stat(input.c_str(), &status);
    if (failed != 0 || !S_ISREG(status.st_mode) || !IsSame(status, file)) continue;
    throw UsageError(fmt::format("{} would overwrite the input {}", option,
                                 isStandard ? "<stdin>" : text::Escaped(input)));
  }
}

std::string NameBeside(const std::string& target, int attempt) {
  const std::size_t name = target.rfind('/') + 1;  // 0 when there is no slash
  return fmt::format("{}.vexa-stats-{}-{}", target.substr(0, name), getpid(), attempt);
}

}  // namespace

Output::Output(std::string path, const std::vector<std::string>& inputs, const char* option)
    : _path(path == "-" ? std::string() : std::move(path)), _descriptor(STDOUT_FILENO) {
  if (_path.empty()) return;
  struct stat status {};
  if (stat(_path.c_str(), &status) != 0) {
    if (errno != ENOENT) Fail(errno);
    _target = Followed(_path);
    OpenBeside();
    return;
  }
  if (S_ISDIR(status.st_mode)) Fail(EISDIR);
  CheckNoInput(status, inputs, option);
  if (IsStandardOutput(status)) {
    // By way of /dev/stdout, say. What others wrote there, and are going to, would be lost with the file.
    _path.clear();
    return;
  }
  if (const int named = DescriptorOf(_path); named >= 0 && S_ISREG(status.st_mode)) {
    // The caller's own file, at the place where the caller stands in it.
    _descriptor = fcntl(named, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (_descriptor < 0) Fail(errno);
    return;
  }
  if (!S_ISREG(status.st_mode)) {
    _descriptor = open(_path.c_str(), O_WRONLY | O_CLOEXEC);
    if (_descriptor < 0) Fail(errno);
    return;
  }
  // The folder alone decides whether a file can be replaced, but who protected it meant it.
  if (access(_path.c_str(), W_OK) != 0) Fail(errno);
  _target = Resolved(_path);
  OpenBeside();
  fchmod(_descriptor, status.st_mode & 07777);
}

Output::~Output() {
  if (_descriptor != STDOUT_FILENO) close(_descriptor);
  if (!_temporary.empty()) unlink(_temporary.c_str());
}

void Output::OpenBeside() {
  _replaces = true;
  // A file without a name cannot be left behind, even by a kill; not every file system has them.
  _descriptor = open(FolderOf(_target).c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666);
  for (int attempt = 0; _descriptor < 0 && attempt < kAttempts; ++attempt) {
    std::string name = NameBeside(_target, attempt);
    _descriptor = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (_descriptor >= 0) {
      _temporary = std::move(name);
    } else if (errno != EEXIST) {
      break;
    }
  }
  if (_descriptor < 0) Fail(errno);
}

/// What stands now where this is going to be; false if nothing does.
bool Output::Standing(struct stat& status) const {
  return (_replaces ? stat(_target.c_str(), &status) : fstat(_descriptor, &status)) == 0;
}

bool Output::IsSameFileAs(const Output& other) const {
  struct stat own {};
  struct stat others {};
  const bool stands = Standing(own);
  if (stands != other.Standing(others)) return false;
  // A device takes what both write.
  if (stands) return !S_ISCHR(own.st_mode) && IsSame(own, others);
  const auto nameOf = [](const std::string& path) { return path.substr(path.rfind('/') + 1); };
  return nameOf(_target) == nameOf(other._target) && stat(FolderOf(_target).c_str(), &own) == 0 &&
         stat(FolderOf(other._target).c_str(), &others) == 0 && IsSame(own, others);
}

std::size_t Output::TerminalWidth() const {
  winsize size{};
  if (isatty(_descriptor) != 1 || ioctl(_descriptor, TIOCGWINSZ, &size) != 0) return 0;
  return size.ws_col;
}

void Output::Write(std::string_view piece) {
  _buffer += piece;
  if (_buffer.size() >= kBufferBytes) Flush();
}

void Output::Complete() {
  Flush();
  // Some file systems find out only now that the disk is full.
  if (_replaces && fsync(_descriptor) != 0 && errno != EINVAL) Fail(errno);
}

void Output::Commit() {
  Complete();
  if (_path.empty()) return;
  if (_replaces) TakePlace();
  const int descriptor = std::exchange(_descriptor, STDOUT_FILENO);
  if (close(descriptor) != 0 && errno != EINTR) Fail(errno);
}

void Output::Flush() {
  for (std::string_view rest = _buffer; !rest.empty();) {
    const ssize_t count = write(_descriptor, rest.data(), rest.size());
    if (count >= 0) {
      rest.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EPIPE) {
      throw PipeClosed();
    } else if (errno == EAGAIN) {
      // Somebody else made it not wait.
      pollfd room{_descriptor, POLLOUT, 0};
      poll(&room, 1, -1);
    } else if (errno != EINTR) {
      Fail(errno);
    }
  }
  _buffer.clear();
}

/// Puts the file that was written in the place of the target.
void Output::TakePlace() {
  const std::string self = fmt::format("/proc/self/fd/{}", _descriptor);
  for (int attempt = 0; _temporary.empty(); ++attempt) {
    std::string name = NameBeside(_target, attempt);
    if (linkat(AT_FDCWD, self.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0) {
      _temporary = std::move(name);
    } else if (errno != EEXIST || attempt == kAttempts) {
      Fail(errno);
    }
  }
  if (rename(_temporary.c_str(), _target.c_str()) != 0) Fail(errno);
  _temporary.clear();
}

void Output::Fail(int error) const {
  throw OutputError(fmt::format("{}: cannot be written: {}",
                                _path.empty() ? "<stdout>" : text::Escaped(_path),
                                std::generic_category().message(error)));
}

}  // namespace command
