#pragma once

#include "tiles.h"

/// Cross-products of columns that are left as they are multiplied: a tile takes one factor from where the columns lie, broadcast
/// value by value within the multiplications. Only the other factor is packed, the left columns times the weights, as the
/// lanes of the tile. So a column is packed once where panels of both factors would take two stores, and half of the cache.
/// A cell is the same sum as ever, over the rows one after the other: only the places of a product's factors are exchanged,
/// (w·left)·right and right·(w·left), which is the same product.
///
/// Worth it where a multiplication broadcasts at no cost, with 512-bit vectors.

namespace vexa::engine {
namespace VEXA_ENGINE_LEVEL {

/// Lanes that hold a in the lower half and b in the upper one.
template <std::size_t... kLane>
inline Vector Halves(double a, double b, Lanes<kLane...> /*lanes*/) {
  return __builtin_shufflevector(Broadcast(a), Broadcast(b),
                                 (kLane < kLanes / 2 ? kLane : kLane + kLanes)...);
}

/// The upper half of a, then that of b.
template <std::size_t... kLane>
inline Vector UpperHalves(Vector a, Vector b, Lanes<kLane...> /*lanes*/) {
  return __builtin_shufflevector(a, b, (kLanes / 2 + (kLane < kLanes / 2 ? kLane : kLane + kLanes / 2))...);
}

/// The lower half of a as the upper one.
template <std::size_t... kLane>
inline Vector LowerAsUpper(Vector a, Lanes<kLane...> /*lanes*/) {
  return __builtin_shufflevector(a, a, (kLane % (kLanes / 2))...);
}

/// The columns whose values a tile broadcasts, and those of which it fetches rows for the next chunk into the second-level
/// cache meanwhile, a line for each of its own rows.
struct Factors {
  const double* const* columns;
  std::size_t row;
  const double* const* fetched;  ///< kLanes of them
  std::size_t fetchedRow;
};

/// sums[m][lane] += factors.columns[m][row] × lanes[row][lane] for every row of a chunk.
///
/// A tile whose first vector lies on the diagonal of a triangle has no cells in the lower lanes of that vector's last
/// half of rows: two such rows share a vector, half by half.
template <std::size_t kRows, std::size_t kVectors, bool kDiagonal>
void MultiplyColumns(const Factors& factors, const double* lanes, std::size_t rows, const TileSums& to) {
  constexpr std::size_t kShared = kDiagonal ? kRows / 4 : 0;
  constexpr std::size_t kApart = kRows - 2 * kShared;
  double* const sums = to.sums;
  const std::size_t step = to.step;
  Vector sum[kRows][kVectors] = {};
  Vector shared[kShared + 1] = {};
  if (!to.begin) {
    for (std::size_t m = 0; m < kRows; ++m) {
      for (std::size_t v = 0; v < kVectors; ++v) {
        sum[m][v] = Load(sums + m * step + v * kLanes);
        // Those of the tile below, which is the next one.
        __builtin_prefetch(sums + (kRows + m) * step + v * kLanes);
      }
    }
  }
  for (std::size_t k = 0; k < kShared; ++k)
    shared[k] = UpperHalves(sum[kApart + 2 * k][0], sum[kApart + 2 * k + 1][0], AllLanes{});
  const double* column[kRows];
  for (std::size_t m = 0; m < kRows; ++m) column[m] = factors.columns[m] + factors.row;
  const double* fetched[kLanes];
  for (std::size_t k = 0; k < kLanes; ++k) fetched[k] = factors.fetched[k] + factors.fetchedRow;
  for (std::size_t row = 0; row < rows; ++row) {
    __builtin_prefetch(fetched[row % kLanes] + row, 0, 2);
    std::size_t at[kVectors];
    Vector x[kVectors];
    for (std::size_t v = 0; v < kVectors; ++v) {
      at[v] = row;
      // An index that the compiler cannot tell from the others makes it broadcast within each multiplication,
      // which costs no instruction; one shared broadcast would take one and a register.
      if (v > 0) asm volatile("" : "+r"(at[v]));
      x[v] = Load(lanes + v * kLanes);
    }
    // Without being told so, the compiler unrolls these loops too late to keep the sums in registers all along.
#pragma GCC unroll 8
    for (std::size_t m = 0; m < kRows; ++m) {
#pragma GCC unroll 8
      for (std::size_t v = 0; v < kVectors; ++v) {
        if (v > 0 || m < kApart) sum[m][v] += Broadcast(column[m][at[v]]) * x[v];
      }
    }
    for (std::size_t k = 0; k < kShared; ++k) {
      shared[k] += Halves(column[kApart + 2 * k][row], column[kApart + 2 * k + 1][row], AllLanes{}) *
                   UpperHalves(x[0], x[0], AllLanes{});
    }
    lanes += kTileLanes;
  }
  for (std::size_t k = 0; k < kShared; ++k) {
    sum[kApart + 2 * k][0] = LowerAsUpper(shared[k], AllLanes{});
    sum[kApart + 2 * k + 1][0] = shared[k];
  }
#pragma GCC unroll 8
  for (std::size_t m = 0; m < kRows; ++m) {
    for (std::size_t v = 0; v < kVectors; ++v) Store(sums + m * step + v * kLanes, sum[m][v]);
  }
}

template <std::size_t kRows, bool kDiagonal>
inline void MultiplyColumns(std::size_t vectors, const Factors& factors, const double* lanes,
                            std::size_t rows, const TileSums& to) {
  static_assert(kTileVectors == 3);
  switch (vectors) {
    case 1:
      return MultiplyColumns<kRows, 1, kDiagonal>(factors, lanes, rows, to);
    case 2:
      return MultiplyColumns<kRows, 2, kDiagonal>(factors, lanes, rows, to);
    default:
      return MultiplyColumns<kRows, 3, kDiagonal>(factors, lanes, rows, to);
  }
}

/// Some columns of a run, each in a place of a vector. If they do not fill all vectors, the first one has places before its
/// first column: in a triangle the first columns have the fewest cells, so fewest tiles have lanes without a column.
class Section {
 public:
  Section(const Columns& run, std::size_t first)
      : _run(run), _first(first), _columns(Min(kBlock, run.columns - first)) {
    for (std::size_t k = 0; k < Places(); ++k)
      _places[k] = run.Column(first + (k < Before() ? 0 : k - Before()));
  }

