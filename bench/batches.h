#pragma once

#include <cstddef>
#include <limits>
#include <vector>

#include "vexa/databatch.h"
#include "vexa/databatchbygroup.h"

/// The data of the benchmarks: the same rows in every run, in the memory of a host and in batches.

namespace bench {

/// Stands for a missing value, as an embedding program would choose it: far outside of all data.
constexpr double kMissing = std::numeric_limits<double>::lowest();

enum class Missing {
  kNone,
  kScattered,  ///< one cell in ten, each by itself
  kShared,     ///< one row in ten of a column, its pattern being one of five
};

struct Shape {
  unsigned int rows;
  unsigned int columns;
  bool weighted = true;  ///< with case weights and regression weights
  Missing missing = Missing::kNone;
  unsigned int groups = 0;  ///< codes 0 to groups − 1; 0: none
};

/// Rows as a host has them, the values of a row next to each other: uniform in [0, 1), the weights about 1.
struct Rows {
  explicit Rows(const Shape& shape);

  const double* Row(unsigned int row) const { return values.data() + std::size_t{row} * shape.columns; }

  Shape shape;
  std::vector<double> values;
  std::vector<double> weights;     ///< empty: none
  std::vector<double> regWeights;  ///< empty: none
  std::vector<unsigned int> groups;
};

/// The smallest capacity for so many rows that is an odd number of cache lines.
unsigned int Capacity(unsigned int rows);

/// A batch filled from rows, which must outlive it, and a copy of what it then held: the listwise accumulators
/// consume theirs.
class Batch {
 public:
  explicit Batch(const Rows& rows) : Batch(rows, Capacity(rows.shape.rows)) {}
  Batch(const Rows& rows, unsigned int capacity);

  vexa::DataBatch& operator*() { return _batch; }
  /// Makes the batch what it was at first.
  void Restore();
  /// Empties the batch and takes the rows once more.
  void Fill();

 private:
  const Rows& _rows;
  double _weight = 0.0;
  double _regWeight = 0.0;
  unsigned int _group = 0;
  vexa::DataBatch _batch;
  std::vector<double> _columns;
  std::vector<double> _weights;
};

/// The same with a grouped batch, which is left sorted and which accumulators only read.
class GroupedBatch {
 public:
  explicit GroupedBatch(const Rows& rows) : GroupedBatch(rows, Capacity(rows.shape.rows)) {}
  GroupedBatch(const Rows& rows, unsigned int capacity);

  vexa::DataBatchByGroup& operator*() { return _batch; }
  void Restore() {}
  void Fill();

 private:
  const Rows& _rows;
  double _weight = 0.0;
  double _regWeight = 0.0;
  unsigned int _group = 0;
  vexa::DataBatchByGroup _batch;
};

}  // namespace bench
