#pragma once

#include "engine.h"
#include "rows.h"
#include "vectors.h"

/// Statistics of pairs of columns with missing values. The lanes are the pairs of one first column with the
/// columns of a panel: rows in which the first column is missing are skipped, and a second column's missing value
/// leaves its lane alone. One walk over the rows gives weights and means, a second one the sums about the means.

namespace vexa::engine {
namespace VEXA_ENGINE_LEVEL {

constexpr std::size_t kPairVectors = 2;
constexpr std::size_t kPairLanes = kPairVectors * kLanes;
static_assert(kPairLanes <= kMaxPairLanes);

/// Rows of a panel that stay in the first-level cache while all the first columns walk over them. Where the vectors are
/// widest, twice as many would fill 32 KiB of it while means are formed.
constexpr std::size_t kPairRows = kLanes == 8 ? 64 : 128;
static_assert(kPairRows % kWordRows == 0);

/// Adds to the lanes whose mask is set.
inline void AddWhere(Vector& sum, Mask mask, Vector term) {
#if VEXA_ENGINE_LANES == 8
  sum = mask ? sum + term : sum;
#else
  // Without masked instructions an absent term becomes +0.0, bit by bit. A sum that began at +0.0 is never −0.0, so
  // that adding it changes nothing.
  sum += reinterpret_cast<Vector>(reinterpret_cast<Mask>(term) & mask);
#endif
}

/// The rows of a panel that are being worked on.
struct PanelRows {
  std::size_t row;             ///< of the batch, a multiple of kPairRows
  std::size_t rows;            ///< at most kPairRows
  double* values;              ///< row by row, kPairLanes each
  double* weighted;            ///< the same times the combined weight; only while means are formed
  double weights[kPairRows];   ///< case weights
  double combined[kPairRows];  ///< combined weights, 1 where there are none
};

/// Where each lane is in the leading run of equal values of either column.
struct LeadingRun {
  Vector value[kPairVectors];
  Vector weight[kPairVectors];
  Mask leading[kPairVectors];
};

struct PairState {
  Mask waiting[kPairVectors];  ///< no row yet; never set for a lane that has none at all
  LeadingRun first;
  LeadingRun second;
  bool settled;  ///< no lane waits or leads: all that is to come is added to the rest
};

/// Calls visit(k) for every present row k of the chunk, ascending.
template <class Visit>
inline void ForEachPresent(const std::uint64_t* present, std::size_t words, std::size_t from, Visit visit) {
  for (std::size_t word = from / kWordRows; word < words; ++word) {
    std::uint64_t bits = present[word];
    if (word == from / kWordRows) bits &= ~std::uint64_t{0} << (from % kWordRows);
    for (; bits != 0; bits &= bits - 1) {
      visit(word * kWordRows + static_cast<std::size_t>(__builtin_ctzll(bits)));
    }
  }
}

/// kCase: case weights are summed; kReg: combined weights are summed; kPair: there is a first column. kVectors hold all
/// second columns.
template <bool kCase, bool kReg, bool kPair, std::size_t kVectors>
class PairKernel {
 public:
  PairKernel(const Pairs& job, PairSums* results, double* scratch)
      : _job(job),
        _results(results),
        _states(reinterpret_cast<PairState*>(scratch + 2 * kPairRows * kWidth)),
        _lines(job.secondCount * kLines),
        _fetched((_lines + job.firstCount - 1) / job.firstCount) {
    _panel.values = scratch;
    _panel.weighted = scratch + kPairRows * kWidth;
  }

  void Run() {
    for (std::size_t first = 0; first < _job.firstCount; ++first) Begin(first);
    for (std::size_t row = 0; row < _job.rows; row += kPairRows) {
      Pack<true>(row);
      for (std::size_t first = 0; first < _job.firstCount; ++first) SumRows(first);
    }
    for (std::size_t first = 0; first < _job.firstCount; ++first) FormMeans(first);
    for (std::size_t row = 0; row < _job.rows; row += kPairRows) {
      Pack<false>(row);
      for (std::size_t first = 0; first < _job.firstCount; ++first) SumProducts(first);
    }
  }

 private:
  static constexpr bool kUnit = !kCase && !kReg;
  static constexpr std::size_t kWidth = kVectors * kLanes;
  static constexpr std::size_t kLines = kPairRows / kLineRows;
  static constexpr int kSecondLevel = 2;  ///< of caches, for a fetch

  std::size_t Words() const { return (_panel.rows + kWordRows - 1) / kWordRows; }
  RowBits Present(std::size_t first) const { return _job.firstPresent[first] + _panel.row / kWordRows; }

