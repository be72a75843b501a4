#include "driverpass.h"

#include <algorithm>

namespace bench {

class DriverPass::Worker : public vexa::ProblemWorker {
 public:
  explicit Worker(DriverPass& pass)
      : _pass(pass), _batch(pass._rows.shape.columns, pass._batchRows, &_weight, &_regWeight, nullptr) {}

  bool ReadBatch() override {
    const unsigned int chunk = _pass._next;
    if (!Read(chunk)) return false;
    ++_pass._next;
    _chunks.push_back(chunk);
    return true;
  }
  void ProcessBatch() override { _sums += _batch; }
  void MergeResult() override {
    _pass._sums += _sums;
    _pass._merged.push_back(_chunks);
  }

  bool Read(unsigned int chunk) {
    const Rows& rows = _pass._rows;
    const unsigned int begin = std::min(chunk * _pass._batchRows, rows.shape.rows);
    const unsigned int end = std::min(begin + _pass._batchRows, rows.shape.rows);
    _batch.Clear();
    for (unsigned int row = begin; row < end; ++row) {
      _weight = rows.weights[row];
      _regWeight = rows.regWeights[row];
      _batch.AddRow(rows.Row(row));
    }
    return begin < end;
  }
  const vexa::MatrixListwise& Sums() const { return _sums; }

 private:
  DriverPass& _pass;
  double _weight = 0.0;
  double _regWeight = 0.0;
  vexa::DataBatch _batch;
  vexa::MatrixListwise _sums;
  Chunks _chunks;
};

vexa::ProblemWorker* DriverPass::CreateWorker() { return new Worker(*this); }

void DriverPass::Replay(vexa::MatrixListwise& sums) const {
  DriverPass pass(_rows, _batchRows);
  for (const Chunks& chunks : _merged) {
    Worker worker(pass);
    for (const unsigned int chunk : chunks) {
      worker.Read(chunk);
      worker.ProcessBatch();
    }
    sums += worker.Sums();
  }
}

}  // namespace bench
