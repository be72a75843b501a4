#pragma once

#include "columns.h"
#include "engine.h"
#include "vectors.h"

/// Cross-products of many pairs of columns. A chunk of rows is packed row by row into panels, the left columns
/// already multiplied by the weights; a register tile then keeps kTileRows × kTileLanes sums running, each lane
/// and row of it a cell of its own. Between two chunks the sums rest in memory, which is exact.

namespace vexa::engine {
namespace VEXA_ENGINE_LEVEL {

constexpr std::size_t kTileRows = VEXA_ENGINE_TILE_ROWS;
constexpr std::size_t kTileVectors = VEXA_ENGINE_TILE_VECTORS;
constexpr std::size_t kTileLanes = kTileVectors * kLanes;
static_assert(kTileRows % kLanes == 0 && kTileRows % 2 == 0);

/// A right panel of this many rows fills half of a first-level cache; both packed blocks and the sums of all their
/// cells, half a megabyte together, stay in the second.
constexpr std::size_t kChunkRows = 128;
constexpr std::size_t kLeftBlock = 96;
constexpr std::size_t kRightBlock = 240;
static_assert(kLeftBlock % kTileRows == 0 && kRightBlock % kTileLanes == 0);
static_assert(kRightBlock % kTileRows == 0);

inline bool IsTriangle(Shape shape) { return shape == Shape::kTriangle || shape == Shape::kStrictTriangle; }

inline std::size_t Min(std::size_t a, std::size_t b) { return a < b ? a : b; }
inline std::size_t RoundUp(std::size_t x, std::size_t unit) { return (x + unit - 1) / unit * unit; }

/// Where the cells of a left column are and how many there are.
struct Destination {
  const CrossProducts& job;

  double* Row(std::size_t left) const {
    std::size_t cell = left * job.right.columns;
    if (job.shape == Shape::kTriangle) cell = left * (left + 1) / 2;
    if (job.shape == Shape::kStrictTriangle) cell = (left * left - left) / 2;
    return job.cells + cell * job.cellStride;
  }
  std::size_t Width(std::size_t left) const {
    if (job.shape == Shape::kTriangle) return left + 1;
    if (job.shape == Shape::kStrictTriangle) return left;
    if (job.shape == Shape::kStaircase) return job.widths[left];
    return job.right.columns;
  }
};

/// Rows `row` to row + rows − 1 of a block of columns, in panels of up to kTileLanes columns.
class RightBlock {
 public:
  RightBlock(double* packed, const Columns& run, std::size_t first, std::size_t columns)
      : _packed(packed), _run(run), _first(first), _columns(columns) {}

  void Pack(std::size_t row, std::size_t rows) {
    for (std::size_t panel = 0; panel < _columns; panel += kTileLanes) {
      for (std::size_t v = 0; v < Vectors(panel); ++v) {
        double* to = Panel(panel) + v * kLanes;
        const std::size_t step = Step(panel);
        ForEachRow(ColumnGroup(_run, _first + panel + v * kLanes), row, row + rows,
                   [=](std::size_t k, Vector x) { Store(to + (k - row) * step, x); });
      }
    }
  }

  /// Panels are named by their first column within the block.
  double* Panel(std::size_t panel) const { return _packed + panel * kChunkRows; }
  std::size_t Vectors(std::size_t panel) const {
    return Min(kTileVectors, (_columns - panel + kLanes - 1) / kLanes);
  }
  /// From one row of a panel to the next.
  std::size_t Step(std::size_t panel) const { return Vectors(panel) * kLanes; }

  std::size_t First() const { return _first; }
  std::size_t Columns() const { return _columns; }

 private:
  double* _packed;
  const engine::Columns& _run;
  std::size_t _first;
  std::size_t _columns;
};

/// The same for left columns, in panels of kTileRows, each value already multiplied by its row's weight.
class LeftBlock {
 public:
  LeftBlock(double* packed, const CrossProducts& job, std::size_t first, std::size_t columns)
      : _packed(packed), _job(job), _first(first), _columns(columns) {}

  void Pack(const RightBlock& right, std::size_t row, std::size_t rows) {
    const bool packedAlready = IsTriangle(_job.shape) && _first >= right.First() &&
                               _first + _columns <= right.First() + right.Columns();
    for (std::size_t col = 0; col < _columns; col += kLanes) {
      double* to = Panel(col / kTileRows * kTileRows) + col % kTileRows;
      if (packedAlready) {
        const std::size_t at = _first - right.First() + col;
        const std::size_t panel = at / kTileLanes * kTileLanes;
        const double* from = right.Panel(panel) + at % kTileLanes;
        for (std::size_t k = 0; k < rows; ++k) {
          Store(to + k * kTileRows, Weighted(row + k, Load(from + k * right.Step(panel))));
        }
      } else {
        ForEachRow(ColumnGroup(_job.left, _first + col), row, row + rows,
                   [=, this](std::size_t k, Vector x) { Store(to + (k - row) * kTileRows, Weighted(k, x)); });
      }
    }
  }

  double* Panel(std::size_t panel) const { return _packed + panel * kChunkRows; }
  std::size_t First() const { return _first; }
  std::size_t Columns() const { return _columns; }

