#include "vexa/driver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <ostream>
#include <random>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "quorwlib/quorwlib.h"
#include "support/scarcity.h"

// The runtime services of this program, which defines them as any embedding program may.
static int cacheUnits = 5'000'000;
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

void WaitFor(const std::function<bool()>& condition) {
  while (!condition()) std::this_thread::yield();
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

enum Plant { kNothing, kInterrupt, kForeign, kStall, kNoMemory, kFewThreads, kPlants };

/// A run and what goes wrong in it.
struct Plan {
  int threads;
  int batches;
  Plant plant = kNothing;
  Step step = kRead;  ///< where it is planted: which operation of the workers,
  int at = 0;         ///< and how many of its kind before it, or allocations, or threads
};

std::ostream& operator<<(std::ostream& out, const Plan& plan) {
  return out << plan.threads << " threads, " << plan.batches << " batches, plant " << plan.plant
             << " at step " << plan.step << ", " << plan.at;
}

/// Whether something is thrown: the run comes to the place of it, whatever its timing.
bool Throws(const Plan& plan) {
  if (plan.plant != kInterrupt && plan.plant != kForeign && plan.plant != kStall) return false;
  if (plan.step == kCreate || plan.step == kMerge) return plan.at < plan.threads;
  return plan.batches == kEndless || plan.at < plan.batches + (plan.step == kRead ? 1 : 0);
}

/// The hook that plants what is thrown, or makes the ways of the workers cross.
std::function<void(Step, int)> HookOf(const Plan& plan, Probe& probe) {
  if (plan.plant == kNoMemory) {
    return [plan, &probe](Step step, int call) {
      // Endless as long as the start is not over.
      if (step == kRead && probe.calls[kCreate] == plan.threads && call > 50) probe.batches = 0;
    };
  }
  if (plan.plant == kNothing) {
    return [plan, &probe](Step step, int call) {
      // The end and every merge come while the others wait for the lock, or are likely to.
      if (step != kMerge && (step != kRead || call != plan.batches)) return;
      WaitFor([&] { return probe.calls[kCreate] == plan.threads; });
      for (int turn = 0; turn < plan.threads; ++turn) std::this_thread::yield();
    };
  }
  if (!Throws(plan)) return [](Step, int) {};
  const auto thrown = std::make_shared<std::atomic<bool>>(false);
  return [plan, &probe, thrown](Step step, int call) {
    // The reader stalls from before the failure to after it.
    const bool stalls = plan.plant == kStall;
    if (stalls && step == kRead && call == plan.at + 1) WaitFor([&] { return thrown->load(); });
    if (step != plan.step || call != plan.at) return;
    if (stalls) WaitFor([&] { return probe.calls[kRead] > plan.at + 1; });
    ++PlantedFaults().faults;
    *thrown = true;
    if (plan.plant == kInterrupt) throw QuorGoToCaller();
    throw Foreign{plan.threads};
  };
}

void Execute(const Plan& plan) {
  const int n = plan.threads;
  const bool throws = Throws(plan);
  // Whoever throws in another step merges nothing, nor do those that were not made.
  const int merges = !throws || plan.step == kMerge ? n : plan.step == kCreate ? plan.at : n - 1;
  Probe probe;
  probe.batches = plan.batches;
  probe.hook = HookOf(plan, probe);
  onAttention = [&, caller = std::this_thread::get_id()] {
    EXPECT_EQ(std::this_thread::get_id(), caller);
    EXPECT_EQ(probe.calls[kMerge], merges);
  };
  if (plan.plant == kNoMemory) FailAllocation(plan.at);
  if (plan.plant == kFewThreads) LimitThreads(plan.at);
  const std::string outcome = OutcomeOf(probe, n);
  const bool starved = AllocationFailed();
  LimitThreads(-1);
  onAttention = [] {};

  const bool attended = throws && plan.plant == kInterrupt && n > 1 && plan.step != kCreate;
  EXPECT_EQ(attentions, attended ? 1 : 0);
  EXPECT_EQ(probe._cacheSize, 5'120'000'000U);
  if (plan.plant == kNoMemory) {
    // For want of memory there may be fewer threads.
    EXPECT_TRUE(outcome == "return" || (starved && outcome == "no memory")) << outcome;
  } else if (plan.plant == kFewThreads && plan.at == 0 && n > 1) {
    ++PlantedFaults().faults;
    EXPECT_EQ(outcome, "no thread");
  } else if (throws) {
    const std::string expected = plan.plant != kInterrupt ? "foreign " + std::to_string(n)
                                 : attended               ? "return"
                                                          : "interrupt";
    EXPECT_EQ(outcome, expected);
    EXPECT_EQ(probe.made, plan.step == kCreate ? plan.at : n);
    EXPECT_EQ(probe.calls[kMerge], merges);
  } else {
    EXPECT_EQ(outcome, "return");
    EXPECT_EQ(probe.calls[kRead], plan.batches + 1);
    EXPECT_EQ(probe.calls[kProcess], plan.batches);
    EXPECT_EQ(probe.calls[kMerge], n);
    EXPECT_EQ(probe.sum, plan.batches);
  }
}

void ExpectOrderly(const Plan& plan) {
  SCOPED_TRACE(plan);
  const std::ptrdiff_t live = LiveAllocations();
  Execute(plan);
  EXPECT_EQ(LiveAllocations(), live);
}

TEST(Driver, ReadsEveryBatchOnceAndTheEndOnce) {
  for (const int n : {1, 2, 4, 16}) {
    for (const int batches : {0, 1, 7, 1000}) ExpectOrderly({n, batches});
  }
}

TEST(Driver, ThrowsWhatTheRuntimeThrowsAtAnInterrupt) {
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

TEST(Driver, EndsInOrderWhateverIsScarce) {
  for (const int n : {1, 2, 3, 16}) {
    int planted = -1;
    for (int at = 0; planted != PlantedFaults().allocations; ++at) {
      planted = PlantedFaults().allocations;
      ExpectOrderly({n, kEndless, kNoMemory, kRead, at});
    }
    EXPECT_GT(planted, n > 1 ? 2 * n : 0);
    for (const int threads : {0, 1, n - 1}) ExpectOrderly({n, 50, kFewThreads, kRead, threads});
  }
}

// Workers that fail anywhere and threads that are lacking, in runs drawn at random: so many here, as many as fit the
// seconds of VEXA_SOAK_SECONDS where that is set.
TEST(Driver, EndsInOrderForAnyMixture) {
  const char* seconds = std::getenv("VEXA_SOAK_SECONDS");
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds ? std::atoi(seconds) : 0);
  const std::uint64_t seed = seconds ? std::random_device()() : 1;
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937_64 random(seed);
  const auto below = [&](int count) { return static_cast<int>(random() % static_cast<unsigned int>(count)); };
  int runs = 0;
  for (; !HasFailure() && (seconds ? std::chrono::steady_clock::now() < end : runs < 500); ++runs) {
    Plan plan{.threads = 1 + below(below(2) == 0 ? 4 : 20), .batches = below(below(4) == 0 ? 4000 : 30)};
    plan.plant = static_cast<Plant>(below(kPlants));
    plan.step = static_cast<Step>(below(4));
    plan.at = below(plan.batches + plan.threads + 2);
    if ((plan.plant == kInterrupt || plan.plant == kForeign) && plan.step != kMerge && below(3) == 0)
      plan.batches = kEndless, plan.at = below(plan.threads);
    if (plan.plant == kStall) {
      plan.step = kProcess;
      if (plan.threads == 1 || plan.batches == 0) plan.plant = kForeign;
      if (plan.plant == kStall) plan.at = below(plan.batches);
    }
    if (plan.plant == kFewThreads) plan.step = kRead, plan.at = below(plan.threads);
    ExpectOrderly(plan);
  }
  std::printf("%d runs of seed %llu\n", runs, static_cast<unsigned long long>(seed));
}

TEST(Driver, DestroysATaskThatWasNeverInitialised) { const vexa::ProblemTask task; }

}  // namespace
