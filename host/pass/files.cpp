#include "pass/files.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <system_error>
#include <utility>

#include "table/bytesource.h"

namespace pass {
namespace {

class Descriptor {
 public:
  explicit Descriptor(int number) : _number(number) {}
  ~Descriptor() {
    if (_number >= 0) close(_number);
  }
  Descriptor(Descriptor&& other) noexcept : _number(std::exchange(other._number, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(_number, other._number);
    return *this;
  }
  int Number() const { return _number; }

 private:
  int _number;
};

std::string PathOf(int descriptor) { return fmt::format("/proc/self/fd/{}", descriptor); }

[[noreturn]] void FailCopy(const std::string& name, const std::string& folder) {
  throw table::InputError(fmt::format("cannot be copied to {}, as it must be to be read twice: {}", folder,
                                      std::generic_category().message(errno)),
                          {.file = name});
}

/// A file without a name, which is gone when it is closed, however the process ends.
Descriptor MakeTemporary(const std::string& name, const std::string& folder) {
  int descriptor = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (descriptor < 0 && (errno == EOPNOTSUPP || errno == EISDIR)) {
    // Not every file system knows files without a name.
    std::string path = folder + "/vexa-stats-XXXXXX";
    descriptor = mkostemp(path.data(), O_CLOEXEC);
    if (descriptor >= 0) unlink(path.c_str());
  }
  if (descriptor < 0) FailCopy(name, folder);
  return Descriptor(descriptor);
}

Descriptor Copy(const std::string& path, const std::string& name, const std::function<bool()>& stopped) {
  constexpr std::size_t kBlockBytes = std::size_t{1} << 20;
  const char* set = std::getenv("TMPDIR");
  const std::string folder = set != nullptr && *set != 0 ? set : "/tmp";
  const std::unique_ptr<table::ByteSource> source = table::OpenFile(path, name, stopped);
  Descriptor copy = MakeTemporary(name, folder);
  const auto block = std::make_unique_for_overwrite<char[]>(kBlockBytes);
  while (const std::size_t size = source->Read(block.get(), kBlockBytes)) {
    for (std::string_view rest(block.get(), size); !rest.empty();) {
      const ssize_t count = write(copy.Number(), rest.data(), rest.size());
      if (count >= 0) {
        rest.remove_prefix(static_cast<std::size_t>(count));
      } else if (errno != EINTR) {
        FailCopy(name, folder);
      }
    }
  }
  return copy;
}

/// Whether standard input is a file that can be opened once more and then stands where it stands now.
bool CanReopenInput() {
  struct stat status {};
  return fstat(STDIN_FILENO, &status) == 0 && S_ISREG(status.st_mode) &&
         lseek(STDIN_FILENO, 0, SEEK_CUR) == 0 && access(PathOf(STDIN_FILENO).c_str(), R_OK) == 0;
}

bool IsReadOnce(const std::string& path, const std::string& name) {
  const bool regular = table::CheckFile(path, name).regular;
  return path == table::kStandardInput ? !(regular && CanReopenInput()) : !regular;
}

std::string NameOf(const std::string& path) { return path == table::kStandardInput ? "<stdin>" : path; }

struct stat StatusOf(const std::string& path, const std::string& name) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    throw table::InputError("cannot be opened: " + std::generic_category().message(errno), {.file = name});
  }
  return status;
}

}  // namespace

struct Files::File {
  std::string path;
  std::string name;
  Descriptor held;  // what the path names, where that is no file of the user's
  struct stat status;
};

Files::Files(std::vector<std::string> paths, std::function<bool()> stopped) : _stopped(std::move(stopped)) {
  if (paths.empty()) paths.emplace_back(table::kStandardInput);
  if (std::count(paths.begin(), paths.end(), table::kStandardInput) > 1)
    throw table::InputError("standard input can be read only once");
  for (std::string& path : paths) {
    File file{.path = path, .name = NameOf(path), .held = Descriptor(-1), .status = {}};
    if (IsReadOnce(path, file.name)) {
      file.held = Copy(path, file.name, _stopped);
    } else if (path == table::kStandardInput) {
      file.held = Descriptor(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0));
    }
    if (file.held.Number() >= 0) file.path = PathOf(file.held.Number());
    file.status = StatusOf(file.path, file.name);
    _files.push_back(std::move(file));
  }
}
Files::~Files() = default;

bool Files::MustCopy(const std::vector<std::string>& paths) {
  if (paths.empty()) return MustCopy({std::string(table::kStandardInput)});
  return std::any_of(paths.begin(), paths.end(),
                     [](const std::string& path) { return IsReadOnce(path, NameOf(path)); });
}

std::unique_ptr<table::Input> Files::Open(const table::Format& format) const {
  std::vector<std::string> paths;
  std::vector<std::string> names;
  for (const File& file : _files) {
    paths.push_back(file.path);
    names.push_back(file.name);
  }
  return std::make_unique<table::Input>(std::move(paths), format, _stopped, std::move(names));
}

void Files::CheckUnchanged() const {
  for (const File& file : _files) {
    const struct stat now = StatusOf(file.path, file.name);
    const struct stat& then = file.status;
    if (now.st_dev != then.st_dev || now.st_ino != then.st_ino || now.st_size != then.st_size ||
        now.st_mtim.tv_sec != then.st_mtim.tv_sec || now.st_mtim.tv_nsec != then.st_mtim.tv_nsec) {
      throw table::InputError("changed while it was read", {.file = file.name});
    }
  }
}

}  // namespace pass
