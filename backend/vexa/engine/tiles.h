#pragma once

#include "columns.h"
#include "engine.h"
#include "rows.h"
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

/// A right panel of this many rows fills half of a first-level cache; two packed blocks and the sums of all their cells,
/// a megabyte together, stay in the second. So do the sums of a few groups, which are written side by side.
constexpr std::size_t kChunkRows = 128;
static_assert(kChunkRows / 2 % kWordRows == 0);
constexpr std::size_t kBlock = 264;
constexpr std::size_t kSums = 4 * kBlock * kBlock;
static_assert(kBlock % kTileRows == 0 && kBlock % kTileLanes == 0);

inline bool IsTriangle(Shape shape) { return shape == Shape::kTriangle || shape == Shape::kStrictTriangle; }

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

/// Some columns of a run over a chunk of rows, row by row, in panels of kWidth columns side by side.
template <std::size_t kWidth>
class Block {
 public:
  Block(double* packed, std::size_t first, std::size_t columns)
      : _packed(packed), _first(first), _columns(columns) {}

  std::size_t First() const { return _first; }
  std::size_t Columns() const { return _columns; }
  std::size_t End() const { return _first + _columns; }

  /// Panels are named by their first column within the block.
  double* Panel(std::size_t panel) const { return _packed + panel * kChunkRows; }

  /// Where a column of the run begins; null when it is in another block.
  double* Place(std::size_t col) const {
    if (col < First() || col >= End()) return nullptr;
    const std::size_t within = (col - _first) % kWidth;
    return Panel(col - _first - within) + within;
  }

 private:
  double* _packed;
  std::size_t _first;
  std::size_t _columns;
};

using RightBlock = Block<kTileLanes>;
using LeftBlock = Block<kTileRows>;

/// kLanes columns on their way into a block, or into both blocks of a triangle.
struct Packing {
  const Columns& run;
  std::size_t col;  ///< the first of them
  const Centring& centring;
  const double* weights;  ///< null: every row weighs 1
  RowBits present;
  double* right;  ///< null: not wanted
  double* left;   ///< here the values are multiplied by the weights; null: not wanted
};

enum class Packed {
  kAsTheyAre,
  kCentred,
  kKeptCentred,
  kCentredWithoutSome,  ///< rows are left out
};

template <Packed kHow, bool kWeighted, std::size_t kLeftWidth>
void PackRows(const Packing& job, std::size_t row, std::size_t rows) {
  constexpr bool kAll = kHow != Packed::kCentredWithoutSome;
  constexpr bool kCentred = kHow != Packed::kAsTheyAre;
  constexpr bool kKept = kHow == Packed::kKeptCentred;
  Vector mean{};
  Vector squares{};
  for (std::size_t lane = 0; lane < kLanes; ++lane) {
    const std::size_t col = Min(job.col + lane, job.run.columns - 1);
    if (kCentred) mean[lane] = job.centring.means[col];
    if (job.centring.squares) squares[lane] = job.centring.squares[col];
  }
  // Copies, because for all that the compiler knows a vector may be stored over the job.
  double* const right = job.right;
  double* const left = job.left;
  const double* const weights = job.weights;
  const auto weighted = [weights](std::size_t k, Vector x) {
    return kWeighted ? Broadcast(weights[k]) * x : x;
  };
  std::size_t place = 0;
  const auto pack = [&](std::size_t first, const Vector* x, std::size_t count) {
    // A row that does not count is overwritten by the next one that does.
    std::size_t places[kLanes];
    for (std::size_t k = 0; k < count; ++k) {
      places[k] = kAll ? first - row + k : place;
      place += Counts<kAll>(job.present, first + k);
    }
    if (right) {
      for (std::size_t k = 0; k < count; ++k) Store(right + places[k] * kTileLanes, x[k]);
    }
    if (left) {
      for (std::size_t k = 0; k < count; ++k) Store(left + places[k] * kLeftWidth, weighted(first + k, x[k]));
    }
    if (job.centring.squares) {
      for (std::size_t k = 0; k < count; ++k) {
        const Vector square = weighted(first + k, x[k]) * x[k];
        squares += kAll ? square : OrZero(Counts<kAll>(job.present, first + k), square);
      }
    }
  };
  const ColumnGroup group(job.run, job.col);
  // A load that follows a store to the same place of another page waits for it, and columns a line apart within a page
  // are common. So two halves take turns, unless a sum wants the rows in order.
  const std::size_t blocks = rows / kLanes;
  const std::size_t half = kKept && !job.centring.squares ? (blocks + 1) / 2 : blocks;
  for (std::size_t i = 0; i < blocks; ++i) {
    const std::size_t first = row + (half == blocks ? i : i / 2 + i % 2 * half) * kLanes;
    Vector x[kLanes];
    if (kKept) {
      group.CentreRows(first, mean, x);
    } else {
      group.Rows(first, x);
      for (Vector& values : x) values = kCentred ? values - mean : values;
    }
    pack(first, x, kLanes);
  }
  for (std::size_t k = row + blocks * kLanes; k < row + rows; ++k) {
    const Vector x = group.Row(k) - mean;
    if (kKept) group.SetRow(k, x);
    pack(k, &x, 1);
  }
  if (job.centring.squares) StoreColumns(squares, job.centring.squares + job.col, job.run.columns - job.col);
}

