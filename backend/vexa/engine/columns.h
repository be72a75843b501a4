#pragma once

#include "engine.h"
#include "rows.h"
#include "vectors.h"

/// What is summed or compared within one column at a time: the lanes are columns.

namespace vexa::engine {
namespace VEXA_ENGINE_LEVEL {

/// Copies the lanes that stand for columns of their own.
inline void StoreColumns(Vector x, double* to, std::size_t columns) {
  for (std::size_t lane = 0; lane < kLanes && lane < columns; ++lane) to[lane] = x[lane];
}

inline void Centre(double* x, std::size_t rows, double mean) {
  const Vector shift = Broadcast(mean);
  std::size_t row = 0;
  for (; row + kLanes <= rows; row += kLanes) Store(x + row, Load(x + row) - shift);
  for (; row < rows; ++row) x[row] -= mean;
}

enum class Weighting {
  kNone,      ///< every row weighs 1
  kReady,     ///< weights that nothing has to be done to
  kSummed,    ///< weights that are summed in passing
  kCombined,  ///< weights that are multiplied and summed in passing
};

/// The mean of each column: the leading run of equal values v counts as v times the sum of its weights, and a
/// column of nothing else has the mean v exactly. The sums of the weights are two more chains of additions, which take no
/// time next to those of the columns.
template <Weighting kWeighting, bool kExtremes, bool kAll>
class GroupMean {
 public:
  GroupMean(const Summaries& job, std::size_t first, WeightSums sums)
      : _job(job), _group(job.run, first), _sums(sums) {}

  void Run() {
    const std::size_t rows = _job.run.rows;
    std::size_t row = 0;
    while (row < rows && !Counts<kAll>(_job.present, row)) ++row;
    if (row == rows) return;
    _first = _least = _greatest = _group.Row(row);
    _leading = _first == _first;
    // Whole vectors of rows from the first one on, so that all that come after begin where a vector does.
    row -= row % kLanes;
    while (row < rows && Any(_leading)) {
      const std::size_t last = Min(row + kLanes, rows);
      TakeWeights(row, last);
      for (; row < last; ++row) {
        if (Counts<kAll>(_job.present, row)) Lead(row, _group.Row(row));
      }
    }
    for (; row + kLanes <= rows; row += kLanes) {
      Vector x[kLanes];
      _group.Rows(row, x);
      TakeWeights(row, row + kLanes);
      for (std::size_t k = 0; k < kLanes; ++k) Follow(row + k, x[k]);
    }
    TakeWeights(row, rows);
    for (; row < rows; ++row) Follow(row, _group.Row(row));
  }

  WeightSums Sums() const { return _sums; }
  Vector Mean() const {
    return _leading ? _first : (_rest + _first * _runWeight) / Broadcast(_sums.combined);
  }
  Vector Least() const { return _least; }
  Vector Greatest() const { return _greatest; }

 private:
  void TakeWeights(std::size_t row, std::size_t last) {
    if constexpr (kWeighting == Weighting::kSummed || kWeighting == Weighting::kCombined) {
      for (; row < last; ++row) {
        const double own = _job.own[row];
        if (kWeighting == Weighting::kCombined) _job.weights[row] = own * _job.regWeights[row];
        const bool counts = Counts<kAll>(_job.present, row);
        _sums.own += counts ? own : 0.0;
        _sums.combined += counts ? _job.weights[row] : 0.0;
      }
    }
  }

  /// A row while some column is in its leading run.
  void Lead(std::size_t row, Vector x) {
    _leading &= x == _first;
    _runWeight = _leading ? _runWeight + Weight(row) : _runWeight;
    _rest = _leading ? _rest : _rest + Weighted(row, x);
    if (kExtremes) Compare(x);
  }

  /// A row when no column is.
  void Follow(std::size_t row, Vector x) {
    const bool counts = Counts<kAll>(_job.present, row);
    _rest += kAll ? Weighted(row, x) : OrZero(counts, Weighted(row, x));
    if (kExtremes && counts) Compare(x);
  }