  /// Columns lie far apart: the rows of the next one are fetched into the cache while those of this one are summed.
  /// Inlined by order, because GCC takes a function that only fetches for one without effect and leaves its calls out.
  [[gnu::always_inline]] void FetchAfter(std::size_t first) const {
    if (!kPair || first + 1 == _job.firstCount) return;
    const double* next = _job.first[first + 1] + _panel.row;
    for (std::size_t k = 0; k < kPairRows; k += kLineRows) __builtin_prefetch(next + k);
  }

  /// The rows of the panel that come next, a share of them with each first column, so that packing does not wait for the
  /// third-level cache. Into the second level: the first one is full.
  [[gnu::always_inline]] void FetchPanel(std::size_t first) const {
    const std::size_t next = _panel.row + kPairRows;
    if (next >= _job.rows) return;
    const std::size_t begin = first * _fetched;
    const std::size_t end = begin + _fetched < _lines ? begin + _fetched : _lines;
    for (std::size_t line = begin; line < end; ++line)
      __builtin_prefetch(_job.second[line / kLines] + next + line % kLines * kLineRows, 0, kSecondLevel);
  }

  void Begin(std::size_t first) {
    PairSums& sums = _results[first];
    sums = PairSums{};
    PairState& state = _states[first];
    state = PairState{};
    const std::size_t words = (_job.rows + kWordRows - 1) / kWordRows;
    bool any = false;
    for (std::size_t lane = 0; lane < kWidth; ++lane) {
      const std::uint64_t* second = _job.secondPresent[lane < _job.secondCount ? lane : _job.secondCount - 1];
      unsigned int count = 0;
      for (std::size_t word = 0; word < words; ++word) {
        count +=
            static_cast<unsigned int>(__builtin_popcountll(_job.firstPresent[first][word] & second[word]));
      }
      sums.count[lane] = count;
      state.waiting[lane / kLanes][lane % kLanes] = count == 0 ? 0 : -1;
      any |= count != 0;
    }
    for (std::size_t v = 0; v < kVectors; ++v) {
      state.first.leading[v] = state.waiting[v];
      state.second.leading[v] = state.waiting[v];
    }
    state.settled = !any;
  }

  template <bool kWeighted>
  void Pack(std::size_t row) {
    _panel.row = row;
    _panel.rows = _job.rows - row < kPairRows ? _job.rows - row : kPairRows;
    for (std::size_t k = 0; k < _panel.rows; ++k) {
      if (kCase) _panel.weights[k] = _job.weights[row + k];
      _panel.combined[k] = _job.combined ? _job.combined[row + k] : 1.0;
    }
    for (std::size_t v = 0; v < kVectors; ++v) {
      ForEachRow(ColumnGroup(_job.second, _job.secondCount, v * kLanes), row, row + _panel.rows,
                 [this, v, row](std::size_t k, Vector x) {
                   const std::size_t at = (k - row) * kWidth + v * kLanes;
                   Store(_panel.values + at, x);
                   if (kWeighted) Store(_panel.weighted + at, Broadcast(_panel.combined[k - row]) * x);
                 });
    }
  }

  void SumRows(std::size_t first) {
    FetchAfter(first);
    FetchPanel(first);
    alignas(kScratchAlignment) double weighted[kPairRows];
    if (kPair) {
      const double* x = _job.first[first] + _panel.row;
      for (std::size_t k = 0; k < _panel.rows; ++k) weighted[k] = _panel.combined[k] * x[k];
    }
    std::size_t from = 0;
    if (!_states[first].settled) from = SumLeadingRows(first, weighted);

    PairSums& sums = _results[first];
    const Vector missing = Broadcast(_job.missing);
    Vector weightSum[kVectors];
    Vector combinedSum[kVectors];
    Vector rest0[kVectors];
    Vector rest1[kVectors];
    for (std::size_t v = 0; v < kVectors; ++v) {
      weightSum[v] = Load(sums.weightSum + v * kLanes);
      combinedSum[v] = Load(sums.combinedSum + v * kLanes);
      rest0[v] = Load(sums.mean0 + v * kLanes);
      rest1[v] = Load(sums.mean1 + v * kLanes);
    }
    if (from < _panel.rows) {
      ForEachPresent(Present(first), Words(), from, [&](std::size_t k) {
        for (std::size_t v = 0; v < kVectors; ++v) {
          const std::size_t at = k * kWidth + v * kLanes;
          const Mask present = Load(_panel.values + at) != missing;
          if (kCase) AddWhere(weightSum[v], present, Broadcast(_panel.weights[k]));
          if (kReg) AddWhere(combinedSum[v], present, Broadcast(_panel.combined[k]));
          if (kPair) AddWhere(rest0[v], present, Broadcast(weighted[k]));
          AddWhere(rest1[v], present, Load(_panel.weighted + at));
        }
      });
    }
    for (std::size_t v = 0; v < kVectors; ++v) {
      Store(sums.weightSum + v * kLanes, weightSum[v]);
      Store(sums.combinedSum + v * kLanes, combinedSum[v]);
      Store(sums.mean0 + v * kLanes, rest0[v]);
      Store(sums.mean1 + v * kLanes, rest1[v]);
    }
  }

