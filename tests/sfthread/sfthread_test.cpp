#include "sfthread/sfthread.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

class Task : public CallBackObject {
 public:
  Task(std::atomic<int>& deleted, std::function<void()> work)
      : CallBackObject(nullptr), _deleted(deleted), _work(std::move(work)) {}
  ~Task() override { ++_deleted; }

  int callback(void* data) override {
    EXPECT_EQ(data, this);
    _work();
    return 7;
  }

 private:
  std::atomic<int>& _deleted;
  std::function<void()> _work;
};

/// A pool as a run uses it: its counter first, tasks that report to it.
class Pool {
 public:
  explicit Pool(int threads, int operations = 0) : _counter(operations), _pool(std::in_place, threads, 0) {}

  void Start() {
    _pool->init();
    _pool->startAll();
  }
  void Invoke(std::function<void()> work) {
    auto* task = new Task(deleted, [this, work = std::move(work)] {
      work();
      _counter.completeOperation();
    });
    _pool->invoke(task, task, ThreadScope::kPool);
  }
  void Destroy() { _pool.reset(); }
  /// The text of the exception that came out of waitAll.
  std::string Wait() {
    try {
      _counter.waitAll();
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  }

  std::atomic<int> deleted = 0;

 private:
  sfCompleteTask _counter;
  std::optional<sfThreadPool> _pool;
};

TEST(Pool, RunsEveryTaskOnceAndDeletesIt) {
  // Only the mutex keeps the tasks apart, which the thread sanitizer checks.
  for (const int threads : {1, 3, 16}) {
    for (const int tasks : {0, 1, 200}) {
      Pool pool(threads, tasks);
      std::vector<int> order;
      sfMutex mutex;
      pool.Start();
      for (int task = 0; task < tasks; ++task) {
        pool.Invoke([&, task] {
          const sfGuard guard(mutex, sfMutex::kExclusive);
          order.push_back(task);
        });
      }
      EXPECT_EQ(pool.Wait(), "");
      pool.Destroy();
      EXPECT_EQ(pool.deleted, tasks);
      EXPECT_EQ(order.size(), static_cast<std::size_t>(tasks));
      EXPECT_TRUE(threads > 1 || std::is_sorted(order.begin(), order.end()));
    }
  }
}

void YieldOften() {
  for (int turn = 0; turn < 1000; ++turn) std::this_thread::yield();
}

TEST(Pool, DeletesWhatHasNotBegun) {
  for (const int threads : {-1, 0, 1}) {
    Pool pool(threads);
    for (int task = 0; task < 2; ++task) pool.Invoke([] { ADD_FAILURE() << "no thread was started"; });
    if (threads < 1) pool.Start();
    YieldOften();
    pool.Destroy();
    EXPECT_EQ(pool.deleted, 2);
  }
  // The destructor waits for the one that runs, not for those behind it.
  Pool pool(1);
  std::atomic<int> begun = 0;
  int ended = 0;
  pool.Start();
  for (int task = 0; task < 200; ++task) {
    pool.Invoke([&] {
      ++begun;
      YieldOften();
      ++ended;
    });
  }
  while (begun == 0) std::this_thread::yield();
  pool.Destroy();
  EXPECT_EQ(ended, begun);
  EXPECT_LT(ended, 200);
  EXPECT_EQ(pool.deleted, 200);
}

TEST(Counter, ThrowsTheFirstFailureWhenAllHaveEnded) {
  for (const int threads : {1, 4}) {
    Pool pool(threads, 40);
    std::atomic<int> ended = 0;
    std::atomic<bool> failed = false;
    pool.Start();
    pool.Invoke([&] {
      ++ended;
      failed = true;
      throw std::runtime_error("first");
    });
    while (pool.deleted == 0) std::this_thread::yield();
    for (int task = 1; task < 40; ++task) {
      pool.Invoke([&, task] {
        ++ended;
        if (task % 3 == 0) throw std::runtime_error("later");
      });
    }
    EXPECT_EQ(pool.Wait(), "first");
    EXPECT_EQ(ended, 40);
    EXPECT_EQ(pool.Wait(), "") << "a failure is thrown once";
  }
}

/// Has a task of a pool fail that this thread makes now.
void FailInPool(const char* text) {
  std::atomic<int> deleted = 0;
  sfThreadPool pool(1, 0);
  pool.init();
  pool.startAll();
  auto* task = new Task(deleted, [=] { throw std::runtime_error(text); });
  pool.invoke(task, task, ThreadScope::kPool);
  while (deleted == 0) std::this_thread::yield();
}

TEST(Counter, HearsOfThePoolsThatItsThreadMadeMeanwhile) {
  sfCompleteTask outer(1);
  auto brief = std::make_unique<sfCompleteTask>(1);
  {
    sfCompleteTask inner(1);
    brief.reset();  // not in the order of their construction: the younger one must not be lost
    FailInPool("inner");
    EXPECT_THROW(inner.waitAll(), std::runtime_error);
  }
  outer.failOperation(std::make_exception_ptr(0));
  outer.set(1);  // forgets that
  FailInPool("outer");
  EXPECT_THROW(outer.waitAll(), std::runtime_error);
}

TEST(Counter, WithoutOneAFailureEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(FailInPool("nobody listens"), "nobody listens");
}

}  // namespace
