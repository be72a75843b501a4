#ifndef HOST_DERIVE_LISTWISE_H
#define HOST_DERIVE_LISTWISE_H

#include <cstddef>
#include <vector>

#include "derive/sums.h"
#include "vexa/matrixlistwise.h"

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

}  // namespace derive

#endif
