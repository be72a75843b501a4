#include "pass/workers.h"

#include <fmt/format.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <limits>

#include "quorwlib/quorwlib.h"

namespace pass {
namespace {

bool IsLimited(decltype(RLIMIT_AS) resource, rlimit& limit) {
  return getrlimit(resource, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
}

/// What a thread takes of a limited address space besides the memory that it uses: a stack, and the arena that the
/// allocator reserves for it.
std::uint64_t ReservedEach() {
  constexpr std::uint64_t kUsual = std::uint64_t{8 + 64} << 20;
  rlimit limit{};
  return IsLimited(RLIMIT_AS, limit) ? kUsual : 0;
}

}  // namespace

std::uint64_t TextBytes(std::uint64_t columns, std::uint64_t rows) {
  constexpr std::uint64_t kCellBytes = 10;  // a number and its delimiter: a guess
  constexpr std::uint64_t kMostBytes = std::uint64_t{64} << 20;
  return std::min(columns * rows * kCellBytes, kMostBytes);
}

unsigned int Workers(const Options& options, const Memory& memory) {
  const unsigned int wanted =
      options.threads > 0 ? options.threads : static_cast<unsigned int>(std::max(getthreads_(), 1));
  const std::uint64_t limit = options.memoryLimit > 0 ? options.memoryLimit : UsableMemory() / 2;
  const std::uint64_t left = limit - std::min(limit, memory.shared);
  const std::uint64_t each = std::max<std::uint64_t>(memory.each + ReservedEach(), 1);
  const std::uint64_t fitting = std::max<std::uint64_t>(left / each, 1);
  if (fitting >= wanted) return wanted;
  if (options.notice) {
    constexpr std::uint64_t kMebibyte = std::uint64_t{1} << 20;
    options.notice(fmt::format("{} of {} threads, as each takes about {} MiB and {} MiB are the limit",
                               fitting, wanted, each / kMebibyte, limit / kMebibyte));
  }
  return static_cast<unsigned int>(fitting);
}

std::uint64_t UsableMemory() {
  constexpr std::uint64_t kNoLimit = std::numeric_limits<std::uint64_t>::max();
  std::uint64_t usable = kNoLimit;
  const long pages = sysconf(_SC_PHYS_PAGES);
  const long pageSize = sysconf(_SC_PAGESIZE);
  if (pages > 0 && pageSize > 0)
    usable = static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
  // In a container its own group is at the root; the second file is that of the older hierarchy. Without a limit they
  // hold a word or a number beyond any memory.
  for (const char* path : {"/sys/fs/cgroup/memory.max", "/sys/fs/cgroup/memory/memory.limit_in_bytes"}) {
    std::uint64_t limit = 0;
    if (std::ifstream(path) >> limit) usable = std::min(usable, limit);
  }
  for (const auto resource : {RLIMIT_AS, RLIMIT_DATA}) {
    rlimit limit{};
    if (IsLimited(resource, limit)) usable = std::min<std::uint64_t>(usable, limit.rlim_cur);
  }
  return usable;
}

}  // namespace pass
