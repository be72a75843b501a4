#include "command/interrupt.h"

#include <signal.h>

#include <atomic>

namespace command {
namespace {

std::atomic<bool> stopRequested = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may not wait");

void OnInterrupt(int) { stopRequested.store(true, std::memory_order_relaxed); }

}  // namespace

void CatchInterrupts() {
  struct sigaction before {};
  sigaction(SIGINT, nullptr, &before);
  if (before.sa_handler == SIG_IGN) return;
  struct sigaction action {};
  action.sa_handler = OnInterrupt;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  sigaction(SIGINT, &action, nullptr);
}

bool StopRequested() { return stopRequested.load(std::memory_order_relaxed); }

}  // namespace command
