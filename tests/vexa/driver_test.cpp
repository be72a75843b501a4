#include "vexa/driver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "quorwlib/quorwlib.h"
#include "support/scarcity.h"

// The runtime services of this program, which defines them as any embedding program may.
static int cacheUnits = 1;
static int defaultThreads = 1;
static int attentions = 0;
static std::function<void()> onAttention = [] {};

int getmcache_() { return cacheUnits; }
int getthreads_() { return defaultThreads; }
void atnnxt_() {
  ++attentions;
  onAttention();
}

namespace {

const int kThreadCounts[] = {1, 2, 4, 16};
const int kEndless = -1;

enum Step { kCreate, kRead, kProcess, kMerge };

/// What is thrown besides the interrupt: nothing that a handler for standard exceptions would see.
struct Foreign {
  int number;
};

/// A problem that counts batches and watches how it is run. What is no atomic is left to the driver's locks, which the
/// thread sanitizer then checks.
class Probe : public vexa::ProblemBase {
 public:
  int batches = 50;
  /// Runs inside every operation, with the number of such operations before; may throw.
  std::function<void(Step, int)> hook = [](Step, int) {};

  std::atomic<int> calls[4] = {};
  int made = 0;
  std::atomic<int> deleted = 0;
  int sum = 0;

  vexa::ProblemWorker* CreateWorker() override {
    EXPECT_EQ(std::this_thread::get_id(), _caller);
    Enter(kCreate);
    auto* worker = new Worker(*this);
    ++made;
    return worker;
  }

 private:
  class Worker : public vexa::ProblemWorker {
   public:
    explicit Worker(Probe& probe) : _probe(probe) {}
    ~Worker() override {
      const Alone alone(_probe._insideRead);
      ++_probe.deleted;
    }

    bool ReadBatch() override {
      const Alone alone(_probe._insideRead);
      EXPECT_FALSE(_hasBatch || _merged || _probe._ended);
      StayOnThread();
      _probe.Enter(kRead);
      if (_probe.batches >= 0 && _probe._read >= _probe.batches) _probe._ended = true;
      if (!_probe._ended) ++_probe._read;
      _hasBatch = !_probe._ended;
      return _hasBatch;
    }

    void ProcessBatch() override {
      EXPECT_TRUE(_hasBatch);
      StayOnThread();
      _probe.Enter(kProcess);
      _hasBatch = false;
      ++_own;
    }

    void MergeResult() override {
      const Alone alone(_probe._insideMerge);
      EXPECT_FALSE(_hasBatch || _merged);
      StayOnThread();
      _merged = true;
      _probe.Enter(kMerge);
      _probe.sum += _own;
    }

   private:
    void StayOnThread() {
      if (_thread == std::thread::id()) _thread = std::this_thread::get_id();
      EXPECT_EQ(_thread, std::this_thread::get_id());
    }

    Probe& _probe;
    std::thread::id _thread;
    int _own = 0;
    bool _hasBatch = false;
    bool _merged = false;
  };

  /// Claims that nobody else is inside, and lets the others try.
  class Alone {
   public:
    explicit Alone(int& inside) : _inside(inside) {
      EXPECT_EQ(_inside++, 0);
      std::this_thread::yield();
    }
    ~Alone() { --_inside; }
    Alone(const Alone&) = delete;
    Alone& operator=(const Alone&) = delete;

   private:
    int& _inside;
  };

  void Enter(Step step) { hook(step, calls[step]++); }