  /// Rows while some lane still waits for its first row or is in a leading run. Returns the first row of the chunk
  /// that is left to do.
  std::size_t SumLeadingRows(std::size_t first, const double* weighted) {
    PairSums& sums = _results[first];
    PairState& state = _states[first];
    const Vector missing = Broadcast(_job.missing);
    for (std::size_t word = 0; word < Words(); ++word) {
      for (std::uint64_t bits = Present(first)[word]; bits != 0; bits &= bits - 1) {
        const std::size_t k = word * kWordRows + static_cast<std::size_t>(__builtin_ctzll(bits));
        Mask open{};
        for (std::size_t v = 0; v < kVectors; ++v) {
          const std::size_t at = k * kWidth + v * kLanes;
          const Vector y = Load(_panel.values + at);
          const Mask present = y != missing;
          const Mask begins = present & state.waiting[v];
          const Vector combined = Broadcast(_panel.combined[k]);
          state.waiting[v] &= ~present;
          if (kCase) AddTo(sums.weightSum + v * kLanes, present, Broadcast(_panel.weights[k]));
          if (kReg) AddTo(sums.combinedSum + v * kLanes, present, combined);
          if (kPair) {
            Take(state.first, v, present, begins, Broadcast(_job.first[first][_panel.row + k]), combined);
            AddTo(sums.mean0 + v * kLanes, present & ~state.first.leading[v], Broadcast(weighted[k]));
            open |= state.first.leading[v];
          }
          Take(state.second, v, present, begins, y, combined);
          AddTo(sums.mean1 + v * kLanes, present & ~state.second.leading[v], Load(_panel.weighted + at));
          open |= state.second.leading[v] | state.waiting[v];
        }
        if (!Any(open)) {
          state.settled = true;
          return k + 1;
        }
      }
    }
    return _panel.rows;
  }

  static void AddTo(double* sums, Mask mask, Vector term) {
    Vector sum = Load(sums);
    AddWhere(sum, mask, term);
    Store(sums, sum);
  }

  static void Take(LeadingRun& run, std::size_t v, Mask present, Mask begins, Vector x, Vector weight) {
    run.value[v] = begins ? x : run.value[v];
    run.leading[v] &= (x == run.value[v]) | ~present;
    AddWhere(run.weight[v], present & run.leading[v], weight);
  }

  void FormMeans(std::size_t first) {
    PairSums& sums = _results[first];
    const PairState& state = _states[first];
    for (std::size_t lane = 0; lane < kWidth; ++lane) {
      if (!kCase) sums.weightSum[lane] = sums.count[lane];
      if (!kReg) sums.combinedSum[lane] = sums.weightSum[lane];
    }
    for (std::size_t v = 0; v < kVectors; ++v) {
      if (kPair) FormMean(sums.mean0 + v * kLanes, state.first, v, sums);
      FormMean(sums.mean1 + v * kLanes, state.second, v, sums);
    }
  }

  static void FormMean(double* mean, const LeadingRun& run, std::size_t v, const PairSums& sums) {
    const Vector whole = (Load(mean) + run.value[v] * run.weight[v]) / Load(sums.combinedSum + v * kLanes);
    Store(mean, run.leading[v] ? run.value[v] : whole);
    // Pairs without a common row have no mean to divide for.
    for (std::size_t lane = 0; lane < kLanes; ++lane) {
      if (sums.count[v * kLanes + lane] == 0) mean[lane] = 0.0;
    }
  }

