#pragma once

#include <cstddef>
#include <vector>

#include "batches.h"
#include "vexa/driver.h"
#include "vexa/matrixlistwise.h"

namespace bench {

/// A pass of the driver over rows in memory: every worker adds batches to a matrix of its own, and these are added up
/// as the workers end.
class DriverPass : public vexa::ProblemBase {
 public:
  DriverPass(const Rows& rows, unsigned int batchRows) : _rows(rows), _batchRows(batchRows) {}

  vexa::ProblemWorker* CreateWorker() override;

  const vexa::MatrixListwise& Sums() const { return _sums; }

  /// The same batches in the same order once more, without driver and threads. Which worker takes which batch is a
  /// matter of timing and reaches the last bits; given that, there is nothing left to chance.
  void Replay(vexa::MatrixListwise& sums) const;

 private:
  class Worker;
  using Chunks = std::vector<unsigned int>;

  const Rows& _rows;
  const unsigned int _batchRows;
  unsigned int _next = 0;  // chunk to be read
  vexa::MatrixListwise _sums;
  std::vector<Chunks> _merged;  // what each worker had read, in the order in which they were merged
};

}  // namespace bench
