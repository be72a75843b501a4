#include "pairbatch.h"

#include <algorithm>
#include <new>
#include <span>
#include <vector>

#include "engine/engine.h"
#include "packed.h"
#include "presenceclasses.h"
#include "scratch.h"
#include "vexa/kernels.h"

namespace vexa {

namespace {

using Index = std::size_t;
using Word = PresenceClasses::Word;

constexpr Index kWordRows = 64;

/// First columns of one call of the pair kernel: their sums stay in the second-level cache.
constexpr Index kFirstColumns = 64;

/// Rows of two classes that are worked on at a time.
constexpr Index kClassRows = 256;
static_assert(kClassRows % kWordRows == 0);

constexpr Index kClassMax = PresenceClasses::kMaxColumns;

/// Memory that is kept from batch to batch, so that nothing is allocated once all of it has grown.
struct Workspace {
  std::vector<const double*> columns;
  std::vector<double> combined;
  PresenceClasses classes;
  std::vector<Index> first;
  std::vector<Index> second;
  std::vector<const double*> firstColumns;
  std::vector<const double*> secondColumns;
  std::vector<const Word*> firstPresent;
  std::vector<const Word*> secondPresent;
  std::vector<engine::PairSums> sums;
  std::vector<Word> common;
  std::vector<double> mins;
  std::vector<double> maxs;
  std::vector<ColumnSummary> own;     ///< of each column in its own rows
  std::vector<ColumnSummary> shared;  ///< of the columns of two classes in their common rows
  std::vector<double> values;
  std::vector<double> weights;
  std::vector<Index> widths;
  std::vector<double> cells;
  std::vector<double> transposedCells;

  void Reserve(const engine::Kernels& kernels, Index count, Index rows) {
    const Index classColumns = std::min(count, kClassMax);
    columns.reserve(count);
    combined.reserve(rows);
    classes.Reserve(count, rows);
    first.reserve(count);
    second.reserve(count);
    firstColumns.reserve(kFirstColumns);
    firstPresent.reserve(kFirstColumns);
    secondColumns.reserve(engine::kMaxPairLanes);
    secondPresent.reserve(engine::kMaxPairLanes);
    sums.resize(kFirstColumns);
    common.reserve(rows / kWordRows + 1);
    mins.reserve(count);
    maxs.reserve(count);
    own.reserve(count);
    if (count >= PresenceClasses::kMinColumns) {
      shared.reserve(2 * classColumns);
      // Compaction writes whole vectors, the last one of a column beyond its end.
      values.reserve(2 * classColumns * kClassRows + engine::kMaxPairLanes);
      weights.reserve(kClassRows + engine::kMaxPairLanes);
      widths.reserve(classColumns);
      cells.reserve(classColumns * classColumns);
      transposedCells.reserve(classColumns * classColumns);
    }

    engine::Pairs pairs{};
    pairs.firstCount = kFirstColumns;
    engine::CrossProducts products{};
    products.left.columns = classColumns;
    products.right.columns = classColumns;
    const Index scratch = std::max(kernels.pairScratch(pairs), kernels.crossProductScratch(products));
    if (!Scratch(scratch)) throw std::bad_alloc();
  }
};

Workspace& ThreadWorkspace() {
  thread_local Workspace work;
  return work;
}

const engine::Kernels* EngineFor(Index columns, Index rows) {
  return engine::Worthwhile({nullptr, 0, columns, rows}) ? engine::Active() : nullptr;
}

class PairBatch {
 public:
  PairBatch(const engine::Kernels& kernels, const PairInput& input, const Pairing& pairing, Extremes extremes,
            SummarySink& sink, Workspace& work)
      : _kernels(kernels),
        _input(input),
        _pairing(pairing),
        _triangle(pairing.triangle),
        _count(input.run.columns),
        _secondBegin(_triangle ? 0 : pairing.firstCount),
        _rows(input.run.rows),
        _extremes(extremes),
        _sink(sink),
        _work(work) {}

  void Run() {
    TakeColumns();
    TakeWeights();
    _work.classes.Find(_kernels, _work.columns, _rows, _input.missing, _secondBegin);
    SummariseColumns();
    PairSingles();
    PairClasses();
  }

 private:
  const Word* Present(Index col) const { return _work.classes.Present(col); }
  Index Words() const { return _work.classes.Words(); }

