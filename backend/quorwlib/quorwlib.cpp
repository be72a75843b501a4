#include "quorwlib/quorwlib.h"

#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "machine.h"

namespace {

/// The CPUs on which this process may run, ascending; at least one.
std::vector<unsigned int> UsableCpus() {
  // The kernel refuses a mask that is too small for the machine; it does not say how large it must be.
  for (std::size_t size = CPU_SETSIZE; size <= (std::size_t{1} << 20U); size *= 2) {
    std::vector<cpu_set_t> mask(size / CPU_SETSIZE);
    const std::size_t bytes = mask.size() * sizeof(cpu_set_t);
    if (sched_getaffinity(0, bytes, mask.data()) != 0) continue;
    std::vector<unsigned int> cpus;
    for (unsigned int cpu = 0; cpu < size; ++cpu) {
      if (CPU_ISSET_S(cpu, bytes, mask.data())) cpus.push_back(cpu);
    }
    if (!cpus.empty()) return cpus;
  }
  return {0};
}

}  // namespace

int getmcache_() {
  std::uint64_t bytes = quorwlib::Machine().CacheShare(UsableCpus().front());
  if (bytes == 0) bytes = static_cast<std::uint64_t>(std::max(sysconf(_SC_LEVEL2_CACHE_SIZE), 0L));
  if (bytes == 0) bytes = 1U << 20U;
  return static_cast<int>(std::min<std::uint64_t>(bytes / 1024, std::numeric_limits<int>::max()));
}

int getthreads_() {
  const auto cpus = static_cast<double>(UsableCpus().size());
  return static_cast<int>(std::max(std::ceil(std::min(quorwlib::Machine().CpuQuota(), cpus)), 1.0));
}
