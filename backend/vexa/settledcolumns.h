#pragma once

#include "vexa/databatch.h"
#include "vexa/databatchbygroup.h"

namespace vexa {

/// The cells of a batch with all its rows in them, without what Column() has to promise a host: that an address once given
/// out shows every row that comes later at once.
struct SettledColumns {
  static double* Of(DataBatch& batch);
  static double* Of(DataBatchByGroup& batch) { return batch.Column(0); }
};

}  // namespace vexa
