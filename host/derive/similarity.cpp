#include "derive/similarity.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

namespace derive {
namespace {

using Items = std::vector<std::size_t>;

/// Clusters at the places of their earliest items, and the average distances between them.
class Clusters {
 public:
  Clusters(const Matrix& distances, double unknown) : _items(distances), _between(distances) {
    for (Matrix* matrix : {&_items, &_between}) {
      for (double& distance : matrix->cells)
        if (std::isnan(distance)) distance = unknown;
    }
    for (std::size_t item = 0; item < distances.rows; ++item) _members.push_back({item});
  }

  bool IsThere(std::size_t cluster) const { return !_members[cluster].empty(); }
  double Between(std::size_t a, std::size_t b) const { return _between.At(a, b); }
  const Items& Members(std::size_t cluster) const { return _members[cluster]; }

  /// The cluster that is closest to another one; `preferred`, if it is as close as any, so that a chain of nearest
  /// neighbours ends.
  std::size_t Nearest(std::size_t cluster, std::size_t preferred) const {
    std::size_t nearest = preferred;
    for (std::size_t other = 0; other < _members.size(); ++other) {
      if (other == cluster || !IsThere(other)) continue;
      if (nearest == cluster || Between(cluster, other) < Between(cluster, nearest)) nearest = other;
    }
    return nearest;
  }

  void Join(std::size_t a, std::size_t b) {
    if (b < a) std::swap(a, b);
    const auto sizeOfA = static_cast<double>(_members[a].size());
    const auto sizeOfB = static_cast<double>(_members[b].size());
    for (std::size_t other = 0; other < _members.size(); ++other) {
      const double average =
          (sizeOfA * Between(a, other) + sizeOfB * Between(b, other)) / (sizeOfA + sizeOfB);
      _between.At(a, other) = average;
      _between.At(other, a) = average;
    }
    TurnTowards(_members[a], _members[b]);
    _members[a].insert(_members[a].end(), _members[b].begin(), _members[b].end());
    _members[b].clear();
  }

 private:
  /// Turns both so that the last of one and the first of the other are the closest of their ends.
  void TurnTowards(Items& left, Items& right) const {
    const std::array gaps = {_items.At(left.back(), right.front()), _items.At(left.front(), right.front()),
                             _items.At(left.back(), right.back()), _items.At(left.front(), right.back())};
    const auto closest = std::min_element(gaps.begin(), gaps.end()) - gaps.begin();
    if (closest % 2 == 1) std::reverse(left.begin(), left.end());
    if (closest >= 2) std::reverse(right.begin(), right.end());
  }

  Matrix _items;
  Matrix _between;
  std::vector<Items> _members;
};

Matrix Transposed(const Matrix& matrix) {
  Matrix transposed{
      .rows = matrix.cols, .cols = matrix.rows, .cells = std::vector<double>(matrix.cells.size())};
  for (std::size_t row = 0; row < matrix.rows; ++row)
    for (std::size_t col = 0; col < matrix.cols; ++col) transposed.At(col, row) = matrix.At(row, col);
  return transposed;
}

}  // namespace

std::vector<std::size_t> OrderBySimilarity(const Matrix& distances, double unknown) {
  Clusters clusters(distances, unknown);
  std::vector<std::size_t> chain;
  for (std::size_t left = distances.rows; left > 1;) {
    // The cluster with item 0 stays at its place.
    if (chain.empty()) chain.push_back(0);
    const std::size_t last = chain.back();
    const std::size_t before = chain.size() > 1 ? chain[chain.size() - 2] : last;
    const std::size_t nearest = clusters.Nearest(last, before);
    if (nearest != before || before == last) {
      chain.push_back(nearest);
      continue;
    }
    clusters.Join(last, before);
    chain.resize(chain.size() - 2);
    --left;
  }
  return distances.rows > 0 ? clusters.Members(0) : Items();
}

std::vector<std::size_t> OrderVariables(const Matrix& correlations) {
  Matrix distances = correlations;
  for (double& cell : distances.cells) cell = 1.0 - cell;
  return OrderBySimilarity(distances, 1.0);
}

std::vector<std::size_t> OrderRows(const Matrix& correlations) {
  Matrix distances{.rows = correlations.rows,
                   .cols = correlations.rows,
                   .cells = std::vector<double>(correlations.rows * correlations.rows)};
  const auto known = [](double cell) { return std::isnan(cell) ? 0.0 : cell; };
  for (std::size_t row = 0; row < correlations.rows; ++row) {
    for (std::size_t other = 0; other < row; ++other) {
      double squares = 0.0;
      for (std::size_t col = 0; col < correlations.cols; ++col) {
        const double gap = known(correlations.At(row, col)) - known(correlations.At(other, col));
        squares += gap * gap;
      }
      distances.At(row, other) = distances.At(other, row) = std::sqrt(squares);
    }
  }
  return OrderBySimilarity(distances, 0.0);
}

std::vector<std::size_t> OrderCols(const Matrix& correlations) { return OrderRows(Transposed(correlations)); }

}  // namespace derive
