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

/// What pooling adds to the mean of A; weight is that of both parts. Two parts whose weights cancel leave the mean
/// of A where it is.
inline double MeanIncrement(double meanA, double meanB, double weightB, double weight) {
  return weight == 0.0 ? 0.0 : ((meanB - meanA) * weightB) / weight;
}

/// One pooled cross-product of columns i and j: fromA and fromB are column j's new mean minus its mean in A
/// and in B, a and b the same differences of column i times the weight of A and of B.
inline double PooledCell(double cellA, double cellB, double fromA, double a, double fromB, double b) {
  return ((fromA * a + cellB) + fromB * b) + cellA;
}

/// The pooled cross-products of one column i with `count` columns side by side, whose differences are fromA[k] and
/// fromB[k]. The two parts may be the same one.
void PoolCells(double* cellsA, const double* cellsB, const double* fromA, double a, const double* fromB,
               double b, std::size_t count);

/// One pooled sum of squares. Not PooledCell of a column with itself: here the difference is squared before
/// the weight comes in.
inline double PooledSquare(double squareA, double squareB, double fromA, double weightA, double fromB,
                           double weightB) {
  return (((fromA * fromA) * weightA + squareB) + (fromB * fromB) * weightB) + squareA;
}

/// The means of two parts and the pooled ones, which stay apart until all cells are pooled, because every
/// cell needs the old ones too. One column needs no allocation.
class PooledMeans {
 public:
  PooledMeans(const std::vector<double>& meansA, double weightA, const std::vector<double>& meansB,
              double weightB)
      : _meansA(meansA),
        _meansB(meansB),
        _weightA(weightA),
        _weightB(weightB),
        _many(meansA.size() > 1 ? new double[3 * meansA.size()] : nullptr),
        _means(_many ? _many.get() : _one),
        _fromA(_means + meansA.size()),
        _fromB(_fromA + meansA.size()) {
    for (std::size_t col = 0; col < meansA.size(); ++col) {
      _means[col] = meansA[col] + Increment(col);
      _fromA[col] = _means[col] - meansA[col];
      _fromB[col] = _means[col] - meansB[col];
    }
  }
  PooledMeans(const PooledMeans&) = delete;
  PooledMeans& operator=(const PooledMeans&) = delete;

  double WeightA() const { return _weightA; }
  double WeightB() const { return _weightB; }
  double Weight() const { return _weightA + _weightB; }

  /// What was added to a column's mean in A: before rounding the same as FromA.
  double Increment(std::size_t col) const {
    return MeanIncrement(_meansA[col], _meansB[col], _weightB, Weight());
  }
  /// Every column's pooled mean minus its mean in A and in B.
  const double* FromA() const { return _fromA; }
  const double* FromB() const { return _fromB; }

  void CopyTo(std::vector<double>& means) const { std::copy_n(_means, means.size(), means.begin()); }

 private:
  const std::vector<double>& _meansA;
  const std::vector<double>& _meansB;
  double _weightA;
  double _weightB;
  double _one[3] = {};
  std::unique_ptr<double[]> _many;
  double* _means;
  double* _fromA;
  double* _fromB;
};

/// Pools a packed triangle of cross-products with its diagonal. Returns the number of cells visited.
template <class Index>
Index PoolTriangle(double* cellsA, const double* cellsB, const PooledMeans& means, Index columns) {
  Index cell = 0;
  for (Index col = 0; col < columns; ++col) {
    const auto row = static_cast<std::size_t>(col);
    const double a = means.Increment(row) * means.WeightA();
    const double b = means.FromB()[row] * means.WeightB();
    PoolCells(cellsA + cell, cellsB + cell, means.FromA(), a, means.FromB(), b, row + 1);
    cell += col + 1;
  }
  return cell;
}

/// The extremes of A become those of both parts. A tie or a NaN on either side keeps A's.
inline void PoolExtremes(std::vector<double>& minsA, std::vector<double>& maxsA,
                         const std::vector<double>& minsB, const std::vector<double>& maxsB) {
  for (std::size_t col = 0; col < minsA.size(); ++col) {
    if (maxsB[col] > maxsA[col]) maxsA[col] = maxsB[col];
    if (minsA[col] > minsB[col]) minsA[col] = minsB[col];
  }
}

}  // namespace vexa