  void TakeColumns() {
    _work.columns.resize(_count);
    for (Index col = 0; col < _count; ++col) {
      _work.columns[col] = _input.run.Column(static_cast<unsigned int>(col));
    }
  }

  void TakeWeights() {
    const double* weights = _input.weights;
    const double* regWeights = _input.regWeights;
    _combined = weights ? weights : regWeights;
    if (!weights || !regWeights) return;
    _work.combined.resize(_rows);
    for (Index row = 0; row < _rows; ++row) _work.combined[row] = weights[row] * regWeights[row];
    _combined = _work.combined.data();
  }

  engine::Pairs Job() const {
    return {.first = nullptr,
            .firstPresent = nullptr,
            .firstCount = 1,
            .second = _work.secondColumns.data(),
            .secondPresent = _work.secondPresent.data(),
            .secondCount = _work.secondColumns.size(),
            .rows = _rows,
            .missing = _input.missing,
            .weights = _input.weights,
            .combined = _combined,
            .sumCombined = _input.regWeights != nullptr};
  }

  void RunKernel(const engine::Pairs& job) {
    _kernels.pairs(job, _work.sums.data(), Scratch(_kernels.pairScratch(job)));
  }

  void TakeSeconds(std::span<const Index> columns) {
    _work.secondColumns.clear();
    _work.secondPresent.clear();
    for (const Index col : columns) {
      _work.secondColumns.push_back(_work.columns[col]);
      _work.secondPresent.push_back(Present(col));
    }
  }

  /// The columns by themselves in the rows of `present`, panel by panel: visit(position in columns, sums, lane).
  template <class Visit>
  void ForEachColumn(std::span<const Index> columns, const Word* present, Visit visit) {
    for (Index panel = 0; panel < columns.size(); panel += _kernels.pairLanes) {
      const Index lanes = std::min(_kernels.pairLanes, columns.size() - panel);
      TakeSeconds(columns.subspan(panel, lanes));
      engine::Pairs job = Job();
      job.firstPresent = &present;
      RunKernel(job);
      for (Index lane = 0; lane < lanes; ++lane) visit(panel + lane, _work.sums[0], lane);
    }
  }

  void SummariseColumns() {
    _work.mins.assign(_count, maxvalue);
    _work.maxs.assign(_count, minvalue);
    if (_extremes == Extremes::kWanted) {
      const engine::Columns run{_input.run.base, _input.run.stride, _count, _rows};
      _kernels.extremes(run, _input.missing, _work.mins.data(), _work.maxs.data());
    }
    _work.own.resize(_count);

    _work.second.resize(_count);
    for (Index col = 0; col < _count; ++col) _work.second[col] = col;
    _work.common.assign(Words(), ~Word{0});
    if (_rows % kWordRows != 0) _work.common.back() >>= kWordRows - _rows % kWordRows;
    ForEachColumn(_work.second, _work.common.data(),
                  [this](Index col, const engine::PairSums& sums, Index lane) {
                    ColumnSummary& own = _work.own[col];
                    own = SummaryOf(sums, lane);
                    own.min = _work.mins[col];
                    own.max = _work.maxs[col];
                    _sink.TakeColumn(static_cast<unsigned int>(col), own);
                  });
  }

  static ColumnSummary SummaryOf(const engine::PairSums& sums, Index lane) {
    return {.rows = sums.count[lane],
            .weightSum = sums.weightSum[lane],
            .regWeightSum = sums.combinedSum[lane],
            .mean = sums.mean1[lane],
            .css = sums.css1[lane],
            .min = maxvalue,
            .max = minvalue};
  }

  bool Wanted(Index first, Index second) const { return !_triangle || first > second; }

  void Take(Index first, Index second, const PairSummary& summary) {
    _sink.TakePair(static_cast<unsigned int>(first), static_cast<unsigned int>(second - _secondBegin),
                   summary);
  }

  /// All pairs of which at least one column belongs to no class.
  void PairSingles() {
    const auto seconds = [this](bool grouped) {
      _work.second.clear();
      for (Index col = _secondBegin; col < _secondBegin + _pairing.secondCount; ++col) {
        if (_work.classes.InClass(col) == grouped) _work.second.push_back(col);
      }
    };
    seconds(false);
    PairPanels(true);
    seconds(true);
    PairPanels(false);
  }