  const Columns& Run() const { return _run; }
  std::size_t First() const { return _first; }
  std::size_t Count() const { return _columns; }
  std::size_t Places() const { return RoundUp(_columns, kLanes); }
  std::size_t Before() const { return Places() - _columns; }
  /// Where the columns from a place on are.
  const double* const* At(std::size_t place) const { return _places + place; }

 private:
  const Columns& _run;
  std::size_t _first;
  std::size_t _columns;
  const double* _places[kBlock];
};

/// The columns of a job section by section: a section of left columns as lanes, with one of right columns after the other.
class DirectRun {
 public:
  DirectRun(const CrossProducts& job, double* scratch)
      : _job(job),
        _to{job},
        _sumStep(LaneCount(job)),
        _chunkRows(MoreColumns(job) <= kSomeColumns ? kSomeChunkRows : kChunkRows),
        _lanes(scratch),
        _sums(_lanes + LaneCount(job) * kChunkRows) {}

  /// Whether the columns are left as they are multiplied, every row counts in one sum of a cell, and there are enough
  /// columns to be worth it.
  static bool Takes(const CrossProducts& job) {
    const bool shaped = IsTriangle(job.shape) || (job.shape == Shape::kRectangle && Fits(job));
    const bool plain = job.left.rows > 0 && job.groups == 1 && !job.present && !job.mirrored;
    const bool stays = Stays(job.leftCentring) && Stays(job.rightCentring);
    return shaped && plain && stays && MoreColumns(job) > kFewColumns;
  }
  /// The lanes are the left columns, the rows of tiles the right ones.
  static std::size_t Scratch(const CrossProducts& job) {
    return LaneCount(job) * (kChunkRows + RoundUp(Min(job.right.columns, kBlock), kTileRows));
  }

