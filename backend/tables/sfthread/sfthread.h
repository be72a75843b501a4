#pragma once

#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>

/// The threads under the driver: an exclusive lock, a counter of completed work, and a pool.

#define SFTHREAD_EXPORT __attribute__((visibility("default")))

/// An exclusive lock, not recursive. Locked through sfGuard.
class SFTHREAD_EXPORT sfMutex {
 public:
  enum LockType { kExclusive = 1 };

  sfMutex();
  ~sfMutex();
  sfMutex(const sfMutex&) = delete;
  sfMutex& operator=(const sfMutex&) = delete;

 private:
  friend class sfGuard;
  std::mutex _mutex;
};

/// Holds a mutex for its own lifetime.
class SFTHREAD_EXPORT sfGuard {
 public:
  sfGuard(sfMutex& mutex, sfMutex::LockType type);
  ~sfGuard();
  sfGuard(const sfGuard&) = delete;
  sfGuard& operator=(const sfGuard&) = delete;

 private:
  sfMutex& _held;
};

/// Counts completed operations for one thread that waits for all of them.
///
/// From its construction to its destruction, both by the same thread, a counter is that thread's current one, unless
/// a younger one is. To the counter that was current for its maker a pool tells the exceptions of its tasks.
class SFTHREAD_EXPORT sfCompleteTask {
 public:
  sfCompleteTask(int operations);
  ~sfCompleteTask();
  sfCompleteTask(const sfCompleteTask&) = delete;
  sfCompleteTask& operator=(const sfCompleteTask&) = delete;

  /// Waits from now on for so many operations; 0 and below: for none. What was counted before is forgotten.
  void set(int operations);
  void completeOperation();
  /// Completes an operation that ended with an exception.
  void failOperation(std::exception_ptr failure);
  /// Returns once all operations are completed. Throws the first exception with which one of them ended, once.
  void waitAll();

 private:
  std::mutex _mutex;
  std::condition_variable _completed;
  int _open;
  std::exception_ptr _failure;
  sfCompleteTask* _outer;  // current before this one
};

/// What a callback object carries for its user; the pool does not look at it.
class SFTHREAD_EXPORT msgBaseData {
 public:
  msgBaseData();
  virtual ~msgBaseData();
  virtual void* getMsgData();
  virtual void setMsgData(void* data);

 private:
  void* _msgData;
};

/// A task for a pool.
class SFTHREAD_EXPORT CallBackObject : public msgBaseData {
 public:
  CallBackObject(void* callbackData);
  ~CallBackObject() override;
  virtual void setCallbackData(void* data);
  virtual void* getCallbackData();
  /// The task's work; the pool ignores what it returns.
  virtual int callback(void* data) = 0;

 private:
  void* _callbackData;
};

/// Where a task runs: on a thread of the pool.
enum class ThreadScope { kPool = 1 };

/// A pool that runs its tasks in the order of their invocation, each once, on any of its threads.
///
/// A task belongs to the pool from its invocation on and is deleted by its thread after its callback has ended. An
/// exception that leaves a callback goes to the counter that was current for the pool's maker (see sfCompleteTask),
/// which must outlive the pool; when there was none it ends the process.
///
/// The destructor waits for the tasks that are running and deletes those that have not begun, without running them.
class SFTHREAD_EXPORT sfThreadPoolBase {
 public:
  sfThreadPoolBase(const sfThreadPoolBase&) = delete;
  sfThreadPoolBase& operator=(const sfThreadPoolBase&) = delete;

  /// Takes the memory that the threads need. Throws std::bad_alloc.
  void init();
  /// Starts the threads. A pool of which at least one can be started goes on with those that can; throws
  /// std::system_error or std::bad_alloc when none can. A pool of 0 threads or fewer starts none.
  void startAll();
  /// Takes the task over, and runs callback(data) as soon as a thread is free. Returns at once. When it throws
  /// (std::bad_alloc), the task still belongs to the caller.
  void invoke(CallBackObject* task, void* data, ThreadScope scope);

 protected:
  sfThreadPoolBase(int threads);
  ~sfThreadPoolBase();

 private:
  struct State;
  std::unique_ptr<State> _state;
};

/// A pool of a fixed number of threads.
class SFTHREAD_EXPORT sfThreadPool : public sfThreadPoolBase {
 public:
  /// The second argument is 0; no other value has a meaning.
  sfThreadPool(int threads, int flags);
  ~sfThreadPool();
};
