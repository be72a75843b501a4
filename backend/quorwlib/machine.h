#pragma once

#include <cstdint>
#include <string>

namespace quorwlib {

/// A Linux machine as its files describe it. They are looked up below a root, which is empty for the machine itself.
class Machine {
 public:
  explicit Machine(std::string root = "") : _root(std::move(root)) {}

  /// Bytes of cache that a thread on this CPU may fill: its share of the last level, or a level of its own where that
  /// is larger; 0 when the machine does not tell.
  std::uint64_t CacheShare(unsigned int cpu) const;

  /// The CPU time that the control groups around this process grant it, in CPUs; infinite without a limit.
  double CpuQuota() const;

 private:
  std::string _root;
};

}  // namespace quorwlib
