#ifndef HOST_DERIVE_LISTWISE_H
#define HOST_DERIVE_LISTWISE_H

#include <cstddef>
#include <vector>

#include "derive/sums.h"
#include "vexa/matrixlistwise.h"
#include "vexa/nsmatrixlistwise.h"
#include "vexa/smatrixlistwise.h"

namespace derive {

/// The sums of a full listwise matrix.
class ListwiseSums : public Sums {
 public:
  /// `origin[i]` was subtracted from every value of variable i and is added back to its mean. The matrix must
  /// have rows and stay where it is.
  ListwiseSums(const vexa::MatrixListwise& matrix, std::vector<double> origin);

  std::size_t Rows() const override { return _matrix.NColumns(); }
  std::size_t Cols() const override { return _matrix.NColumns(); }
  bool IsSymmetric() const override { return true; }
  bool IsListwise() const override { return true; }
  Cell At(std::size_t row, std::size_t col) const override;

 private:
  const vexa::MatrixListwise& _matrix;
  std::vector<double> _origin;
};

/// The sums of a symmetric block, with the extremes of its variables.
class BlockSums : public Sums {
 public:
  /// `ranges[i]` are the extremes of variable i in its own origin: with the origin added back, those of the block would
  /// be rounded.
  BlockSums(const vexa::SMatrixListwise& block, std::vector<double> origin, std::vector<Range> ranges);

  std::size_t Rows() const override { return _block.NColumns(); }
  std::size_t Cols() const override { return _block.NColumns(); }
  bool IsSymmetric() const override { return true; }
  bool IsListwise() const override { return true; }
  Cell At(std::size_t row, std::size_t col) const override;

 private:
  const vexa::SMatrixListwise& _block;
  std::vector<double> _origin;
  std::vector<Range> _ranges;
};

/// The sums between the two runs of a rectangular block: rows are the columns of its left run.
class RectangleSums : public Sums {
 public:
  RectangleSums(const vexa::NSMatrixListwise& block, std::vector<double> origin);

  std::size_t Rows() const override { return static_cast<std::size_t>(_block.Col1() - _block.Col0()); }
  std::size_t Cols() const override { return static_cast<std::size_t>(_block.Col2() - _block.Col1()); }
  bool IsSymmetric() const override { return false; }
  bool IsListwise() const override { return true; }
  Cell At(std::size_t row, std::size_t col) const override;

 private:
  const vexa::NSMatrixListwise& _block;
  std::vector<double> _origin;
};

}  // namespace derive

#endif
