#pragma once

#include <cstddef>
#include <new>
#include <thread>

/// A program that links scarcity.cpp can be made short of memory and of threads.

/// The allocation of this process that fails: 0 the next one; below 0 none.
void FailAllocation(int countdown);
/// Whether it has failed. Ends the shortage.
bool AllocationFailed();

/// How many allocations this thread has asked for so far.
std::size_t Allocations();
/// How many allocations of all threads have not been freed.
std::ptrdiff_t LiveAllocations();

/// How many more threads can be started; below 0 any number.
void LimitThreads(int count);

/// What has been planted so far; the program prints it when it ends.
struct Planted {
  int allocations = 0;  ///< that failed
  int survived = 0;     ///< of them without an exception
  int faults = 0;       ///< other exceptions, interrupts and stalls
};
Planted& PlantedFaults();

/// Calls `attempt` with the first, the second, … allocation failing, until a call meets no failure. Each call has a
/// thread of its own, so that nothing is left to it that an earlier one has allocated for its thread.
///
/// The attempt hands what is to fail to its argument, which runs it and says whether std::bad_alloc came out. Returns
/// whether every call has freed what it allocated, and the last one, which nothing failed in, asked for no more than had
/// failed one after the other.
template <class Attempt>
bool EachAllocationFails(const Attempt& attempt) {
  bool freed = true;
  bool failed = true;
  bool each = true;
  for (int permitted = 0; failed; ++permitted) {
    const std::ptrdiff_t live = LiveAllocations();
    failed = false;
    std::thread([&] {
      attempt([&](const auto& step) {
        bool thrown = false;
        const std::size_t before = Allocations();
        FailAllocation(permitted);
        try {
          step();
        } catch (const std::bad_alloc&) {
          thrown = true;
        }
        failed = AllocationFailed();
        if (!failed) each = Allocations() - before <= static_cast<std::size_t>(permitted);
        if (failed && !thrown) ++PlantedFaults().survived;
        return thrown;
      });
    }).join();
    freed = freed && LiveAllocations() == live;
  }
  return freed && each;
}