template <Packed kHow, std::size_t kLeftWidth = kTileRows>
inline void PackRows(const Packing& job, std::size_t row, std::size_t rows) {
  job.weights ? PackRows<kHow, true, kLeftWidth>(job, row, rows)
              : PackRows<kHow, false, kLeftWidth>(job, row, rows);
}

inline void PackRows(const Packing& job, std::size_t row, std::size_t rows) {
  if (job.present) {
    PackRows<Packed::kCentredWithoutSome>(job, row, rows);
  } else if (!job.centring.means) {
    PackRows<Packed::kAsTheyAre>(job, row, rows);
  } else if (job.centring.kept) {
    PackRows<Packed::kKeptCentred>(job, row, rows);
  } else {
    PackRows<Packed::kCentred>(job, row, rows);
  }
}

/// Where the sums of a tile rest between two chunks of rows.
struct TileSums {
  double* sums;
  std::size_t step;
  bool begin;  ///< they begin at 0 instead of what is there
};

/// The columns of a tile's left panel in the rows of the next chunk. The tile fetches a line of them for each of its own
/// rows, into the second-level cache: the first one is full.
struct NextRows {
  double* const* columns;  ///< kLanes; null: nothing is fetched
  std::size_t row;
};

/// sums[m][lane] += left[row][m] × right[row][lane] for every row of a chunk.
///
/// A tile whose last vector lies on the diagonal of a triangle has no cells in the upper lanes of that vector's first
/// half of rows: two such rows share a vector, lane by lane.
template <std::size_t kRows, std::size_t kVectors, bool kDiagonal>
void MultiplyTile(const double* left, const double* right, std::size_t rows, const TileSums& to,
                  const NextRows& next) {
  constexpr std::size_t kShared = kDiagonal ? kRows / 4 : 0;
  constexpr std::size_t kLast = kVectors - 1;
  Vector sum[kRows][kVectors] = {};
  Vector shared[kShared + 1] = {};
  if (!to.begin) {
    for (std::size_t m = 0; m < kRows; ++m) {
      for (std::size_t v = 0; v < kVectors; ++v) {
        sum[m][v] = Load(to.sums + m * to.step + v * kLanes);
        // Those of the tile below, which is the next one.
        __builtin_prefetch(to.sums + (kRows + m) * to.step + v * kLanes);
      }
    }
  }
  for (std::size_t k = 0; k < kShared; ++k)
    shared[k] = Interleave(sum[2 * k][kLast], sum[2 * k + 1][kLast], AllLanes{});
  for (std::size_t row = 0; row < rows; ++row) {
    if (next.columns) __builtin_prefetch(next.columns[row % kLanes] + next.row + row / kLanes * kLanes, 0, 2);
    const double* factor[kVectors];
    Vector x[kVectors];
    for (std::size_t v = 0; v < kVectors; ++v) {
      factor[v] = left;
#if VEXA_ENGINE_LANES == 8
      // A pointer that the compiler cannot tell from the others makes it broadcast within each multiplication,
      // which costs no instruction; one shared broadcast would take one and a register.
      asm volatile("" : "+r"(factor[v]));
#endif
      x[v] = Load(right + v * kLanes);
    }
    // Without being told so, the compiler unrolls these loops too late to keep the sums in registers all along.
#pragma GCC unroll 8
    for (std::size_t m = 0; m < kRows; ++m) {
#pragma GCC unroll 8
      for (std::size_t v = 0; v < kVectors; ++v) {
        if (v < kLast || m >= 2 * kShared) sum[m][v] += Broadcast(factor[v][m]) * x[v];
      }
    }
    for (std::size_t k = 0; k < kShared; ++k)
      shared[k] += Alternate(left + 2 * k, AllLanes{}) * Interleave(x[kLast], x[kLast], AllLanes{});
    left += kTileRows;
    right += kTileLanes;
  }
  for (std::size_t k = 0; k < kShared; ++k) {
    sum[2 * k][kLast] = EverySecond<0>(shared[k], AllLanes{});
    sum[2 * k + 1][kLast] = EverySecond<1>(shared[k], AllLanes{});
  }
#pragma GCC unroll 8
  for (std::size_t m = 0; m < kRows; ++m) {
    for (std::size_t v = 0; v < kVectors; ++v) Store(to.sums + m * to.step + v * kLanes, sum[m][v]);
  }
}

