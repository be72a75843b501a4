#include <utility>

#include "current.h"
#include "sfthread/sfthread.h"

namespace {

// A run inside another one, started by the same thread, has its own counter on top until it is over.
thread_local sfCompleteTask* youngest = nullptr;

}  // namespace

sfCompleteTask::sfCompleteTask(int operations) : _open(operations), _outer(std::exchange(youngest, this)) {}

sfCompleteTask::~sfCompleteTask() {
  sfCompleteTask** link = &youngest;
  while (*link != nullptr && *link != this) link = &(*link)->_outer;
  if (*link == this) *link = _outer;
}

void sfCompleteTask::set(int operations) {
  const std::lock_guard lock(_mutex);
  _open = operations;
  _failure = nullptr;
}

void sfCompleteTask::completeOperation() { failOperation(nullptr); }

void sfCompleteTask::failOperation(std::exception_ptr failure) {
  const std::lock_guard lock(_mutex);
  if (!_failure) _failure = std::move(failure);
  --_open;
  // Under the lock: once it is released, the waiting thread may be through and the counter gone.
  if (_open <= 0) _completed.notify_all();
}

void sfCompleteTask::waitAll() {
  std::unique_lock lock(_mutex);
  _completed.wait(lock, [this] { return _open <= 0; });
  if (_failure) std::rethrow_exception(std::exchange(_failure, nullptr));
}

sfCompleteTask* CurrentCounter() { return youngest; }
