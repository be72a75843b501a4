#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <vector>

/// Pooling of two disjoint sets of rows, A and B, each summarised about its own means (Chan, Golub and
/// LeVeque 1979): with M = (wA·mA + wB·mB) / (wA + wB),
/// C = C_A + C_B + wA (mA − M)(mA − M)ᵀ + wB (mB − M)(mB − M)ᵀ.
/// The increment form below keeps the digits that the raw sums would lose; its order of operations is fixed,
/// because the same rows must give the same bits.

namespace vexa {

/// What pooling adds to the mean of A. Two parts whose weights cancel leave the mean of A where it is.
inline double MeanIncrement(double meanA, double meanB, double weightA, double weightB) {
  const double weight = weightA + weightB;
  return weight == 0.0 ? 0.0 : ((meanB - meanA) * weightB) / weight;
}

/// One pooled cross-product of columns i and j: fromA and fromB are column j's new mean minus its mean in A
/// and in B, a and b the same differences of column i times the weight of A and of B.
inline double PooledCell(double cellA, double cellB, double fromA, double a, double fromB, double b) {
  return ((fromA * a + cellB) + fromB * b) + cellA;
}

/// The means that a merge is forming, apart from the old ones, which it needs to the end. One column needs no
/// allocation.
class NewMeans {
 public:
  explicit NewMeans(std::size_t columns)
      : _many(columns > 1 ? new double[columns] : nullptr), _columns(columns) {}

  double& operator[](std::size_t col) { return _many ? _many[col] : _one; }
  void CopyTo(std::vector<double>& means) const {
    std::copy_n(_many ? _many.get() : &_one, _columns, means.begin());
  }

 private:
  std::unique_ptr<double[]> _many;
  double _one = 0.0;
  std::size_t _columns;
};

}  // namespace vexa