template <std::size_t kRows, bool kDiagonal>
inline void MultiplyTile(std::size_t vectors, const double* left, const double* right, std::size_t rows,
                         const TileSums& to, const NextRows& next) {
  static_assert(kTileVectors == 3);
  switch (vectors) {
    case 1:
      return MultiplyTile<kRows, 1, kDiagonal>(left, right, rows, to, next);
    case 2:
      return MultiplyTile<kRows, 2, kDiagonal>(left, right, rows, to, next);
    default:
      return MultiplyTile<kRows, 3, kDiagonal>(left, right, rows, to, next);
  }
}

/// Very few columns stay in the first-level cache between packing and multiplying.
constexpr std::size_t kFewColumns = 12;
/// The rows of up to so many columns stay there if a chunk has fewer of them.
constexpr std::size_t kSomeColumns = 48;

inline std::size_t MoreColumns(const CrossProducts& job) { return Max(job.left.columns, job.right.columns); }

/// What is left to do to columns that may have been met before.
inline Centring Once(Centring centring, bool first) {
  if (first) return centring;
  if (centring.kept) centring.means = nullptr;
  centring.squares = nullptr;
  return centring;
}

/// A staircase with both sides exchanged, whose columns have been met before.
inline CrossProducts Mirror(const CrossProducts& job) {
  CrossProducts mirror = job;
  mirror.left = job.right;
  mirror.right = job.left;
  mirror.cells = job.mirrored;
  mirror.widths = job.mirroredWidths;
  mirror.leftCentring = Once(job.rightCentring, false);
  mirror.rightCentring = Once(job.leftCentring, false);
  mirror.mirrored = nullptr;
  return mirror;
}

class PackedRun {
 public:
  PackedRun(const CrossProducts& job, double* scratch)
      : _job(job),
        _to{job},
        _sumStep(RightColumns(job)),
        _together(GroupsTogether(job)),
        _chunkRows(ChunkRows(job)),
        _fetches(!AreFew(job)),
        _right(scratch),
        _left(_right + RightColumns(job) * kChunkRows),
        _sums(_left + LeftColumns(job) * kChunkRows) {}

  static std::size_t Scratch(const CrossProducts& job) {
    return (RightColumns(job) + LeftColumns(job)) * kChunkRows + GroupsTogether(job) * SumsOfGroup(job);
  }

  /// Returns the number of cells written for each group.
  std::size_t Run() {
    for (std::size_t first = 0; first < _job.right.columns; first += kBlock) {
      const RightBlock right(_right, first, Min(kBlock, _job.right.columns - first));
      for (std::size_t col = IsTriangle(_job.shape) ? first : 0; col < _job.left.columns; col += kBlock) {
        const LeftBlock left(_left, col, Min(kBlock, _job.left.columns - col));
        std::size_t row = 0;
        for (std::size_t group = 0; group < _job.groups; group += _together) {
          const std::size_t groups = Min(_together, _job.groups - group);
          row = Sum(left, right, group, groups, row);
          Write(left, right, group, groups);
        }
      }
    }
    return _written;
  }

  /// Whether a staircase and its mirror are narrow enough for both to have their panels in the second-level cache.
  static bool TakesMirrored(const CrossProducts& job) {
    return job.left.columns + job.right.columns <= kBlock;
  }

