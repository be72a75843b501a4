#include "quorwlib/quorwlib.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "quorwlib/machine.h"

namespace {

namespace fs = std::filesystem;

/// A machine made of files in a folder of its own.
class Planted {
 public:
  using Files = std::vector<std::pair<std::string, std::string>>;

  explicit Planted(const Files& files)
      : _root(fs::path(testing::TempDir()) / ("machine" + std::to_string(getpid()))) {
    for (const auto& [name, text] : files) {
      const fs::path path = _root.string() + name;
      fs::create_directories(path.parent_path());
      std::ofstream(path) << text << '\n';
    }
  }
  ~Planted() { fs::remove_all(_root); }
  Planted(const Planted&) = delete;
  Planted& operator=(const Planted&) = delete;

  quorwlib::Machine Machine() const { return quorwlib::Machine(_root.string()); }

 private:
  fs::path _root;
};

TEST(Quota, IsTheSmallestOfAllGroupsAround) {
  const double none = std::numeric_limits<double>::infinity();
  const std::string v2 = "30 23 0:26 / /cg2 rw,nosuid shared:9 - cgroup2 cgroup2 rw,nsdelegate";
  const std::string v1 = "33 31 0:30 / /cpu,cpuacct rw - cgroup cgroup rw,cpuacct,cpu";
  const std::string cpuset = "34 31 0:31 / /cpuset rw - cgroup cgroup rw,cpuset";
  const struct {
    const char* name;
    double quota;
    std::string groups;
    std::string mounts;
    Planted::Files limits;
  } machines[] = {
      {"no control groups", none, "", "", {}},
      {"version 2, own limit",
       2.5,
       "0::/a/b",
       v2,
       {{"/cg2/a/b/cpu.max", "250000 100000"}, {"/cg2/a/cpu.max", "max 100000"}}},
      {"version 2, limit of the group around",
       0.5,
       "0::/a/b",
       v2,
       {{"/cg2/a/b/cpu.max", "250000 100000"}, {"/cg2/a/cpu.max", "25000 50000"}}},
      {"container that sees its own group as topmost",
       3.0,
       "0::/docker/77/job",
       "30 23 0:26 /docker/77 /c\\040g rw - cgroup2 cgroup2 rw",
       {{"/c g/job/cpu.max", "300000 100000"}, {"/c g/docker/77/job/cpu.max", "100000 100000"}}},
      {"group outside what is mounted",
       4.0,
       "0::/docker/770/job",
       "30 23 0:26 /docker/77 /cg rw - cgroup2 cgroup2 rw",
       {{"/cg/cpu.max", "400000 100000"}, {"/cg/0/job/cpu.max", "100000 100000"}}},
      {"version 1",
       1.5,
       "5:cpuset:/b\n4:cpu,cpuacct:/a\n0::/",
       cpuset + '\n' + v1,
       {{"/cpu,cpuacct/a/cpu.cfs_quota_us", "150000"},
        {"/cpu,cpuacct/a/cpu.cfs_period_us", "100000"},
        {"/cpuset/b/cpu.cfs_quota_us", "1"},
        {"/cpuset/b/cpu.cfs_period_us", "100000"}}},
      {"version 1 without limit beside version 2",
       none,
       "4:cpu,cpuacct:/\n0::/",
       v1 + '\n' + v2,
       {{"/cpu,cpuacct/cpu.cfs_quota_us", "-1"}, {"/cpu,cpuacct/cpu.cfs_period_us", "100000"}}},
      {"nonsense",
       none,
       "x\n0:\n",
       "a - b\n - \n1 2 0:3 / /c\\x9 rw - cgroup2 a rw\n" + v2,
       {{"/cg2/cpu.max", "many"}}},
  };
  for (const auto& machine : machines) {
    SCOPED_TRACE(machine.name);
    Planted::Files files = machine.limits;
    files.emplace_back("/proc/self/cgroup", machine.groups);
    files.emplace_back("/proc/self/mountinfo", machine.mounts);
    EXPECT_EQ(Planted(files).Machine().CpuQuota(), machine.quota);
  }
}

TEST(Cache, IsAShareOfTheLastLevelOrALevelOfItsOwn) {
  const std::string cache = "/sys/devices/system/cpu/cpu3/cache/index";
  const auto level = [&](int index, const char* type, const char* size, const char* cpus) {
    const std::string folder = cache + std::to_string(index);
    return Planted::Files{
        {folder + "/type", type}, {folder + "/size", size}, {folder + "/shared_cpu_list", cpus}};
  };
  const auto share = [](std::vector<Planted::Files> levels) {
    Planted::Files files;
    for (auto& one : levels) files.insert(files.end(), one.begin(), one.end());
    return Planted(files).Machine().CacheShare(3);
  };
  const auto data = level(0, "Data", "48K", "3");
  const auto code = level(1, "Instruction", "9999999K", "3");
  EXPECT_EQ(share({}), 0U);
  EXPECT_EQ(share({data, code}), 48U << 10U);
  EXPECT_EQ(share({data, code, level(2, "Unified", "2048K", "3"), level(3, "Unified", "32M", "0-3,8-11")}),
            4U << 20U);
  EXPECT_EQ(share({data, code, level(2, "Unified", "2048K", "3"), level(3, "Unified", "24M", "0-31")}),
            2U << 20U);
  EXPECT_EQ(share({level(0, "Unified", "8G", "3")}), std::uint64_t{8} << 30U);
}

TEST(Defaults, AnswerFromTheMachine) {
  EXPECT_GT(getmcache_(), 0);
  cpu_set_t before;
  ASSERT_EQ(sched_getaffinity(0, sizeof before, &before), 0);
  const int cpus = CPU_COUNT(&before);
  EXPECT_GE(getthreads_(), 1);
  EXPECT_LE(getthreads_(), cpus);
  cpu_set_t one;
  CPU_ZERO(&one);
  for (int cpu = 0; cpu < CPU_SETSIZE && CPU_COUNT(&one) == 0; ++cpu)
    if (CPU_ISSET(cpu, &before)) CPU_SET(cpu, &one);
  ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
  EXPECT_EQ(getthreads_(), 1);
  ASSERT_EQ(sched_setaffinity(0, sizeof before, &before), 0);
}

TEST(Interrupt, StaysPendingUntilItIsWithdrawn) {
  EXPECT_NO_THROW(atnnxt_());
  std::signal(SIGUSR1, [](int) { QuorRaiseInterrupt(); });
  std::raise(SIGUSR1);
  std::signal(SIGUSR1, SIG_DFL);
  for (int times = 0; times < 2; ++times) {
    EXPECT_TRUE(QuorInterruptPending());
    EXPECT_THROW(atnnxt_(), QuorGoToCaller);
  }
  QuorClearInterrupt();
  EXPECT_FALSE(QuorInterruptPending());
  EXPECT_NO_THROW(atnnxt_());
}

}  // namespace