  /// Each of the second columns with all the first ones, or with those alone that belong to no class.
  void PairPanels(bool withGrouped) {
    for (Index panel = 0; panel < _work.second.size(); panel += _kernels.pairLanes) {
      const std::span columns = std::span(_work.second).subspan(panel);
      const auto seconds = columns.first(std::min(_kernels.pairLanes, columns.size()));
      _work.first.clear();
      for (Index col = 0; col < _pairing.firstCount; ++col) {
        if ((withGrouped || !_work.classes.InClass(col)) && Wanted(col, seconds.front()))
          _work.first.push_back(col);
      }
      TakeSeconds(seconds);
      for (Index first = 0; first < _work.first.size(); first += kFirstColumns) {
        const std::span some = std::span(_work.first).subspan(first);
        PairPanel(some.first(std::min(kFirstColumns, some.size())), seconds);
      }
    }
  }

  void PairPanel(std::span<const Index> firsts, std::span<const Index> seconds) {
    _work.firstColumns.clear();
    _work.firstPresent.clear();
    for (const Index col : firsts) {
      _work.firstColumns.push_back(_work.columns[col]);
      _work.firstPresent.push_back(Present(col));
    }
    engine::Pairs job = Job();
    job.first = _work.firstColumns.data();
    job.firstPresent = _work.firstPresent.data();
    job.firstCount = firsts.size();
    RunKernel(job);
    for (Index k = 0; k < firsts.size(); ++k) {
      const engine::PairSums& sums = _work.sums[k];
      for (Index lane = 0; lane < seconds.size(); ++lane) {
        if (!Wanted(firsts[k], seconds[lane])) continue;
        Take(firsts[k], seconds[lane],
             {.rows = sums.count[lane],
              .weightSum = sums.weightSum[lane],
              .regWeightSum = sums.combinedSum[lane],
              .mean0 = sums.mean0[lane],
              .mean1 = sums.mean1[lane],
              .css0 = sums.css0[lane],
              .css1 = sums.css1[lane],
              .cscp = sums.cscp[lane]});
      }
    }
  }

  void PairClasses() {
    const PresenceClasses& classes = _work.classes;
    for (Index a = 0; a < classes.Classes(); ++a) {
      if (classes.Members(a).front() >= _pairing.firstCount) continue;
      // Of two classes of a triangle either may hold the later column of a pair, so both orders are done at once.
      for (Index b = _triangle ? a : 0; b < classes.Classes(); ++b) {
        if (classes.Members(b).front() >= _secondBegin)
          PairTwoClasses(classes.Members(a), classes.Members(b));
      }
    }
  }

  /// The pairs between two classes, which may be one and the same, in their common rows.
  void PairTwoClasses(std::span<const Index> a, std::span<const Index> b) {
    const bool same = a.data() == b.data();
    const Word* presentA = Present(a.front());
    const Word* presentB = Present(b.front());
    _work.common.resize(Words());
    for (Index word = 0; word < Words(); ++word) _work.common[word] = presentA[word] & presentB[word];

    // The columns in the rows that all pairs of the two have in common: a's, then b's.
    _work.shared.resize(a.size() + b.size());
    const auto share = [this](std::span<const Index> columns, Index offset) {
      ForEachColumn(columns, _work.common.data(),
                    [this, offset](Index k, const engine::PairSums& sums, Index lane) {
                      _work.shared[offset + k] = SummaryOf(sums, lane);
                    });
    };
    const Index offset = same ? 0 : a.size();
    if (same) {
      for (Index k = 0; k < a.size(); ++k) _work.shared[k] = _work.own[a[k]];
    } else {
      share(a, 0);
      share(b, offset);
    }

    MultiplyClasses(a, b, same);
    const auto pair = [this](Index first, const ColumnSummary& x, Index second, const ColumnSummary& y,
                             double cscp) {
      Take(first, second,
           {.rows = x.rows,
            .weightSum = x.weightSum,
            .regWeightSum = x.regWeightSum,
            .mean0 = x.mean,
            .mean1 = y.mean,
            .css0 = x.css,
            .css1 = y.css,
            .cscp = cscp});
    };
    const auto& shared = _work.shared;
    for (Index i = 0; i < a.size(); ++i) {
      for (Index j = 0; j < (same ? i : b.size()); ++j) {
        if (Wanted(a[i], b[j])) {
          pair(a[i], shared[i], b[j], shared[offset + j],
               _work.cells[same ? StrictTriangleRow(i) + j : i * b.size() + j]);
        } else {
          pair(b[j], shared[offset + j], a[i], shared[i], _work.transposedCells[j * a.size() + i]);
        }
      }
    }
  }