  /// The same with a mirror, whose run has a scratch of its own: every column is packed once for both.
  std::size_t RunMirrored(PackedRun& mirror) {
    const LeftBlock left(_left, 0, _job.left.columns);
    const RightBlock right(_right, 0, _job.right.columns);
    const LeftBlock mirrorLeft(mirror._left, 0, _job.right.columns);
    const RightBlock mirrorRight(mirror._right, 0, _job.left.columns);
    for (std::size_t row = 0; row < _job.left.rows; row += _chunkRows) {
      const std::size_t rows = Min(_chunkRows, _job.left.rows - row);
      for (std::size_t col = 0; col < _job.left.columns; col += kLanes) {
        PackRows({_job.left, col, _job.leftCentring, _job.weights, _job.present, mirrorRight.Place(col),
                  left.Place(col)},
                 row, rows);
      }
      for (std::size_t col = 0; col < _job.right.columns; col += kLanes) {
        PackRows({_job.right, col, _job.rightCentring, _job.weights, _job.present, right.Place(col),
                  mirrorLeft.Place(col)},
                 row, rows);
      }
      const std::size_t counting = CountRows(_job.present, row, rows);
      Multiply(left, right, 0, counting, {_sums, _sumStep, row == 0}, 0);
      mirror.Multiply(mirrorLeft, mirrorRight, 0, counting, {mirror._sums, mirror._sumStep, row == 0}, 0);
    }
    Write(left, right, 0, 1);
    mirror.Write(mirrorLeft, mirrorRight, 0, 1);
    return _written;
  }

 private:
  static std::size_t RightColumns(const CrossProducts& job) {
    return RoundUp(Min(job.right.columns, kBlock), kTileLanes);
  }
  static std::size_t LeftColumns(const CrossProducts& job) {
    return RoundUp(Min(job.left.columns, kBlock), kTileRows);
  }

  static bool AreFew(const CrossProducts& job) { return MoreColumns(job) <= kFewColumns; }
  static std::size_t ChunkRows(const CrossProducts& job) {
    return !AreFew(job) && MoreColumns(job) <= kSomeColumns ? kChunkRows / 2 : kChunkRows;
  }
  static std::size_t SumsOfGroup(const CrossProducts& job) { return LeftColumns(job) * RightColumns(job); }
  static std::size_t GroupsTogether(const CrossProducts& job) {
    return Min(job.groups, 1 + (kSums - 1) / (SumsOfGroup(job) + 1));
  }
  double* SumsOf(std::size_t group) const { return _sums + group * SumsOfGroup(_job); }

  std::size_t RowsOf(std::size_t group) const {
    return _job.groupRows ? _job.groupRows[group] : _job.left.rows;
  }

  /// Sums the rows of some groups, which begin at `row`, and returns where those of the next ones do. Rows are packed
  /// chunk by chunk, whatever groups they belong to; a chunk begins where a vector does.
  std::size_t Sum(const LeftBlock& left, const RightBlock& right, std::size_t firstGroup, std::size_t groups,
                  std::size_t row) const {
    std::size_t end = row;
    for (std::size_t k = 0; k < groups; ++k) end += RowsOf(firstGroup + k);
    std::size_t chunk = row;
    std::size_t packed = row;
    for (std::size_t k = 0; k < groups; ++k) {
      const std::size_t groupEnd = row + RowsOf(firstGroup + k);
      bool begin = true;
      do {
        if (row == packed && row < end) {
          chunk = row / kLanes * kLanes;
          packed = Min(chunk + _chunkRows, end);
          Pack(left, right, chunk, packed - chunk);
        }
        const std::size_t rows = Min(groupEnd, packed) - row;
        const std::size_t nextRow = _fetches && packed < end ? packed + (row - chunk) : 0;
        Multiply(left, right, row - chunk, CountRows(_job.present, row, rows), {SumsOf(k), _sumStep, begin},
                 nextRow);
        row += rows;
        begin = false;
      } while (row < groupEnd);
    }
    return end;
  }

