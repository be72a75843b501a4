#ifndef HOST_DERIVE_PAIRWISE_H
#define HOST_DERIVE_PAIRWISE_H

#include <cstddef>
#include <span>
#include <vector>

#include "derive/sums.h"
#include "vexa/matrixpairwise.h"
#include "vexa/nsmatrixpairwise.h"

namespace derive {

// The sums of pairwise accumulators. A cell without rows, or without weight, has undefined means. A css that is within
// the rounding of its pooling is that of a constant: it is exactly 0, and with it the cscp.

/// The sums of a full pairwise matrix.
class PairwiseSums : public Sums {
 public:
  /// `origin[i]` was subtracted from every value of variable i and is added back to its mean; `ranges[i]`, unless there
  /// are none, are its extremes over its own present rows. The matrix must have rows and stay where it is.
  PairwiseSums(const vexa::MatrixPairwise& matrix, std::vector<double> origin,
               std::vector<Range> ranges = {});

  std::size_t Rows() const override { return _matrix.NColumns(); }
  std::size_t Cols() const override { return _matrix.NColumns(); }
  bool IsSymmetric() const override { return true; }
  bool IsListwise() const override { return false; }
  Cell At(std::size_t row, std::size_t col) const override;

 private:
  const vexa::MatrixPairwise& _matrix;
  std::vector<double> _origin;
  std::vector<Range> _ranges;
};

/// The sums between the two runs of a rectangular pairwise block: rows are the columns of its left run.
class PairwiseRectangleSums : public Sums {
 public:
  PairwiseRectangleSums(const vexa::NSMatrixPairwise& block, std::vector<double> origin);

  std::size_t Rows() const override { return static_cast<std::size_t>(_block.Col1() - _block.Col0()); }
  std::size_t Cols() const override { return static_cast<std::size_t>(_block.Col2() - _block.Col1()); }
  bool IsSymmetric() const override { return false; }
  bool IsListwise() const override { return false; }
  Cell At(std::size_t row, std::size_t col) const override;

 private:
  const vexa::NSMatrixPairwise& _block;
  std::vector<double> _origin;
};

/// Each variable of a block with itself, over its own present rows; `origin` and `ranges` as above. A block without rows
/// has cells without rows.
std::vector<Cell> VariableCells(const vexa::NSMatrixPairwise& block, const std::vector<double>& origin,
                                std::span<const Range> ranges);

}  // namespace derive

#endif
