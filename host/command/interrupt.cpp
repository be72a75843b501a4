#include "command/interrupt.h"

#include <signal.h>

#include <atomic>
#include <cstdint>
#include <ctime>

namespace command {
namespace {

constexpr std::int64_t kSamePress = 1'000'000'000;  // ns

std::atomic<bool> stopRequested = false;
std::atomic<std::int64_t> firstTime = 0;
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<std::int64_t>::is_always_lock_free,
              "a signal handler may not wait");

std::int64_t Now() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * std::int64_t{1'000'000'000} + now.tv_nsec;
}

void OnInterrupt(int) {
  if (!stopRequested.exchange(true)) {
    firstTime = Now();
  } else if (Now() - firstTime > kSamePress) {
    signal(SIGINT, SIG_DFL);
    raise(SIGINT);
  }
}

}  // namespace

void CatchInterrupts() {
  struct sigaction before {};
  sigaction(SIGINT, nullptr, &before);
  if (before.sa_handler == SIG_IGN) return;
  struct sigaction action {};
  action.sa_handler = OnInterrupt;
  sigaction(SIGINT, &action, nullptr);
}

bool StopRequested() { return stopRequested.load(std::memory_order_relaxed); }

}  // namespace command