  void Pack(const LeftBlock& left, const RightBlock& right, std::size_t row, std::size_t rows) const {
    const bool triangle = IsTriangle(_job.shape);
    // In a triangle the first right block meets all columns for the first time as left ones.
    const Centring leftCentring = Once(_job.leftCentring, right.First() == 0);
    for (std::size_t col = left.First(); col < left.End(); col += kLanes) {
      double* toRight = triangle ? right.Place(col) : nullptr;
      PackRows({_job.left, col, leftCentring, _job.weights, _job.present, toRight, left.Place(col)}, row,
               rows);
    }
    const Centring rightCentring =
        triangle ? Once(_job.leftCentring, false) : Once(_job.rightCentring, left.First() == 0);
    for (std::size_t col = right.First(); col < right.End(); col += kLanes) {
      if (triangle && left.Place(col)) continue;
      PackRows({_job.right, col, rightCentring, _job.weights, _job.present, right.Place(col), nullptr}, row,
               rows);
    }
  }

  /// Columns of a right block that some of the left columns up to `left` has cells in: in a triangle or staircase the
  /// last left column reaches furthest.
  std::size_t Reach(std::size_t left, const RightBlock& right) const {
    const std::size_t end = Min(_to.Width(left), right.First() + right.Columns());
    return end > right.First() ? end - right.First() : 0;
  }

  /// Rows from `nextRow` on are fetched; 0: none.
  void Multiply(const LeftBlock& left, const RightBlock& right, std::size_t first, std::size_t rows,
                const TileSums& to, std::size_t nextRow) const {
    for (std::size_t panel = 0; panel < right.Columns(); panel += kTileLanes) {
      for (std::size_t m = 0; m < left.Columns(); m += kTileRows) {
        const std::size_t tileRows = Min(kTileRows, left.Columns() - m);
        const std::size_t reach = Reach(left.First() + m + tileRows - 1, right);
        if (reach <= panel) continue;
        const std::size_t vectors = Min(kTileVectors, (reach - panel + kLanes - 1) / kLanes);
        const double* factors = left.Panel(m) + first * kTileRows;
        const double* values = right.Panel(panel) + first * kTileLanes;
        const TileSums tile{to.sums + m * to.step + panel, to.step, to.begin};
        ColumnGroup group;
        NextRows next{nullptr, nextRow};
        if (panel == 0 && nextRow != 0) {
          group = ColumnGroup(_job.left, left.First() + m);
          next.columns = group.column;
        }
        // A vector on the diagonal has as many lanes as the tile has rows.
        constexpr bool kSquare = kTileRows == kLanes;
        const bool diagonal = kSquare && IsTriangle(_job.shape) &&
                              left.First() + m == right.First() + panel + (vectors - 1) * kLanes;
        if (tileRows <= kTileRows / 4) {
          MultiplyTile<kTileRows / 4, false>(vectors, factors, values, rows, tile, next);
        } else if (tileRows <= kTileRows / 2) {
          MultiplyTile<kTileRows / 2, false>(vectors, factors, values, rows, tile, next);
        } else if (diagonal) {
          MultiplyTile<kTileRows, kSquare>(vectors, factors, values, rows, tile, next);
        } else {
          MultiplyTile<kTileRows, false>(vectors, factors, values, rows, tile, next);
        }
      }
    }
  }

  void Write(const LeftBlock& left, const RightBlock& right, std::size_t firstGroup, std::size_t groups) {
    for (std::size_t m = 0; m < left.Columns(); ++m) {
      double* cells = _to.Row(left.First() + m) + right.First() * _job.cellStride + firstGroup;
      const std::size_t reach = Reach(left.First() + m, right);
      // Few cells at a time, because those of the groups lie in the same lines.
      for (std::size_t k = 0; k < reach; k += kLanes) {
        const std::size_t end = Min(k + kLanes, reach);
        for (std::size_t group = 0; group < groups; ++group) {
          const double* sums = SumsOf(group) + m * _sumStep;
          for (std::size_t cell = k; cell < end; ++cell) cells[cell * _job.cellStride + group] = sums[cell];
        }
      }
      if (firstGroup == 0) _written += reach;
    }
  }

  const CrossProducts& _job;
  Destination _to;
  std::size_t _sumStep;
  std::size_t _together;
  std::size_t _chunkRows;
  bool _fetches;
  double* _right;
  double* _left;
  double* _sums;
  std::size_t _written = 0;
};

}  // namespace VEXA_ENGINE_LEVEL
}  // namespace vexa::engine
