#include <atomic>

#include "quorwlib/quorwlib.h"

namespace {

std::atomic<bool> pending = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may not wait");

}  // namespace

void QuorRaiseInterrupt() noexcept { pending.store(true); }
void QuorClearInterrupt() noexcept { pending.store(false); }
bool QuorInterruptPending() noexcept { return pending.load(); }

void atnnxt_() {
  if (QuorInterruptPending()) throw QuorGoToCaller();
}
