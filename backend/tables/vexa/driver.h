#pragma once

#include <atomic>
#include <cstdint>

#include "../sfthread/sfthread.h"
#include "export.h"

namespace vexa {

/// One thread's share of a run, implemented by the host. Its batches and accumulators are its own.
///
/// Any operation may throw QuorGoToCaller (quorwlib/quorwlib.h), the interrupt, or anything else: see Driver.
class VEXA_EXPORT ProblemWorker {
 public:
  ProblemWorker() = default;
  /// In a run on several threads: under the lock that ReadBatch runs under.
  virtual ~ProblemWorker();
  ProblemWorker(const ProblemWorker&) = delete;
  ProblemWorker& operator=(const ProblemWorker&) = delete;

  /// Fills the batch with the next rows. False when there are none, after which no worker is asked again. One worker
  /// at a time.
  virtual bool ReadBatch() = 0;
  /// Adds the batch to the worker's own accumulators. Without any lock: it must touch nothing shared.
  virtual void ProcessBatch() = 0;
  /// Adds the worker's accumulators to the problem's. Once at most, after the worker's last batch; one worker at a
  /// time, while others may still read and process.
  virtual void MergeResult() = 0;
};

/// A pass over the data, implemented by the host, which keeps it and what its workers merge into.
class VEXA_EXPORT ProblemBase {
 public:
  ProblemBase() = default;
  virtual ~ProblemBase();
  ProblemBase(const ProblemBase&) = delete;
  ProblemBase& operator=(const ProblemBase&) = delete;

  /// A new worker, which the driver will delete. Called on the driver's thread, once per thread of the run, while
  /// workers that were created before may already be at work.
  virtual ProblemWorker* CreateWorker() = 0;

  /// Bytes of cache that a worker may fill: getmcache_() of the host's runtime, set when a run begins.
  std::uint64_t _cacheSize = 0;
};

/// Runs a problem: workers read batches one after another, process them at the same time, and merge one after another.
///
/// @param problem  the host's, which keeps it
/// @param nThreads how many threads; below 1, as many as getthreads_() says. With one, everything happens on the
///                 caller's thread and without locks. When getthreads_() says 0 or less there are no workers and
///                 nothing is read.
///
/// The end of the data: each worker merges what it has, and the driver returns.
///
/// The interrupt (QuorGoToCaller): on one thread it comes out of Driver. On several the worker that threw it does not
/// merge, the others process the batch they have, read no more, and merge; then atnnxt_() is called on the caller's
/// thread, and what that throws comes out of Driver.
///
/// Any other exception from a worker, from CreateWorker, or for want of memory or threads: no worker begins to read
/// again, workers that have begun end as above, and the first exception comes out of Driver when all have ended. A
/// run that gets only some of its threads goes on with those.
///
/// When Driver returns or throws, every worker it had is deleted. Runs may be nested, and independent problems may
/// run at the same time.
VEXA_EXPORT void Driver(ProblemBase* problem, int nThreads);

/// What the tasks of one run share.
struct VEXA_EXPORT DriverShared {
  DriverShared();
  ~DriverShared();
  DriverShared(const DriverShared&) = delete;
  DriverShared& operator=(const DriverShared&) = delete;

  sfMutex _readMutex;    ///< held while a worker reads or is deleted
  sfMutex _mergeMutex;   ///< held while a worker merges; no task holds both
  sfCompleteTask _done;  ///< counts the tasks that have ended
  std::atomic<bool> _endOfData{false};
  std::atomic<bool> _interrupted{false};
};

/// One thread's part of a run on several threads.
class VEXA_EXPORT ProblemTask : public CallBackObject {
 public:
  ProblemTask();
  ~ProblemTask() override;
  ProblemTask(const ProblemTask&) = delete;
  ProblemTask& operator=(const ProblemTask&) = delete;

  /// Has the problem create the task's worker. `shared` must outlive the task. On the driver's thread.
  void Init(DriverShared* shared, ProblemBase* problem, int index);
  /// Reads and processes until the run ends, merges, and completes one operation. An exception other than the
  /// interrupt leaves it, ends the run's reading and completes nothing. Returns 0.
  int callback(void* data) override;

 private:
  ProblemWorker* _worker;
  DriverShared* _shared;
  int _index;  // 0 to threads − 1
};

}  // namespace vexa
