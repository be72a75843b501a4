#include <algorithm>
#include <deque>
#include <thread>
#include <utility>
#include <vector>

#include "current.h"
#include "sfthread/sfthread.h"

struct sfThreadPoolBase::State {
  struct Call {
    std::unique_ptr<CallBackObject> task;
    void* data;
  };

  State(int size, sfCompleteTask* current)
      : wanted(static_cast<std::size_t>(std::max(size, 0))), counter(current) {}

  ~State() {
    {
      const std::lock_guard lock(mutex);
      stopping = true;
    }
    changed.notify_all();
    for (std::thread& thread : threads) thread.join();
  }

  void Work() {
    std::unique_lock lock(mutex);
    for (;;) {
      changed.wait(lock, [this] { return stopping || !queue.empty(); });
      if (stopping) return;
      Call call = std::move(queue.front());
      queue.pop_front();
      lock.unlock();
      Run(call);
      call.task.reset();  // not under the lock: its destructor may wait for other tasks
      lock.lock();
    }
  }

  void Run(const Call& call) const {
    std::exception_ptr failure;
    try {
      call.task->callback(call.data);
      return;
    } catch (...) {
      if (counter == nullptr) throw;
      failure = std::current_exception();
    }
    // Only outside the handler does the exception belong to nobody but the one who is given it.
    counter->failOperation(std::move(failure));
  }

  const std::size_t wanted;
  sfCompleteTask* const counter;
  std::vector<std::thread> threads;

  std::mutex mutex;
  std::condition_variable changed;
  std::deque<Call> queue;
  bool stopping = false;
};

sfThreadPoolBase::sfThreadPoolBase(int threads)
    : _state(std::make_unique<State>(threads, CurrentCounter())) {}

sfThreadPoolBase::~sfThreadPoolBase() = default;

void sfThreadPoolBase::init() { _state->threads.reserve(_state->wanted); }

void sfThreadPoolBase::startAll() {
  try {
    while (_state->threads.size() < _state->wanted) {
      _state->threads.emplace_back([state = _state.get()] { state->Work(); });
    }
  } catch (...) {
    if (_state->threads.empty()) throw;
  }
}

void sfThreadPoolBase::invoke(CallBackObject* task, void* data, ThreadScope /*scope*/) {
  {
    const std::lock_guard lock(_state->mutex);
    _state->queue.push_back({nullptr, data});
    _state->queue.back().task.reset(task);
  }
  _state->changed.notify_one();
}

sfThreadPool::sfThreadPool(int threads, int /*flags*/) : sfThreadPoolBase(threads) {}
sfThreadPool::~sfThreadPool() = default;
