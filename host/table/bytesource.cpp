#include "table/bytesource.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "table/inputerror.h"

namespace table {
namespace {

constexpr int kPatienceMilliseconds = 100;
constexpr int kPipeBytes = 1 << 20;

[[noreturn]] void Fail(const std::string& name, const std::string& what, int error) {
  throw InputError(what + ": " + std::generic_category().message(error), {.file = name});
}

/// The facts of an open or named file, from its status.
FileFacts Judge(const struct stat& status, const std::string& name) {
  if (S_ISDIR(status.st_mode)) throw InputError("is a directory", {.file = name});
  FileFacts facts;
  facts.regular = S_ISREG(status.st_mode);
  if (facts.regular) facts.size = static_cast<std::uint64_t>(status.st_size);
  return facts;
}

FileFacts JudgeOpen(int descriptor, const std::string& name) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) Fail(name, "cannot be read", errno);
  FileFacts facts = Judge(status, name);
  if (facts.regular) {
    // Standard input may have been read from before.
    const off_t begun = lseek(descriptor, 0, SEEK_CUR);
    if (begun > 0) facts.size -= std::min(facts.size, static_cast<std::uint64_t>(begun));
  }
  return facts;
}

class FileSource : public ByteSource {
 public:
  FileSource(int descriptor, std::string name, std::function<bool()> stopped)
      : _descriptor(descriptor),
        _name(std::move(name)),
        _facts(JudgeOpen(descriptor, _name)),
        _stopped(std::move(stopped)) {
    // Hints: whether they are taken does not matter.
    if (_facts.regular) {
      posix_fadvise(_descriptor, 0, 0, POSIX_FADV_SEQUENTIAL);
    } else {
      fcntl(_descriptor, F_SETPIPE_SZ, kPipeBytes);
    }
  }
  ~FileSource() override {
    if (_descriptor != STDIN_FILENO) close(_descriptor);
  }
  FileSource(const FileSource&) = delete;
  FileSource& operator=(const FileSource&) = delete;

  std::size_t Read(char* to, std::size_t room) override {
    while (_facts.regular || AwaitBytes()) {
      const ssize_t count = read(_descriptor, to, room);
      if (count > 0) {
        _taken += static_cast<std::uint64_t>(count);
        return static_cast<std::size_t>(count);
      }
      if (count == 0) {
        CheckNotShrunk();
        return 0;
      }
      if (errno != EINTR && errno != EAGAIN) Fail(_name, "cannot be read", errno);
    }
    return 0;
  }

  std::uint64_t Taken() const override { return _taken; }

 private:
  /// Waits until there is something to read or an end; false when the wait was given up. A signal is no
  /// reliable alarm, as another thread may have got it: so the wait is cut into short ones.
  bool AwaitBytes() {
    pollfd waiting{_descriptor, POLLIN, 0};
    for (;;) {
      if (_stopped && _stopped()) return false;
      const int ready = poll(&waiting, 1, kPatienceMilliseconds);
      if (ready > 0 || (ready < 0 && errno != EINTR)) return true;
    }
  }

  void CheckNotShrunk() const {
    if (!_facts.regular || _taken >= _facts.size) return;
    // Some virtual files hold less than the size they claim, now as before.
    struct stat status {};
    if (fstat(_descriptor, &status) == 0 && static_cast<std::uint64_t>(status.st_size) >= _facts.size) return;
    throw InputError(
        fmt::format("shrank while it was read: it had {} bytes and ended after {}", _facts.size, _taken),
        {.file = _name});
  }

  int _descriptor;
  std::string _name;
  FileFacts _facts;
  std::function<bool()> _stopped;
  std::uint64_t _taken = 0;
};

}  // namespace

FileFacts CheckFile(const std::string& path, const std::string& name) {
  if (path == kStandardInput) return JudgeOpen(STDIN_FILENO, name);
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) Fail(name, "cannot be opened", errno);
  const FileFacts facts = Judge(status, name);
  if (access(path.c_str(), R_OK) != 0) Fail(name, "cannot be opened", errno);
  return facts;
}

std::unique_ptr<ByteSource> OpenFile(const std::string& path, const std::string& name,
                                     std::function<bool()> stopped) {
  int descriptor = STDIN_FILENO;
  if (path != kStandardInput) {
    do {
      descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    } while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0) Fail(name, "cannot be opened", errno);
  }
  try {
    return std::make_unique<FileSource>(descriptor, name, std::move(stopped));
  } catch (...) {
    if (descriptor != STDIN_FILENO) close(descriptor);
    throw;
  }
}

}  // namespace table
