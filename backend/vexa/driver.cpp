#include "vexa/driver.h"

#include <algorithm>
#include <exception>
#include <memory>

#include "quorwlib/quorwlib.h"
#include "sfthread/sfthread.h"

namespace vexa {

namespace {

/// Ends a run's reading when an exception passes, so that no worker reads an endless source for a run that has failed.
class ReadingGuard {
 public:
  explicit ReadingGuard(DriverShared& shared) : _shared(shared) {}
  ~ReadingGuard() {
    if (std::uncaught_exceptions() > _uncaught) _shared._endOfData = true;
  }
  ReadingGuard(const ReadingGuard&) = delete;
  ReadingGuard& operator=(const ReadingGuard&) = delete;

 private:
  DriverShared& _shared;
  const int _uncaught = std::uncaught_exceptions();
};

void RunOnThisThread(ProblemBase& problem) {
  const std::unique_ptr<ProblemWorker> worker(problem.CreateWorker());
  while (worker->ReadBatch()) worker->ProcessBatch();
  worker->MergeResult();
}

/// A task's batches, until the run's reading ends.
void ReadAndProcess(DriverShared& shared, ProblemWorker& worker) {
  while (!shared._interrupted && !shared._endOfData) {
    {
      const sfGuard reading(shared._readMutex, sfMutex::kExclusive);
      if (shared._interrupted || shared._endOfData) return;
      if (!worker.ReadBatch()) {
        shared._endOfData = true;
        return;
      }
    }
    worker.ProcessBatch();
  }
}

void RunOnPool(ProblemBase& problem, int nThreads) {
  DriverShared shared;
  shared._done.set(nThreads);
  // Made after the state that its tasks use and the counter that hears of their failures, so destroyed before them.
  sfThreadPool pool(nThreads, 0);
  pool.init();
  pool.startAll();

  int invoked = 0;
  // Outlives the handler: a task's destructor waits for the lock that readers of an endless source hardly let go.
  std::unique_ptr<ProblemTask> task;
  try {
    for (; invoked < nThreads; ++invoked) {
      task = std::make_unique<ProblemTask>();
      task->Init(&shared, &problem, invoked);
      pool.invoke(task.get(), nullptr, ThreadScope::kPool);
      static_cast<void>(task.release());
    }
  } catch (...) {
    // The tasks that there are end as if the data did. A worker may have failed before: then waitAll throws that.
    shared._endOfData = true;
    for (; invoked < nThreads; ++invoked) shared._done.failOperation(std::current_exception());
  }
  shared._done.waitAll();
  if (shared._interrupted) atnnxt_();
}

}  // namespace

ProblemWorker::~ProblemWorker() = default;
ProblemBase::~ProblemBase() = default;

void Driver(ProblemBase* problem, int nThreads) {
  problem->_cacheSize = static_cast<std::uint64_t>(std::max(getmcache_(), 0)) * 1024;
  const int n = nThreads < 1 ? getthreads_() : nThreads;
  if (n == 1) {
    RunOnThisThread(*problem);
  } else {
    RunOnPool(*problem, n);
  }
}

DriverShared::DriverShared() : _done(0) {}
DriverShared::~DriverShared() = default;

ProblemTask::ProblemTask() : CallBackObject(nullptr), _worker(nullptr), _shared(nullptr), _index(0) {}

ProblemTask::~ProblemTask() {
  if (_shared == nullptr) return;
  const sfGuard guard(_shared->_readMutex, sfMutex::kExclusive);
  delete _worker;
}

void ProblemTask::Init(DriverShared* shared, ProblemBase* problem, int index) {
  _shared = shared;
  _worker = problem->CreateWorker();
  _index = index;
}

int ProblemTask::callback(void* /*data*/) {
  const ReadingGuard guard(*_shared);
  try {
    ReadAndProcess(*_shared, *_worker);
    const sfGuard merging(_shared->_mergeMutex, sfMutex::kExclusive);
    _worker->MergeResult();
  } catch (QuorGoToCaller) {
    _shared->_interrupted = true;
  }
  _shared->_done.completeOperation();
  return 0;
}

}  // namespace vexa
