#pragma once

#include "engine.h"
#include "rows.h"
#include "vectors.h"

/// What is summed or compared within one column at a time: the lanes are columns.

namespace vexa::engine {
namespace VEXA_ENGINE_LEVEL {

/// Copies the lanes that stand for columns of their own.
inline void StoreColumns(Vector x, double* to, std::size_t columns, std::size_t stride = 1) {
  for (std::size_t lane = 0; lane < kLanes && lane < columns; ++lane) to[lane * stride] = x[lane];
}

enum class Weighting {
  kNone,      ///< every row weighs 1
  kReady,     ///< weights that nothing has to be done to
  kSummed,    ///< weights that are summed in passing
  kCombined,  ///< weights that are multiplied and summed in passing
};

/// Some rows of a group of columns and their weights.
struct Stretch {
  ColumnGroup group;
  std::size_t rows;
  const double* own;
  const double* regWeights;
  double* weights;
};

/// The mean of each column: the leading run of equal values v counts as v times the sum of its weights, and a
/// column of nothing else has the mean v exactly. The sums of the weights are two more chains of additions, which take no
/// time next to those of the columns.
template <Weighting kWeighting, bool kExtremes>
class GroupMean {
 public:
  explicit GroupMean(WeightSums sums) : _sums(sums) {}

  void Add(const Stretch& stretch) {
    std::size_t row = 0;
    if (!_begun && stretch.rows > 0) {
      _begun = true;
      _first = _least = _greatest = stretch.group.Row(0);
      _leading = _first == _first;
    }
    while (row < stretch.rows && Any(_leading)) {
      // Whole vectors of rows, so that all that come after begin where a vector does.
      const std::size_t last = Min(row + kLanes, stretch.rows);
      TakeWeights(stretch, row, last);
      for (; row < last; ++row) {
        const Vector x = stretch.group.Row(row);
        _leading &= x == _first;
        _runWeight = _leading ? _runWeight + Weight(stretch, row) : _runWeight;
        _rest = _leading ? _rest : _rest + Weighted(stretch, row, x);
        Compare(x);
      }
    }
    for (; row + kLanes <= stretch.rows; row += kLanes) {
      Vector x[kLanes];
      stretch.group.Rows(row, x);
      TakeWeights(stretch, row, row + kLanes);
      for (std::size_t k = 0; k < kLanes; ++k) {
        _rest += Weighted(stretch, row + k, x[k]);
        Compare(x[k]);
      }
    }
    TakeWeights(stretch, row, stretch.rows);
    for (; row < stretch.rows; ++row) {
      const Vector x = stretch.group.Row(row);
      _rest += Weighted(stretch, row, x);
      Compare(x);
    }
  }

  WeightSums Sums() const { return _sums; }
  Vector Mean() const {
    return _leading ? _first : (_rest + _first * _runWeight) / Broadcast(_sums.combined);
  }
  Vector Least() const { return _least; }
  Vector Greatest() const { return _greatest; }

 private:
  void TakeWeights(const Stretch& stretch, std::size_t row, std::size_t last) {
    if constexpr (kWeighting == Weighting::kSummed || kWeighting == Weighting::kCombined) {
      for (; row < last; ++row) {
        const double own = stretch.own[row];
        _sums.own += own;
        if (kWeighting == Weighting::kCombined) stretch.weights[row] = own * stretch.regWeights[row];
        _sums.combined += stretch.weights[row];
      }
    }
  }

  static Vector Weight(const Stretch& stretch, std::size_t row) {
    return Broadcast(kWeighting == Weighting::kNone ? 1.0 : stretch.weights[row]);
  }
  static Vector Weighted(const Stretch& stretch, std::size_t row, Vector x) {
    return kWeighting == Weighting::kNone ? x : Weight(stretch, row) * x;
  }
  /// A NaN replaces nothing, and one that comes first stays.
  void Compare(Vector x) {
    if constexpr (kExtremes) {
      _greatest = x > _greatest ? x : _greatest;
      _least = x < _least ? x : _least;
    }
  }