  /// Returns the number of cells written.
  std::size_t Run() {
    for (std::size_t left = 0; left < _job.left.columns; left += kBlock) {
      const Section lanes(_job.left, left);
      if (lanes.Before() != 0) Clear(lanes);
      const std::size_t end = IsTriangle(_job.shape) ? left + lanes.Count() : _job.right.columns;
      for (std::size_t right = 0; right < end; right += kBlock) {
        const Section factors(_job.right, right);
        for (std::size_t row = 0; row < _job.left.rows; row += _chunkRows) {
          const std::size_t rows = Min(_chunkRows, _job.left.rows - row);
          Pack(lanes, factors, row, rows);
          Multiply(lanes, factors, row, rows);
        }
        Write(lanes, factors);
      }
    }
    return _written;
  }

 private:
  static constexpr std::size_t kSomeChunkRows = 96;
  static_assert(kSomeChunkRows % kLanes == 0 && kSomeChunkRows <= kChunkRows);
  // A vector on the diagonal has as many lanes as the tile has rows.
  static_assert(kTileRows == kLanes);

  /// The rows of the tiles that have so many columns for factors: one of them may be half or a quarter of a tile.
  static std::size_t TileRows(std::size_t columns) {
    const std::size_t last = columns % kTileRows;
    const std::size_t whole = columns - last;
    if (last == 0) return whole;
    return whole + (last <= kTileRows / 4   ? kTileRows / 4
                    : last <= kTileRows / 2 ? kTileRows / 2
                                            : kTileRows);
  }
  /// Whether a rectangle's left columns fill vectors of lanes as well as its right ones, which are the lanes where both are
  /// packed. A wide rectangle gains too little by being packed less to pay for lanes without a column.
  static bool Fits(const CrossProducts& job) {
    const std::size_t left = job.left.columns;
    const std::size_t right = job.right.columns;
    return RoundUp(left, kLanes) * TileRows(right) <= TileRows(left) * RoundUp(right, kLanes);
  }
  static bool Stays(const Centring& centring) { return !centring.means || centring.kept; }
  static std::size_t LaneCount(const CrossProducts& job) {
    return RoundUp(Min(job.left.columns, kBlock), kTileLanes);
  }
  /// Of the panels too the first one is not full.
  static std::size_t Lead(const Section& lanes) {
    return RoundUp(lanes.Count(), kTileLanes) - lanes.Places();
  }
  double* Panel(std::size_t panel) const { return _lanes + panel * kChunkRows; }

  /// Nothing is made of what the lanes before the first column hold, but it should not be numbers that are slow.
  void Clear(const Section& lanes) const {
    for (std::size_t row = 0; row < Min(_chunkRows, _job.left.rows); ++row)
      Store(Panel(0) + row * kTileLanes + Lead(lanes), Vector{});
  }

  void Pack(const Section& lanes, const Section& factors, std::size_t row, std::size_t rows) const {
    const Centring leftCentring = Once(_job.leftCentring, factors.First() == 0);
    PackSection(lanes, row, rows, [&](const Columns& run, std::size_t col, std::size_t place) {
      const std::size_t lane = Lead(lanes) + place;
      double* to = Panel(lane / kTileLanes * kTileLanes) + lane % kTileLanes;
      return Packing{run, col, leftCentring, _job.weights, nullptr, nullptr, to};
    });
    // The columns of a triangle have been left lanes before, or are now.
    if (IsTriangle(_job.shape) || lanes.First() != 0) return;
    if (!_job.rightCentring.means && !_job.rightCentring.squares) return;
    PackSection(factors, row, rows, [&](const Columns& run, std::size_t col, std::size_t /*place*/) {
      return Packing{run, col, _job.rightCentring, _job.weights, nullptr, nullptr, nullptr};
    });
  }

