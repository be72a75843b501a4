// Ctrl-C in a long run: give up at once, or keep the result of the rows read so far.

#include <quorwlib/quorwlib.h>
#include <vexa/vexa.h>

#include <csignal>
#include <cstdio>

namespace {

extern "C" void OnSignal(int) { QuorRaiseInterrupt(); }

/// An endless source of rows. Somebody presses Ctrl-C when it has handed out the third batch.
class Pass : public vexa::ProblemBase {
 public:
  explicit Pass(bool keepsPart) : _keepsPart(keepsPart) {}

  vexa::ProblemWorker* CreateWorker() override { return new Worker(*this); }
  const vexa::MatrixListwise& Sums() const { return _sums; }

 private:
  class Worker : public vexa::ProblemWorker {
   public:
    explicit Worker(Pass& pass) : _pass(pass), _batch(1, 1000, nullptr, nullptr, nullptr) {}

    bool ReadBatch() override {
      // To end as at the end of the data, so that every worker merges what it has: say that there is no more.
      if (_pass._keepsPart && QuorInterruptPending()) return false;
      // To give up: this throws QuorGoToCaller while an interrupt is pending.
      atnnxt_();
      _batch.Clear();
      while (_batch.NRows() < _batch.MaxRows()) {
        const double value = _pass._next++;
        _batch.AddRow(&value);
      }
      if (++_pass._batches == 3) std::raise(SIGINT);
      return true;
    }
    void ProcessBatch() override { _sums += _batch; }
    void MergeResult() override { _pass._sums += _sums; }

   private:
    Pass& _pass;
    vexa::DataBatch _batch;
    vexa::MatrixListwise _sums;
  };

  bool _keepsPart;
  int _next = 0;
  int _batches = 0;
  vexa::MatrixListwise _sums;
};

}  // namespace

int main() {
  std::signal(SIGINT, OnSignal);

  Pass abandoned(false);
  try {
    vexa::Driver(&abandoned, 2);
  } catch (const QuorGoToCaller&) {
    std::printf("given up\n");
  }

  // An interrupt stays pending until it is withdrawn.
  QuorClearInterrupt();
  Pass partial(true);
  vexa::Driver(&partial, 2);
  std::printf("the first %llu rows have the mean %.1f\n",
              static_cast<unsigned long long>(partial.Sums().NRows()), partial.Sums().Mean(0));
}