 private:
  Vector Weighted(std::size_t row, Vector x) const {
    return _job.weights ? Broadcast(_job.weights[row]) * x : x;
  }

  double* _packed;
  const CrossProducts& _job;
  std::size_t _first;
  std::size_t _columns;
};

/// Both blocks of a triangle whose columns are all in both: each value is fetched once, centred on the way when there
/// are means.
template <bool kCentred, bool kWeighted>
void PackTogether(const CrossProducts& job, const RightBlock& right, const LeftBlock& left, std::size_t row,
                  std::size_t rows) {
  for (std::size_t col = 0; col < right.Columns(); col += kLanes) {
    const std::size_t panel = col / kTileLanes * kTileLanes;
    double* toRight = right.Panel(panel) + (col - panel);
    const std::size_t step = right.Step(panel);
    double* toLeft = left.Panel(col / kTileRows * kTileRows) + col % kTileRows;
    const ColumnGroup group(job.right, col);
    const std::size_t columns = Min(kLanes, right.Columns() - col);
    std::size_t k = 0;
    for (; k + kLanes <= rows; k += kLanes) {
      Vector x[kLanes];
      for (std::size_t lane = 0; lane < kLanes; ++lane) x[lane] = Load(group.column[lane] + row + k);
      if (kCentred) {
        for (std::size_t lane = 0; lane < kLanes; ++lane) {
          // The lanes behind the last column hold it once more and must not be centred twice.
          if (lane >= columns) break;
          x[lane] -= Broadcast(job.means[col + lane]);
          Store(job.right.base + (col + lane) * job.right.stride + row + k, x[lane]);
        }
      }
      Transpose(x);
      for (std::size_t lane = 0; lane < kLanes; ++lane) {
        Store(toRight + (k + lane) * step, x[lane]);
        Store(toLeft + (k + lane) * kTileRows,
              kWeighted ? Broadcast(job.weights[row + k + lane]) * x[lane] : x[lane]);
      }
    }
    for (; k < rows; ++k) {
      for (std::size_t lane = 0; lane < kLanes; ++lane) {
        double x = group.column[lane][row + k];
        if (kCentred && lane < columns) {
          x -= job.means[col + lane];
          job.right.base[(col + lane) * job.right.stride + row + k] = x;
        }
        toRight[k * step + lane] = x;
        toLeft[k * kTileRows + lane] = kWeighted ? job.weights[row + k] * x : x;
      }
    }
  }
}

inline void PackTogether(const CrossProducts& job, const RightBlock& right, const LeftBlock& left,
                         std::size_t row, std::size_t rows) {
  if (job.means) {
    job.weights ? PackTogether<true, true>(job, right, left, row, rows)
                : PackTogether<true, false>(job, right, left, row, rows);
  } else {
    job.weights ? PackTogether<false, true>(job, right, left, row, rows)
                : PackTogether<false, false>(job, right, left, row, rows);
  }
}

/// sums[m][lane] += left[row][m] × right[row][lane] for every row of a chunk; `step` doubles lie between two
/// rows of right.
template <std::size_t kRows, std::size_t kVectors>
void MultiplyTile(const double* left, const double* right, std::size_t step, std::size_t rows, double* sums,
                  std::size_t sumStep) {
  Vector sum[kRows][kVectors];
  for (std::size_t m = 0; m < kRows; ++m) {
    for (std::size_t v = 0; v < kVectors; ++v) sum[m][v] = Load(sums + m * sumStep + v * kLanes);
  }
  for (std::size_t row = 0; row < rows; ++row) {
    const double* factor[kVectors];
    Vector x[kVectors];
    for (std::size_t v = 0; v < kVectors; ++v) {
      factor[v] = left;
#if VEXA_ENGINE_LANES == 8
      // A pointer that the compiler cannot tell from the others makes it broadcast within each multiplication,
      // which costs no instruction; one shared broadcast would take one and a register.
      asm("" : "+r"(factor[v]));
#endif
      x[v] = Load(right + v * kLanes);
    }
    for (std::size_t m = 0; m < kRows; ++m) {
      for (std::size_t v = 0; v < kVectors; ++v) sum[m][v] += Broadcast(factor[v][m]) * x[v];
    }
    left += kTileRows;
    right += step;
  }
  for (std::size_t m = 0; m < kRows; ++m) {
    for (std::size_t v = 0; v < kVectors; ++v) Store(sums + m * sumStep + v * kLanes, sum[m][v]);
  }
}

template <std::size_t kRows>
inline void MultiplyTile(std::size_t vectors, const double* left, const double* right, std::size_t step,
                         std::size_t rows, double* sums, std::size_t sumStep) {
  static_assert(kTileVectors == 3);
  switch (vectors) {
    case 1:
      return MultiplyTile<kRows, 1>(left, right, step, rows, sums, sumStep);
    case 2:
      return MultiplyTile<kRows, 2>(left, right, step, rows, sums, sumStep);
    default:
      return MultiplyTile<kRows, 3>(left, right, step, rows, sums, sumStep);
  }
}

class CrossProductRun {
 public:
  CrossProductRun(const CrossProducts& job, double* scratch)
      : _job(job),
        _to{job},
        _sumStep(RightColumns(job)),
        _right(scratch),
        _left(_right + RightColumns(job) * kChunkRows),
        _sums(_left + LeftColumns(job) * kChunkRows) {}

