// Covariances of rows in memory, on all cores: the library in a program that has its own data.

#include <vexa/vexa.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <vector>

namespace {

const unsigned int kColumns = 3;
using Row = std::array<double, kColumns>;

/// One pass over the rows. The driver asks for a worker per thread and lets all of them take batches until none is left.
class Pass : public vexa::ProblemBase {
 public:
  explicit Pass(const std::vector<Row>& rows) : _rows(rows) {}

  vexa::ProblemWorker* CreateWorker() override { return new Worker(*this); }

  /// The result, once the driver has returned.
  const vexa::MatrixListwise& Sums() const { return _sums; }

 private:
  class Worker : public vexa::ProblemWorker {
   public:
    explicit Worker(Pass& pass)
        : _pass(pass), _batch(kColumns, pass.BatchRows(), nullptr, nullptr, nullptr) {}

    // Under the read lock. A row that lacks a value would be left out here: the listwise accumulators use every row.
    bool ReadBatch() override {
      _batch.Clear();
      for (; _pass._next < _pass._rows.size() && _batch.NRows() < _batch.MaxRows(); ++_pass._next) {
        _batch.AddRow(_pass._rows[_pass._next].data());
      }
      return _batch.NRows() > 0;
    }
    // Without a lock, on what is the worker's own.
    void ProcessBatch() override { _sums += _batch; }
    // Under the merge lock.
    void MergeResult() override { _pass._sums += _sums; }

   private:
    Pass& _pass;
    vexa::DataBatch _batch;
    vexa::MatrixListwise _sums;
  };

  /// Rows of a batch that stays in the cache, and is small enough for every thread to get several of them.
  unsigned int BatchRows() const {
    const std::uint64_t cache = std::min<std::uint64_t>(_cacheSize, 128 * 1024);
    return vexa::RecommendedRows(cache, vexa::DataBatch::RowSize(kColumns, false, false, false));
  }

  const std::vector<Row>& _rows;
  std::size_t _next = 0;
  vexa::MatrixListwise _sums;
};

}  // namespace

int main() {
  std::vector<Row> rows;
  for (int i = 0; i < 100000; ++i) {
    const double x = i;
    rows.push_back({x, 3.0 - 2.0 * x, static_cast<double>(i % 2)});
  }

  Pass pass(rows);
  vexa::Driver(&pass, 0);

  const vexa::MatrixListwise& sums = pass.Sums();
  for (unsigned int row = 0; row < kColumns; ++row) {
    for (unsigned int col = 0; col <= row; ++col) {
      std::printf("%18.4f", sums.CCP(row, col) / (sums.WeightSum() - 1.0));
    }
    std::printf("\n");
  }
}
