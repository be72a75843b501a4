#pragma once

/// What a run asks of the program around it: how large the caches are, how many threads to use, whether to stop.
///
/// The first three functions have C linkage so that an embedding program can replace any of them by defining it
/// itself, as declared here; the library then calls that one.

#define QUORWLIB_EXPORT __attribute__((visibility("default")))

/// The interrupt: host code throws it to abandon the current work and unwind to its caller.
class QUORWLIB_EXPORT QuorGoToCaller {};

extern "C" {

/// The cache that one thread may fill, in units of 1024 bytes. By default one CPU's share of the machine's last
/// cache level, or a lower level of its own where that is larger; 1 MiB when the machine tells nothing.
QUORWLIB_EXPORT int getmcache_();

/// How many threads a run gets when its caller does not say. By default the CPUs on which the process may run, or
/// fewer when the CPU time of its control groups (version 1 or 2) is limited to fewer, rounded up; at least 1.
QUORWLIB_EXPORT int getthreads_();

/// Called when a run was interrupted, by the thread that started it, and by whichever host code wants to notice an
/// interrupt. By default throws QuorGoToCaller as long as an interrupt is pending, else does nothing.
QUORWLIB_EXPORT void atnnxt_();

/// Raises the pending interrupt, withdraws it, asks for it. It stays pending until it is withdrawn. Any thread and
/// any signal handler may call these three: they neither wait, allocate, throw nor change errno.
QUORWLIB_EXPORT void QuorRaiseInterrupt() noexcept;
QUORWLIB_EXPORT void QuorClearInterrupt() noexcept;
QUORWLIB_EXPORT bool QuorInterruptPending() noexcept;
}