  /// Cross-products of the columns about their means in the common rows, some rows at a time.
  void MultiplyClasses(std::span<const Index> a, std::span<const Index> b, bool same) {
    _work.values.resize((a.size() + (same ? 0 : b.size())) * kClassRows + engine::kMaxPairLanes);
    _work.weights.resize(kClassRows + engine::kMaxPairLanes);
    _work.cells.assign(a.size() * b.size(), 0.0);
    _work.transposedCells.assign(same || !_triangle ? 0 : a.size() * b.size(), 0.0);
    for (Index row = 0; row < _rows; row += kClassRows) {
      const Index count = std::min(kClassRows, _rows - row);
      const Word* present = _work.common.data() + row / kWordRows;
      Index rows = 0;
      double* to = _work.values.data();
      const auto compact = [&](std::span<const Index> columns, const ColumnSummary* summaries) {
        for (Index k = 0; k < columns.size(); ++k, to += kClassRows) {
          rows = _kernels.compact(_work.columns[columns[k]] + row, present, count, summaries[k].mean, to);
        }
      };
      compact(a, _work.shared.data());
      if (!same) compact(b, _work.shared.data() + a.size());
      if (_combined) _kernels.compact(_combined + row, present, count, 0.0, _work.weights.data());
      if (rows == 0) continue;

      const engine::Columns runA{_work.values.data(), kClassRows, a.size(), rows};
      const engine::Columns runB{same ? runA.base : runA.base + a.size() * kClassRows, kClassRows, b.size(),
                                 rows};
      if (same) {
        Multiply(runA, runA, engine::Shape::kStrictTriangle, _work.cells);
      } else if (!_triangle) {
        Multiply(runA, runB, engine::Shape::kRectangle, _work.cells);
      } else {
        FindWidths(a, b);
        Multiply(runA, runB, engine::Shape::kStaircase, _work.cells);
        FindWidths(b, a);
        Multiply(runB, runA, engine::Shape::kStaircase, _work.transposedCells);
      }
    }
  }

  /// For each first column the number of second ones before it.
  void FindWidths(std::span<const Index> first, std::span<const Index> second) {
    _work.widths.resize(first.size());
    Index width = 0;
    for (Index k = 0; k < first.size(); ++k) {
      while (width < second.size() && second[width] < first[k]) ++width;
      _work.widths[k] = width;
    }
  }

  void Multiply(const engine::Columns& left, const engine::Columns& right, engine::Shape shape,
                std::vector<double>& cells) {
    engine::CrossProducts job{.left = left,
                              .right = right,
                              .shape = shape,
                              .weights = _combined ? _work.weights.data() : nullptr,
                              .cells = cells.data(),
                              .cellStride = 1};
    job.widths = _work.widths.data();
    job.resume = true;
    _kernels.crossProducts(job, Scratch(_kernels.crossProductScratch(job)));
  }

  const engine::Kernels& _kernels;
  const PairInput& _input;
  const Pairing& _pairing;
  bool _triangle;
  Index _count;
  Index _secondBegin;
  Index _rows;
  Extremes _extremes;
  SummarySink& _sink;
  Workspace& _work;
  const double* _combined = nullptr;
};

}  // namespace

void ReservePairs(unsigned int columns, unsigned int rows) {
  if (const engine::Kernels* kernels = EngineFor(columns, rows))
    ThreadWorkspace().Reserve(*kernels, columns, rows);
}

bool SummarisePairs(const PairInput& input, const Pairing& pairing, Extremes extremes, SummarySink& sink) {
  const engine::Kernels* kernels = EngineFor(input.run.columns, input.run.rows);
  if (!kernels) return false;
  ReservePairs(input.run.columns, input.run.rows);
  PairBatch(*kernels, input, pairing, extremes, sink, ThreadWorkspace()).Run();
  return true;
}

}  // namespace vexa