  static std::size_t Scratch(const CrossProducts& job) {
    return (RightColumns(job) + LeftColumns(job)) * kChunkRows + LeftColumns(job) * RightColumns(job);
  }

  /// Returns the number of cells written.
  std::size_t Run() {
    const bool together = IsTriangle(_job.shape) && _job.left.columns <= kLeftBlock;
    if (_job.means && !together) CentreColumns(_job.left, _job.means);
    for (std::size_t first = 0; first < _job.right.columns; first += kRightBlock) {
      RightBlock right(_right, _job.right, first, Min(kRightBlock, _job.right.columns - first));
      for (std::size_t col = IsTriangle(_job.shape) ? first : 0; col < _job.left.columns; col += kLeftBlock) {
        LeftBlock left(_left, _job, col, Min(kLeftBlock, _job.left.columns - col));
        BeginSums(left, right);
        for (std::size_t row = 0; row < _job.left.rows; row += kChunkRows) {
          const std::size_t chunk = Min(kChunkRows, _job.left.rows - row);
          if (together) {
            PackTogether(_job, right, left, row, chunk);
          } else {
            right.Pack(row, chunk);
            left.Pack(right, row, chunk);
          }
          Multiply(left, right, chunk);
        }
        EndSums(left, right);
      }
    }
    return _written;
  }

 private:
  static std::size_t RightColumns(const CrossProducts& job) {
    return RoundUp(Min(job.right.columns, kRightBlock), kTileLanes);
  }
  static std::size_t LeftColumns(const CrossProducts& job) {
    return RoundUp(Min(job.left.columns, kLeftBlock), kTileRows);
  }

  /// Columns of a right block that some of the left columns up to `left` has cells in: in a triangle or staircase the
  /// last left column reaches furthest.
  std::size_t Reach(std::size_t left, const RightBlock& right) const {
    const std::size_t end = Min(_to.Width(left), right.First() + right.Columns());
    return end > right.First() ? end - right.First() : 0;
  }

  void Multiply(const LeftBlock& left, const RightBlock& right, std::size_t chunk) {
    for (std::size_t panel = 0; panel < right.Columns(); panel += kTileLanes) {
      for (std::size_t m = 0; m < left.Columns(); m += kTileRows) {
        const std::size_t tileRows = Min(kTileRows, left.Columns() - m);
        const std::size_t reach = Reach(left.First() + m + tileRows - 1, right);
        if (reach <= panel) continue;
        const std::size_t vectors = Min(right.Vectors(panel), (reach - panel + kLanes - 1) / kLanes);
        const double* factors = left.Panel(m);
        const double* values = right.Panel(panel);
        double* sums = _sums + m * _sumStep + panel;
        if (tileRows <= kTileRows / 2) {
          MultiplyTile<kTileRows / 2>(vectors, factors, values, right.Step(panel), chunk, sums, _sumStep);
        } else {
          MultiplyTile<kTileRows>(vectors, factors, values, right.Step(panel), chunk, sums, _sumStep);
        }
      }
    }
  }

  void BeginSums(const LeftBlock& left, const RightBlock& right) {
    const std::size_t rows = RoundUp(left.Columns(), kTileRows);
    for (std::size_t k = 0; k < rows * _sumStep; k += kLanes) Store(_sums + k, Vector{});
    if (!_job.resume) return;
    for (std::size_t m = 0; m < left.Columns(); ++m) {
      const double* cells = _to.Row(left.First() + m) + right.First() * _job.cellStride;
      const std::size_t reach = Reach(left.First() + m, right);
      for (std::size_t k = 0; k < reach; ++k) _sums[m * _sumStep + k] = cells[k * _job.cellStride];
    }
  }

  void EndSums(const LeftBlock& left, const RightBlock& right) {
    for (std::size_t m = 0; m < left.Columns(); ++m) {
      double* cells = _to.Row(left.First() + m) + right.First() * _job.cellStride;
      const std::size_t reach = Reach(left.First() + m, right);
      const double* sums = _sums + m * _sumStep;
      if (_job.cellStride == 1) {
        for (std::size_t k = 0; k < reach; ++k) cells[k] = sums[k];
      } else {
        for (std::size_t k = 0; k < reach; ++k) cells[k * _job.cellStride] = sums[k];
      }
      _written += reach;
    }
  }

  const CrossProducts& _job;
  Destination _to;
  std::size_t _sumStep;
  double* _right;
  double* _left;
  double* _sums;
  std::size_t _written = 0;
};

inline std::size_t CrossProductScratch(const CrossProducts& job) { return CrossProductRun::Scratch(job); }

inline std::size_t CrossProductsOf(const CrossProducts& job, double* scratch) {
  return CrossProductRun(job, scratch).Run();
}

}  // namespace VEXA_ENGINE_LEVEL
}  // namespace vexa::engine