  /// Packs the columns vector by vector. What the first one, stored from its first column on, has behind its last one goes
  /// where the next vector follows, or where no lane is in use.
  template <class MakePacking>
  static void PackSection(const Section& section, std::size_t row, std::size_t rows, MakePacking packing) {
    const std::size_t first = kLanes - section.Before();
    Columns head = section.Run();
    head.columns = section.First() + first;
    PackDirectly(packing(head, section.First(), section.Before()), row, rows);
    for (std::size_t k = first; k < section.Count(); k += kLanes)
      PackDirectly(packing(section.Run(), section.First() + k, section.Before() + k), row, rows);
  }

  static void PackDirectly(const Packing& packing, std::size_t row, std::size_t rows) {
    if (packing.centring.means) {
      PackRows<Packed::kKeptCentred, kTileLanes>(packing, row, rows);
    } else {
      PackRows<Packed::kAsTheyAre, kTileLanes>(packing, row, rows);
    }
  }

  void Multiply(const Section& lanes, const Section& factors, std::size_t row, std::size_t rows) const {
    const bool onDiagonal = IsTriangle(_job.shape) && lanes.First() == factors.First();
    const std::size_t begin = Lead(lanes);
    const std::size_t end = begin + lanes.Places();
    const std::size_t nextRow = row + rows < _job.left.rows ? row + rows : row;
    const std::size_t skippedFirst = kTileRows - TileRows(kTileRows - factors.Before());
    for (std::size_t panel = 0; panel < end; panel += kTileLanes) {
      for (std::size_t place = 0; place < factors.Places(); place += kTileRows) {
        std::size_t lane = panel < begin ? begin : panel;
        const bool diagonal = onDiagonal && begin + place >= lane;
        if (diagonal) lane = begin + place;
        if (lane >= panel + kTileLanes) break;
        const std::size_t skipped = place == 0 ? skippedFirst : 0;
        // What the next chunk needs is fetched once: the factors with the last panel, the lanes with the first one unless
        // they are the same. All other tiles ask for the rows that they read anyway.
        Factors from{factors.At(place + skipped), row, factors.At(place), row};
        if (panel + kTileLanes >= end) {
          from.fetchedRow = nextRow;
        } else if (panel == 0 && !onDiagonal && place < lanes.Places()) {
          from.fetched = lanes.At(place);
          from.fetchedRow = nextRow;
        }
        const TileSums to{_sums + (place + skipped) * _sumStep + lane, _sumStep, row == 0};
        RunTile(kTileRows - skipped, diagonal, (panel + kTileLanes - lane) / kLanes, from,
                Panel(panel) + (lane - panel), rows, to);
      }
    }
  }

  static void RunTile(std::size_t tileRows, bool diagonal, std::size_t vectors, const Factors& from,
                      const double* lanes, std::size_t rows, const TileSums& to) {
    if (tileRows == kTileRows / 4) {
      MultiplyColumns<kTileRows / 4, false>(vectors, from, lanes, rows, to);
    } else if (tileRows == kTileRows / 2) {
      MultiplyColumns<kTileRows / 2, false>(vectors, from, lanes, rows, to);
    } else if (diagonal) {
      MultiplyColumns<kTileRows, true>(vectors, from, lanes, rows, to);
    } else {
      MultiplyColumns<kTileRows, false>(vectors, from, lanes, rows, to);
    }
  }

  void Write(const Section& lanes, const Section& factors) {
    for (std::size_t k = 0; k < lanes.Count(); ++k) {
      double* cells = _to.Row(lanes.First() + k) + factors.First() * _job.cellStride;
      const std::size_t end = Min(_to.Width(lanes.First() + k), factors.First() + factors.Count());
      const std::size_t count = end > factors.First() ? end - factors.First() : 0;
      const double* sums = _sums + factors.Before() * _sumStep + Lead(lanes) + lanes.Before() + k;
      for (std::size_t cell = 0; cell < count; ++cell) cells[cell * _job.cellStride] = sums[cell * _sumStep];
      _written += count;
    }
  }

  const CrossProducts& _job;
  Destination _to;
  std::size_t _sumStep;
  std::size_t _chunkRows;
  double* _lanes;
  double* _sums;
  std::size_t _written = 0;
};

}  // namespace VEXA_ENGINE_LEVEL
}  // namespace vexa::engine
