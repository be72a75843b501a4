#pragma once

#include <cstddef>

/// A program that links scarcity.cpp can be made short of memory and of threads.

/// The allocation of this thread that fails: 0 the next one; below 0 none.
void FailAllocation(int countdown);
/// Whether it has failed. Ends the shortage.
bool AllocationFailed();

/// How many allocations this thread has asked for so far.
std::size_t Allocations();

/// How many more threads can be started; below 0 any number.
void LimitThreads(int count);
