#pragma once

#include "databatch.h"
#include "databatchbygroup.h"
#include "export.h"

namespace vexa {

/// What the host can do with an accumulator without knowing which statistics it holds: feed it batches and
/// merge it with another one of its class.
///
/// An accumulator with NRows() = 0 is neutral: adding it changes nothing, whatever its class. An empty
/// accumulator to which one with rows is added becomes a copy of it, dimensions or column bounds included;
/// two accumulators with rows are merged, and must then agree in shape, which is asserted.
///
/// No locks: an accumulator is used by one thread at a time, distinct ones by distinct threads.
class VEXA_EXPORT MatrixBase {
 public:
  virtual ~MatrixBase() {}

  MatrixBase(const MatrixBase&) = delete;
  MatrixBase& operator=(const MatrixBase&) = delete;

  /// Rows taken in so far.
  virtual unsigned int NRows() const = 0;

  /// Takes in one batch and returns *this; the accumulator's class says what the batch holds afterwards.
  virtual MatrixBase& operator+=(DataBatch& batch) = 0;
  /// Takes in one grouped batch. Ignored by every accumulator that does not keep each group by itself.
  virtual MatrixBase& operator+=(DataBatchByGroup& /*batch*/) { return *this; }
  /// Merges another accumulator over other rows, which is only read, and returns *this. Throws std::bad_cast,
  /// before anything changes, when the other one has rows and is of another class; std::bad_alloc.
  virtual MatrixBase& operator+=(MatrixBase& other) = 0;

 protected:
  MatrixBase() = default;
};

}  // namespace vexa