  const std::thread::id _caller = std::this_thread::get_id();
  int _insideRead = 0;
  int _insideMerge = 0;
  int _read = 0;
  bool _ended = false;
};

/// Runs the problem and says what came out of the driver. Whatever that is, no worker is left.
std::string OutcomeOf(Probe& probe, int nThreads) {
  attentions = 0;
  std::string outcome = "return";
  try {
    vexa::Driver(&probe, nThreads);
  } catch (QuorGoToCaller) {
    outcome = "interrupt";
  } catch (const Foreign& foreign) {
    outcome = "foreign " + std::to_string(foreign.number);
  } catch (const std::bad_alloc&) {
    outcome = "no memory";
  } catch (const std::system_error&) {
    outcome = "no thread";
  }
  EXPECT_EQ(probe.deleted, probe.made);
  return outcome;
}

template <class Exception>
std::function<void(Step, int)> ThrowAt(Step step, int call, Exception exception) {
  return [=](Step at, int number) {
    if (at == step && number == call) throw exception;
  };
}

void WaitFor(const std::function<bool()>& condition) {
  while (!condition()) std::this_thread::yield();
}

TEST(Driver, ReadsEveryBatchOnceAndTheEndOnce) {
  cacheUnits = 5'000'000;
  for (const int n : kThreadCounts) {
    for (const int batches : {0, 1, 7, 1000}) {
      SCOPED_TRACE(std::to_string(n) + " threads, " + std::to_string(batches) + " batches");
      Probe probe;
      probe.batches = batches;
      probe.hook = [&](Step step, int call) {
        // The end and every merge come while the others wait for the lock, or are likely to.
        if (step != kMerge && (step != kRead || call != batches)) return;
        WaitFor([&] { return probe.calls[kCreate] == n; });
        for (int turn = 0; turn < 10 * n; ++turn) std::this_thread::yield();
      };
      EXPECT_EQ(OutcomeOf(probe, n), "return");
      EXPECT_EQ(probe.calls[kCreate], n);
      EXPECT_EQ(probe.calls[kRead], batches + 1);
      EXPECT_EQ(probe.calls[kProcess], batches);
      EXPECT_EQ(probe.calls[kMerge], n);
      EXPECT_EQ(probe.sum, batches);
      EXPECT_EQ(attentions, 0);
      EXPECT_EQ(probe._cacheSize, 5'120'000'000U);
    }
  }
}

TEST(Driver, LeavesTheThreadCountToTheRuntime) {
  for (const int answer : {1, 3, 0, -2}) {
    for (const int asked : {0, -7}) {
      SCOPED_TRACE(answer);
      defaultThreads = answer;
      Probe probe;
      EXPECT_EQ(OutcomeOf(probe, asked), "return");
      EXPECT_EQ(probe.calls[kMerge], std::max(answer, 0));
      EXPECT_EQ(probe.sum, answer > 0 ? 50 : 0);
    }
  }
}

TEST(Driver, ReportsAnInterruptOnce) {
  for (const int n : kThreadCounts) {
    for (const Step step : {kRead, kProcess, kMerge}) {
      for (const int call : {0, n / 2}) {
        SCOPED_TRACE(std::to_string(n) + " threads, step " + std::to_string(step));
        Probe probe;
        if (step != kMerge) probe.batches = kEndless;
        probe.hook = ThrowAt(step, call, QuorGoToCaller());
        const int merges = step == kMerge ? n : n - 1;
        onAttention = [&, caller = std::this_thread::get_id()] {
          EXPECT_EQ(std::this_thread::get_id(), caller);
          EXPECT_EQ(probe.calls[kMerge], merges);
        };
        EXPECT_EQ(OutcomeOf(probe, n), n == 1 ? "interrupt" : "return");
        EXPECT_EQ(probe.calls[kMerge], merges);
        EXPECT_EQ(attentions, n == 1 ? 0 : 1);
      }
    }
  }
  // Each worker by itself, and a runtime that unwinds.
  Probe probe;
  probe.hook = [](Step step, int) {
    if (step == kProcess) throw QuorGoToCaller();
  };
  onAttention = [] { throw QuorGoToCaller(); };
  EXPECT_EQ(OutcomeOf(probe, 4), "interrupt");
  EXPECT_EQ(probe.calls[kMerge], 4 - probe.calls[kProcess]);
  EXPECT_EQ(attentions, 1);
  onAttention = [] {};
}

TEST(Driver, ThrowsWhatFailedAndReadsNoFurther) {
  for (const int n : kThreadCounts) {
    for (const Step step : {kCreate, kRead, kProcess, kMerge}) {
      for (const int call : {0, n - 1}) {
        SCOPED_TRACE(std::to_string(n) + " threads, step " + std::to_string(step));
        Probe probe;
        if (step != kMerge) probe.batches = kEndless;
        probe.hook = ThrowAt(step, call, Foreign{n});
        EXPECT_EQ(OutcomeOf(probe, n), "foreign " + std::to_string(n));
        EXPECT_EQ(probe.made, step == kCreate ? call : n);
        EXPECT_EQ(attentions, 0);
      }
    }
  }
}

TEST(Driver, ThrowsTheFirstFailureOfSeveral) {
  enum Second { kForeignInWorker, kInterruptInWorker, kForeignInCreate };
  for (const Second second : {kForeignInWorker, kInterruptInWorker, kForeignInCreate}) {
    SCOPED_TRACE(second);
    Probe probe;
    probe.batches = kEndless;
    probe.hook = [&](Step step, int call) {
      if (step == kProcess && call == 0) {
        WaitFor([&] { return second == kForeignInCreate || probe.calls[kProcess] == 2; });
        throw Foreign{1};
      }
      if (step != (second == kForeignInCreate ? kCreate : kProcess) || call != 1) return;
      WaitFor([&] { return probe.deleted == 1; });
      if (second == kInterruptInWorker) throw QuorGoToCaller();
      throw Foreign{2};
    };
    EXPECT_EQ(OutcomeOf(probe, 2), "foreign 1");
    EXPECT_EQ(attentions, 0);
  }
}

TEST(Driver, SurvivesEveryAllocationThatFails) {
  const int n = 3;
  int failures = 0;
  for (bool failed = true; failed; ++failures) {
    SCOPED_TRACE(failures);
    Probe probe;
    probe.batches = kEndless;
    probe.hook = [&](Step step, int call) {
      // Endless as long as the start is not over.
      if (step == kRead && probe.calls[kCreate] == n && call > 50) probe.batches = 0;
    };
    FailAllocation(failures);
    const std::string outcome = OutcomeOf(probe, n);
    failed = AllocationFailed();
    // For want of memory there may be fewer threads.
    EXPECT_TRUE(outcome == "return" || (failed && outcome == "no memory")) << outcome;
  }
  EXPECT_GT(failures, 2 * n);
}

TEST(Driver, GoesOnWithTheThreadsItGets) {
  for (const int n : {2, 16}) {
    for (const int started : {0, 1, n - 1}) {
      SCOPED_TRACE(std::to_string(started) + " of " + std::to_string(n));
      LimitThreads(started);
      Probe probe;
      EXPECT_EQ(OutcomeOf(probe, n), started == 0 ? "no thread" : "return");
      LimitThreads(-1);
      EXPECT_EQ(probe.calls[kMerge], started == 0 ? 0 : n);
      EXPECT_EQ(probe.sum, started == 0 ? 0 : 50);
    }
  }
}

TEST(Driver, DestroysATaskThatWasNeverInitialised) { const vexa::ProblemTask task; }

}  // namespace