  void SumProducts(std::size_t first) {
    FetchAfter(first);
    FetchPanel(first);
    PairSums& sums = _results[first];
    const double* x = kPair ? _job.first[first] + _panel.row : nullptr;
    const Vector missing = Broadcast(_job.missing);
    Vector mean0[kVectors];
    Vector mean1[kVectors];
    Vector css0[kVectors];
    Vector css1[kVectors];
    Vector cscp[kVectors];
    for (std::size_t v = 0; v < kVectors; ++v) {
      mean0[v] = Load(sums.mean0 + v * kLanes);
      mean1[v] = Load(sums.mean1 + v * kLanes);
      css0[v] = Load(sums.css0 + v * kLanes);
      css1[v] = Load(sums.css1 + v * kLanes);
      cscp[v] = Load(sums.cscp + v * kLanes);
    }
    ForEachPresent(Present(first), Words(), 0, [&](std::size_t k) {
      const Vector combined = Broadcast(_panel.combined[k]);
      for (std::size_t v = 0; v < kVectors; ++v) {
        const Vector y = Load(_panel.values + k * kWidth + v * kLanes);
        const Mask present = y != missing;
        const Vector e = y - mean1[v];
        AddWhere(css1[v], present, (kUnit ? e : combined * e) * e);
        if (kPair) {
          const Vector d = Broadcast(x[k]) - mean0[v];
          const Vector weighted = kUnit ? d : combined * d;
          AddWhere(css0[v], present, weighted * d);
          AddWhere(cscp[v], present, weighted * e);
        }
      }
    });
    for (std::size_t v = 0; v < kVectors; ++v) {
      Store(sums.css0 + v * kLanes, css0[v]);
      Store(sums.css1 + v * kLanes, css1[v]);
      Store(sums.cscp + v * kLanes, cscp[v]);
    }
  }

  const Pairs& _job;
  PairSums* _results;
  PairState* _states;
  const std::size_t _lines;    ///< of cache, of a panel's columns
  const std::size_t _fetched;  ///< of these with each first column
  PanelRows _panel;
};

inline std::size_t PairScratch(const Pairs& job) {
  return 2 * kPairRows * kPairLanes + job.firstCount * (sizeof(PairState) / sizeof(double));
}

template <bool kCase, bool kReg, bool kPair>
inline void RunPairs(const Pairs& job, PairSums* results, double* scratch) {
  if (job.secondCount <= kLanes) {
    PairKernel<kCase, kReg, kPair, 1>(job, results, scratch).Run();
  } else {
    PairKernel<kCase, kReg, kPair, kPairVectors>(job, results, scratch).Run();
  }
}

template <bool kCase, bool kReg>
inline void RunPairs(const Pairs& job, PairSums* results, double* scratch) {
  job.first ? RunPairs<kCase, kReg, true>(job, results, scratch)
            : RunPairs<kCase, kReg, false>(job, results, scratch);
}

inline void PairsOf(const Pairs& job, PairSums* results, double* scratch) {
  if (job.weights) {
    job.sumCombined ? RunPairs<true, true>(job, results, scratch)
                    : RunPairs<true, false>(job, results, scratch);
  } else {
    job.sumCombined ? RunPairs<false, true>(job, results, scratch)
                    : RunPairs<false, false>(job, results, scratch);
  }
}

/// The presence bits of kWordRows rows.
inline std::uint64_t PresenceWord(const double* x, Vector code) {
#if VEXA_ENGINE_LANES == 8
  constexpr int kNotEqualOrUnordered = 4;
  constexpr int kQuietAndRoundAsSet = 4;
  std::uint64_t bits = 0;
  for (std::size_t k = 0; k < kWordRows; k += kLanes) {
    const std::uint64_t some =
        __builtin_ia32_cmppd512_mask(Load(x + k), code, kNotEqualOrUnordered, 0xff, kQuietAndRoundAsSet);
    bits |= some << k;
  }
  return bits;
#else
  Mask any{};
  for (std::size_t k = 0; k < kWordRows; k += kLanes) any |= Load(x + k) == code;
  if (!Any(any)) return ~std::uint64_t{0};
  std::uint64_t bits = 0;
  for (std::size_t k = 0; k < kWordRows; ++k) bits |= static_cast<std::uint64_t>(x[k] != code[0]) << k;
  return bits;
#endif
}

inline void Presence(const double* x, std::size_t rows, double missing, std::uint64_t* present) {
  const Vector code = Broadcast(missing);
  std::size_t row = 0;
  for (; row + kWordRows <= rows; row += kWordRows) present[row / kWordRows] = PresenceWord(x + row, code);
  if (row == rows) return;
  std::uint64_t bits = 0;
  for (std::size_t k = row; k < rows; ++k) bits |= static_cast<std::uint64_t>(x[k] != missing) << (k - row);
  present[row / kWordRows] = bits;
}

}  // namespace VEXA_ENGINE_LEVEL
}  // namespace vexa::engine
