#include "quorwlib/quorwlib.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "quorwlib/machine.h"

namespace {

namespace fs = std::filesystem;

using Files = std::map<std::string, std::string>;

/// What the machine answers that is made of these files.
template <class Ask>
auto Asked(const Files& files, Ask ask) {
  const fs::path root = fs::path(testing::TempDir()) / ("machine" + std::to_string(getpid()));
  for (const auto& [name, text] : files) {
    const fs::path path = root.string() + name;
    fs::create_directories(path.parent_path());
    std::ofstream(path) << text << '\n';
  }
  const auto answer = ask(quorwlib::Machine(root.string()));
  fs::remove_all(root);
  return answer;
}

TEST(Quota, IsTheSmallestOfAllGroupsAround) {
  const auto quota = [](const std::string& groups, const std::string& mounts, Files files) {
    files["/proc/self/cgroup"] = groups;
    files["/proc/self/mountinfo"] = mounts;
    return Asked(files, [](const quorwlib::Machine& machine) { return machine.CpuQuota(); });
  };
  constexpr double kNone = std::numeric_limits<double>::infinity();
  EXPECT_EQ(quota("", "", {}), kNone) << "no control groups";

  const std::string v2 = "30 23 0:26 / /cg2 rw,nosuid shared:9 - cgroup2 cgroup2 rw,nsdelegate";
  const std::string own = "/cg2/a/b/cpu.max";
  const std::string around = "/cg2/a/cpu.max";
  EXPECT_EQ(quota("0::/a/b", v2, {{own, "250000 100000"}, {around, "max 100000"}}), 2.5);
  EXPECT_EQ(quota("0::/a/b", v2, {{own, "250000 100000"}, {around, "25000 50000"}}), 0.5);
  EXPECT_EQ(
      quota("x\n0:\n", "a - b\n - \n1 2 0:3 / /c\\x9 rw - cgroup2 a rw\n" + v2, {{"/cg2/cpu.max", "many"}}),
      kNone)
      << "nonsense";

  // A container sees its own group as topmost; a group may be outside what is mounted.
  EXPECT_EQ(quota("0::/docker/77/job", "30 23 0:26 /docker/77 /c\\040g rw - cgroup2 cgroup2 rw",
                  {{"/c g/job/cpu.max", "300000 100000"}, {"/c g/docker/77/job/cpu.max", "100000 100000"}}),
            3.0);
  EXPECT_EQ(quota("0::/docker/770/job", "30 23 0:26 /docker/77 /cg rw - cgroup2 cgroup2 rw",
                  {{"/cg/cpu.max", "400000 100000"}, {"/cg/0/job/cpu.max", "100000 100000"}}),
            4.0);

  const std::string v1 = "33 31 0:30 / /cpu,cpuacct rw - cgroup cgroup rw,cpuacct,cpu";
  const std::string cpuset = "34 31 0:31 / /cpuset rw - cgroup cgroup rw,cpuset";
  const auto limit = [](const std::string& group, const std::string& cpuQuota, Files files = {}) {
    files[group + "/cpu.cfs_quota_us"] = cpuQuota;
    files[group + "/cpu.cfs_period_us"] = "100000";
    return files;
  };
  EXPECT_EQ(quota("5:cpuset:/b\n4:cpu,cpuacct:/a\n0::/", cpuset + '\n' + v1,
                  limit("/cpu,cpuacct/a", "150000", limit("/cpuset/a", "1"))),
            1.5);
  EXPECT_EQ(quota("4:cpu,cpuacct:/\n0::/", v1 + '\n' + v2, limit("/cpu,cpuacct", "-1")), kNone);
}

TEST(Cache, IsAShareOfTheLastLevelOrALevelOfItsOwn) {
  struct Level {
    const char* type;
    const char* size;
    const char* cpus;
  };
  const auto share = [](const std::vector<Level>& levels) {
    Files files;
    for (std::size_t index = 0; index < levels.size(); ++index) {
      const std::string folder = "/sys/devices/system/cpu/cpu3/cache/index" + std::to_string(index);
      files[folder + "/type"] = levels[index].type;
      files[folder + "/size"] = levels[index].size;
      files[folder + "/shared_cpu_list"] = levels[index].cpus;
    }
    return Asked(files, [](const quorwlib::Machine& asked) { return asked.CacheShare(3); });
  };
  const Level data{"Data", "48K", "3"};
  const Level code{"Instruction", "9999999K", "3"};
  const Level own{"Unified", "2048K", "3"};
  EXPECT_EQ(share({}), 0U);
  EXPECT_EQ(share({data, code}), 48U << 10U);
  EXPECT_EQ(share({data, code, own, {"Unified", "32M", "0-3,8-11"}}), 4U << 20U);
  EXPECT_EQ(share({data, code, own, {"Unified", "24M", "0-31"}}), 2U << 20U);
  EXPECT_EQ(share({{"Unified", "8G", "3"}}), std::uint64_t{8} << 30U);
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
