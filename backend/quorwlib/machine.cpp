#include "machine.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <optional>
#include <sstream>
#include <string_view>
#include <vector>

namespace quorwlib {
namespace {

/// A file of one line; empty when it cannot be read.
std::string ReadLine(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  return line;
}

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, separator);) parts.push_back(part);
  return parts;
}

bool ListHas(const std::string& list, std::string_view name) {
  const std::vector<std::string> names = Split(list, ',');
  return std::find(names.begin(), names.end(), name) != names.end();
}

/// "2048K" as bytes.
std::uint64_t ParseSize(const std::string& text) {
  std::istringstream stream(text);
  std::uint64_t size = 0;
  char unit = ' ';
  stream >> size >> unit;
  switch (unit) {
    case 'K':
      return size << 10U;
    case 'M':
      return size << 20U;
    case 'G':
      return size << 30U;
    default:
      return size;
  }
}

/// How many CPUs "0-3,8,10-11" lists.
std::uint64_t CountCpus(const std::string& list) {
  std::uint64_t count = 0;
  for (const std::string& range : Split(list, ',')) {
    std::istringstream stream(range);
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    char dash = ' ';
    if (!(stream >> first)) continue;
    if (!(stream >> dash >> last)) last = first;
    if (first <= last) count += last - first + 1;
  }
  return count;
}

/// A path as /proc/self/mountinfo writes it: blanks and backslashes in octal.
std::string Unescape(const std::string& text) {
  std::string path;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::string code = text.substr(i + 1, 3);
    if (text[i] == '\\' && code.size() == 3 && code.find_first_not_of("01234567") == std::string::npos) {
      path += static_cast<char>(std::stoi(code, nullptr, 8));
      i += code.size();
    } else {
      path += text[i];
    }
  }
  return path;
}

/// One hierarchy of control groups that can limit CPU time.
struct Hierarchy {
  int version = 0;
  std::string mountPoint;
  std::string mountRoot;  ///< the group that is seen at the mount point; in a container rarely the topmost
};

std::optional<Hierarchy> ParseMount(const std::string& line) {
  // ID parent device root mount-point options [optional fields] - type source options
  const std::size_t dash = line.find(" - ");
  if (dash == std::string::npos) return std::nullopt;
  const std::vector<std::string> mount = Split(line.substr(0, dash), ' ');
  const std::vector<std::string> type = Split(line.substr(dash + 3), ' ');
  if (mount.size() < 5 || type.size() < 3) return std::nullopt;
  Hierarchy hierarchy{0, Unescape(mount[4]), Unescape(mount[3])};
  if (type[0] == "cgroup2") hierarchy.version = 2;
  if (type[0] == "cgroup" && ListHas(type[2], "cpu")) hierarchy.version = 1;
  if (hierarchy.version == 0) return std::nullopt;
  return hierarchy;
}

/// The path of this process's group in a hierarchy, from the text of /proc/self/cgroup.
std::string GroupPath(const std::vector<std::string>& groups, int version) {
  for (const std::string& line : groups) {
    // number:controllers:path, where version 2 has number 0 and no controllers
    const std::size_t first = line.find(':');
    const std::size_t second = line.find(':', first + 1);
    if (first == std::string::npos || second == std::string::npos) continue;
    const std::string controllers = line.substr(first + 1, second - first - 1);
    if (version == 2 ? controllers.empty() : ListHas(controllers, "cpu")) return line.substr(second + 1);
  }
  return "/";
}

/// The directory of a group below its mount point, or of the mounted group when the other lies outside.
std::string BelowMount(const Hierarchy& hierarchy, const std::string& path) {
  const std::string root = hierarchy.mountRoot == "/" ? "" : hierarchy.mountRoot;
  const bool inside = path.compare(0, root.size(), root) == 0 && path[root.size()] == '/' &&
                      path.find("/..") == std::string::npos;
  return inside && path.size() > root.size() + 1 ? path.substr(root.size()) : "";
}

/// The limit of one group, in CPUs.
double GroupLimit(const std::string& directory, int version) {
  std::istringstream stream(version == 2 ? ReadLine(directory + "/cpu.max")
                                         : ReadLine(directory + "/cpu.cfs_quota_us") + ' ' +
                                               ReadLine(directory + "/cpu.cfs_period_us"));
  double quota = 0.0;
  double period = 0.0;
  // Neither "max" nor -1 is a limit.
  if (!(stream >> quota >> period) || quota <= 0.0 || period <= 0.0) {
    return std::numeric_limits<double>::infinity();
  }
  return quota / period;
}

std::vector<std::string> ReadLines(const std::string& path) {
  std::ifstream file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

}  // namespace

std::uint64_t Machine::CacheShare(unsigned int cpu) const {
  const std::string caches = _root + "/sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/cache/index";
  std::uint64_t share = 0;
  for (int index = 0;; ++index) {
    const std::string cache = caches + std::to_string(index);
    const std::string type = ReadLine(cache + "/type");
    if (type.empty()) return share;
    if (type == "Instruction") continue;
    const std::uint64_t sharers = std::max<std::uint64_t>(CountCpus(ReadLine(cache + "/shared_cpu_list")), 1);
    share = std::max(share, ParseSize(ReadLine(cache + "/size")) / sharers);
  }
}

double Machine::CpuQuota() const {
  const std::vector<std::string> groups = ReadLines(_root + "/proc/self/cgroup");
  double quota = std::numeric_limits<double>::infinity();
  for (const std::string& line : ReadLines(_root + "/proc/self/mountinfo")) {
    const std::optional<Hierarchy> hierarchy = ParseMount(line);
    if (!hierarchy) continue;
    // A group is bound by the limits of all groups around it.
    std::string below = BelowMount(*hierarchy, GroupPath(groups, hierarchy->version));
    for (;; below.resize(below.rfind('/'))) {
      quota = std::min(quota, GroupLimit(_root + hierarchy->mountPoint + below, hierarchy->version));
      if (below.empty()) break;
    }
  }
  return quota;
}

}  // namespace quorwlib
