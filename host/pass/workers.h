#ifndef HOST_PASS_WORKERS_H
#define HOST_PASS_WORKERS_H

#include <cstdint>

#include "pass/options.h"

namespace pass {

/// Memory, in bytes, that a run takes.
struct Memory {
  std::uint64_t each;    ///< of every worker
  std::uint64_t shared;  ///< of all together
};

/// What the text of so many rows takes, about.
std::uint64_t TextBytes(std::uint64_t columns, std::uint64_t rows);

/// How many workers to run: as many as wanted, or as fit in the memory; at least one. Options.notice hears of it
/// when these are fewer.
unsigned int Workers(const Options& options, const Memory& memory);

/// The memory that this process may use, in bytes: the machine's, or what its control group or a resource limit
/// leaves.
std::uint64_t UsableMemory();

}  // namespace pass

#endif