  WeightSums _sums;
  bool _begun = false;
  Mask _leading{};
  Vector _first{};
  Vector _least{};
  Vector _greatest{};
  Vector _runWeight{};
  Vector _rest{};
};

inline void Centre(double* x, std::size_t rows, double mean) {
  const Vector shift = Broadcast(mean);
  std::size_t row = 0;
  for (; row + kLanes <= rows; row += kLanes) Store(x + row, Load(x + row) - shift);
  for (; row < rows; ++row) x[row] -= mean;
}

template <Weighting kWeighting, bool kExtremes>
WeightSums SummariseGroup(const Summaries& job, std::size_t first, WeightSums sums) {
  const std::size_t columns = job.run.columns - first;
  const ColumnGroup group(job.run, first);
  GroupMean<kWeighting, kExtremes> mean(sums);
  GroupRoom values;
  RangeRoom own;
  RangeRoom weights;
  const std::size_t step = job.present ? kChunkRows : job.run.rows;
  for (std::size_t row = 0; row < job.run.rows; row += step) {
    const RowRange range(row, Min(step, job.run.rows - row), job.present);
    mean.Add({values.Take(group, range), range.Count(), own.Take(job.own, range), job.regWeights,
              weights.Take(job.weights, range)});
  }
  StoreColumns(mean.Mean(), job.means + first, columns);
  if (job.mins) StoreColumns(mean.Least(), job.mins + first, columns);
  if (job.maxs) StoreColumns(mean.Greatest(), job.maxs + first, columns);
  return mean.Sums();
}

/// The first columns bring the weights' sums along.
template <bool kExtremes>
WeightSums SummariseGroups(const Summaries& job) {
  WeightSums sums{};
  if (!job.weights) {
    sums.own = sums.combined = static_cast<double>(RowRange(0, job.run.rows, job.present).Count());
  } else if (job.regWeights) {
    sums = SummariseGroup<Weighting::kCombined, kExtremes>(job, 0, sums);
  } else {
    sums = SummariseGroup<Weighting::kSummed, kExtremes>(job, 0, sums);
  }
  for (std::size_t first = job.weights ? kLanes : 0; first < job.run.columns; first += kLanes) {
    job.weights ? SummariseGroup<Weighting::kReady, kExtremes>(job, first, sums)
                : SummariseGroup<Weighting::kNone, kExtremes>(job, first, sums);
  }
  return sums;
}

inline WeightSums Summarise(const Summaries& job) {
  return job.mins || job.maxs ? SummariseGroups<true>(job) : SummariseGroups<false>(job);
}

inline void CentreColumns(const Columns& run, const double* means) {
  for (std::size_t col = 0; col < run.columns; ++col)
    Centre(run.base + col * run.stride, run.rows, means[col]);
}

/// One running sum per column of the terms that term(row, values) forms.
template <class Term>
inline void SumColumns(const Columns& run, double* sums, std::size_t stride, Term term) {
  for (std::size_t first = 0; first < run.columns; first += kLanes) {
    Vector sum{};
    ForEachRow(ColumnGroup(run, first), 0, run.rows, [&](std::size_t row, Vector x) { sum += term(row, x); });
    StoreColumns(sum, sums + first * stride, run.columns - first, stride);
  }
}

inline void Sums(const Columns& run, const double* weights, double* sums, std::size_t stride) {
  if (weights) {
    SumColumns(run, sums, stride, [=](std::size_t row, Vector x) { return Broadcast(weights[row]) * x; });
  } else {
    SumColumns(run, sums, stride, [](std::size_t, Vector x) { return x; });
  }
}

inline void Squares(const Columns& run, const double* weights, double* squares) {
  if (weights) {
    SumColumns(run, squares, 1, [=](std::size_t row, Vector x) { return (Broadcast(weights[row]) * x) * x; });
  } else {
    SumColumns(run, squares, 1, [](std::size_t, Vector x) { return x * x; });
  }
}

inline void Extremes(const Columns& run, double missing, double* mins, double* maxs) {
  const Vector code = Broadcast(missing);
  for (std::size_t first = 0; first < run.columns; first += kLanes) {
    Mask waiting = Mask{} == Mask{};
    Vector min{};
    Vector max{};
    ForEachRow(ColumnGroup(run, first), 0, run.rows, [&](std::size_t, Vector x) {
      const Mask present = x != code;
      const Mask begins = present & waiting;
      waiting &= ~present;
      min = begins | (present & (x < min)) ? x : min;
      max = begins | (present & (x > max)) ? x : max;
    });
    for (std::size_t lane = 0; lane < kLanes && first + lane < run.columns; ++lane) {
      if (waiting[lane]) continue;
      mins[first + lane] = min[lane];
      maxs[first + lane] = max[lane];
    }
  }
}

inline void Pool(const PooledRow& row) {
  const Vector a = Broadcast(row.a);
  const Vector b = Broadcast(row.b);
  std::size_t k = 0;
  for (; k + kLanes <= row.count; k += kLanes) {
    const Vector pooled = (Load(row.fromA + k) * a + Load(row.cellsB + k)) + Load(row.fromB + k) * b;
    Store(row.cellsA + k, pooled + Load(row.cellsA + k));
  }
  for (; k < row.count; ++k) {
    row.cellsA[k] = ((row.fromA[k] * row.a + row.cellsB[k]) + row.fromB[k] * row.b) + row.cellsA[k];
  }
}

/// Sums within groups go to a table in cache, group after group: two vectors of sums and two of squares for two
/// groups of columns at a time, because two rows of the same group must wait for each other.
constexpr std::size_t kTableWidth = 4 * kLanes;

inline std::size_t GroupSumScratch(const GroupSums& job) { return job.groupCount * kTableWidth; }

template <bool kWeighted>
inline void AddToGroup(double* entry, const GroupSums& job, std::size_t row, Vector x) {
  const Vector weighted = kWeighted ? x * Broadcast(job.weights[row]) : x;
  Store(entry, Load(entry) + weighted);
  Store(entry + 2 * kLanes, Load(entry + 2 * kLanes) + weighted * x);
}

template <bool kWeighted>
void AddGroupSums(const GroupSums& job, double* table) {
  const Columns& run = job.run;
  for (std::size_t first = 0; first < run.columns; first += 2 * kLanes) {
    const std::size_t columns = run.columns - first < 2 * kLanes ? run.columns - first : 2 * kLanes;
    for (std::size_t group = 0; group < job.groupCount; ++group) {
      double* entry = table + group * kTableWidth;
      for (std::size_t lane = 0; lane < 2 * kLanes; ++lane) {
        const std::size_t cell = (first + (lane < columns ? lane : 0)) * job.groupCount + group;
        entry[lane] = job.sums[cell];
        entry[lane + 2 * kLanes] = job.squares[cell];
      }
    }
    const ColumnGroup one(run, first);
    const ColumnGroup two(run, first + kLanes);
    std::size_t row = 0;
    for (; row + kLanes <= run.rows; row += kLanes) {
      Vector x[kLanes];
      Vector y[kLanes];
      one.Rows(row, x);
      two.Rows(row, y);
      for (std::size_t k = 0; k < kLanes; ++k) {
        double* entry = table + job.groups[row + k] * kTableWidth;
        AddToGroup<kWeighted>(entry, job, row + k, x[k]);
        AddToGroup<kWeighted>(entry + kLanes, job, row + k, y[k]);
      }
    }
    for (; row < run.rows; ++row) {
      double* entry = table + job.groups[row] * kTableWidth;
      AddToGroup<kWeighted>(entry, job, row, one.Row(row));
      AddToGroup<kWeighted>(entry + kLanes, job, row, two.Row(row));
    }
    for (std::size_t group = 0; group < job.groupCount; ++group) {
      const double* entry = table + group * kTableWidth;
      for (std::size_t lane = 0; lane < columns; ++lane) {
        job.sums[(first + lane) * job.groupCount + group] = entry[lane];
        job.squares[(first + lane) * job.groupCount + group] = entry[lane + 2 * kLanes];
      }
    }
  }
}

inline void GroupSumsOf(const GroupSums& job, double* scratch) {
  job.weights ? AddGroupSums<true>(job, scratch) : AddGroupSums<false>(job, scratch);
}

}  // namespace VEXA_ENGINE_LEVEL
}  // namespace vexa::engine