  Vector Weight(std::size_t row) const {
    return Broadcast(kWeighting == Weighting::kNone ? 1.0 : _job.weights[row]);
  }
  Vector Weighted(std::size_t row, Vector x) const {
    return kWeighting == Weighting::kNone ? x : Weight(row) * x;
  }
  /// A NaN replaces nothing, and one that comes first stays.
  void Compare(Vector x) {
    _greatest = x > _greatest ? x : _greatest;
    _least = x < _least ? x : _least;
  }

  const Summaries& _job;
  ColumnGroup _group;
  WeightSums _sums;
  Mask _leading{};
  Vector _first{};
  Vector _least{};
  Vector _greatest{};
  Vector _runWeight{};
  Vector _rest{};
};

template <bool kExtremes, bool kAll>
class SummaryRun {
 public:
  explicit SummaryRun(const Summaries& job) : _job(job) {}

  /// The first columns bring the weights' sums along.
  WeightSums Run() {
    std::size_t first = 0;
    if (!_job.weights) {
      _sums.own = _sums.combined = static_cast<double>(CountRows(_job.present, 0, _job.run.rows));
    } else {
      _job.regWeights ? Summarise<Weighting::kCombined>(0) : Summarise<Weighting::kSummed>(0);
      first = kLanes;
    }
    for (; first < _job.run.columns; first += kLanes)
      _job.weights ? Summarise<Weighting::kReady>(first) : Summarise<Weighting::kNone>(first);
    return _sums;
  }

 private:
  template <Weighting kWeighting>
  void Summarise(std::size_t first) {
    const std::size_t columns = _job.run.columns - first;
    GroupMean<kWeighting, kExtremes, kAll> group(_job, first, _sums);
    group.Run();
    _sums = group.Sums();
    StoreColumns(group.Mean(), _job.means + first, columns);
    if (_job.mins) StoreColumns(group.Least(), _job.mins + first, columns);
    if (_job.maxs) StoreColumns(group.Greatest(), _job.maxs + first, columns);
  }

  const Summaries& _job;
  WeightSums _sums{};
};

inline WeightSums Summarise(const Summaries& job) {
  const bool extremes = job.mins || job.maxs;
  if (job.present) return extremes ? SummaryRun<true, false>(job).Run() : SummaryRun<false, false>(job).Run();
  return extremes ? SummaryRun<true, true>(job).Run() : SummaryRun<false, true>(job).Run();
}

inline void CentreColumns(const Columns& run, const double* means) {
  for (std::size_t col = 0; col < run.columns; ++col)
    Centre(run.base + col * run.stride, run.rows, means[col]);
}

/// One running sum per column of the terms that term(row, values) forms.
template <class Term>
inline void SumColumns(const Columns& run, double* sums, Term term) {
  for (std::size_t first = 0; first < run.columns; first += kLanes) {
    Vector sum{};
    ForEachRow(ColumnGroup(run, first), 0, run.rows, [&](std::size_t row, Vector x) { sum += term(row, x); });
    StoreColumns(sum, sums + first, run.columns - first);
  }
}

inline void Squares(const Columns& run, const double* weights, double* squares) {
  if (weights) {
    SumColumns(run, squares, [=](std::size_t row, Vector x) { return (Broadcast(weights[row]) * x) * x; });
  } else {
    SumColumns(run, squares, [](std::size_t, Vector x) { return x * x; });
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
  const auto poolOne = [&row](std::size_t k) {
    row.cellsA[k] = ((row.fromA[k] * row.a + row.cellsB[k]) + row.fromB[k] * row.b) + row.cellsA[k];
  };
  // A triangle's rows begin anywhere: the cells of both parts, which lie alike, are taken from a vector's place on.
  const std::size_t lead = -(reinterpret_cast<std::uintptr_t>(row.cellsA) / sizeof(double)) % kLanes;
  std::size_t k = 0;
  for (; k < Min(lead, row.count); ++k) poolOne(k);
  for (; k + kLanes <= row.count; k += kLanes) {
    const Vector pooled = (Load(row.fromA + k) * a + Load(row.cellsB + k)) + Load(row.fromB + k) * b;
    Store(row.cellsA + k, pooled + Load(row.cellsA + k));
  }
  for (; k < row.count; ++k) poolOne(k);
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
