#include "pairbatch.h"

#include <algorithm>
#include <bit>
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
constexpr Index kFirstColumns = 128;

constexpr Index kClassMax = PresenceClasses::kMaxColumns;

/// Memory that is kept from batch to batch, so that nothing is allocated once all of it has grown.
struct Workspace {
  std::vector<double*> columns;
  std::vector<double> combined;
  PresenceClasses classes;
  std::vector<Index> first;
  std::vector<Index> second;
  std::vector<double*> firstColumns;
  std::vector<double*> secondColumns;
  std::vector<const Word*> firstPresent;
  std::vector<const Word*> secondPresent;
  std::vector<engine::PairSums> sums;
  std::vector<Word> common;
  std::vector<double> mins;
  std::vector<double> maxs;
  std::vector<double*> classColumns;  ///< of two classes
  std::vector<double> means;
  std::vector<double> squares;
  std::vector<Index> widths;
  std::vector<Index> mirroredWidths;
  std::vector<double> cells;
  std::vector<double> transposedCells;

  void Reserve(const engine::Kernels& kernels, Index count, Index rows) {
    const Index classMax = std::min(count, kClassMax);
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
    if (count >= PresenceClasses::kMinColumns) {
      classColumns.reserve(2 * classMax);
      means.reserve(2 * classMax);
      squares.reserve(2 * classMax);
      widths.reserve(classMax);
      mirroredWidths.reserve(classMax);
      cells.reserve(classMax * classMax);
      transposedCells.reserve(classMax * classMax);
    }

    engine::Pairs pairs{};
    pairs.firstCount = kFirstColumns;
    engine::CrossProducts products{};
    products.left.columns = classMax;
    products.right.columns = classMax;
    products.mirrored = transposedCells.data();
    const Index scratch = std::max(kernels.pairScratch(pairs), kernels.crossProductScratch(products));
    if (!Scratch(scratch)) throw std::bad_alloc();
  }
};

Workspace& ThreadWorkspace() {
  thread_local Workspace work;
  return work;
}

/// From so many rows on four columns are worth the engine.
constexpr Index kRowsOfFour = 64;

const engine::Kernels* EngineFor(Index columns, Index rows) {
  return engine::Worthwhile({nullptr, 0, columns, rows}, kRowsOfFour) ? engine::Active() : nullptr;
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
    if (!weights && !regWeights) return;
    _work.combined.assign(weights ? weights : regWeights, (weights ? weights : regWeights) + _rows);
    _combined = _work.combined.data();
    for (Index row = 0; weights && regWeights && row < _rows; ++row) _combined[row] *= regWeights[row];
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

  /// The columns by themselves, but for those of a triangle's classes, which come with their pairs.
  void SummariseColumns() {
    _work.second.clear();
    for (Index col = 0; col < _count; ++col) {
      if (!_triangle || !_work.classes.InClass(col)) _work.second.push_back(col);
    }
    AllRows();
    for (Index panel = 0; panel < _work.second.size(); panel += _kernels.pairLanes) {
      const std::span columns = std::span(_work.second).subspan(panel);
      const auto seconds = columns.first(std::min(_kernels.pairLanes, columns.size()));
      const Word* present = _work.common.data();
      TakeSeconds(seconds);
      engine::Pairs job = Job();
      job.firstPresent = &present;
      RunKernel(job);
      const engine::PairSums& sums = _work.sums.front();
      _work.mins.assign(seconds.size(), maxvalue);
      _work.maxs.assign(seconds.size(), minvalue);
      if (_extremes == Extremes::kWanted) {
        const engine::Columns run{nullptr, 0, seconds.size(), _rows, _work.secondColumns.data()};
        _kernels.extremes(run, _input.missing, _work.mins.data(), _work.maxs.data());
      }
      for (Index lane = 0; lane < seconds.size(); ++lane) {
        TakeColumn(seconds[lane], {.rows = sums.count[lane],
                                   .weightSum = sums.weightSum[lane],
                                   .regWeightSum = sums.combinedSum[lane],
                                   .mean = sums.mean1[lane],
                                   .css = sums.css1[lane],
                                   .min = _work.mins[lane],
                                   .max = _work.maxs[lane]});
      }
    }
  }

  void TakeColumn(Index col, const ColumnSummary& summary) {
    _sink.TakeColumn(static_cast<unsigned int>(col), summary);
  }

  void AllRows() {
    _work.common.assign(Words(), ~Word{0});
    if (_rows % kWordRows != 0) _work.common.back() >>= kWordRows - _rows % kWordRows;
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
      // In a triangle the first columns that lie within the panel have no pairs with its later ones, and half a panel takes
      // half the time.
      std::span<const Index> firsts = _work.first;
      const Index half = _kernels.pairLanes / 2;
      if (half < seconds.size()) {
        const auto wanted = std::find_if(firsts.begin(), firsts.end(),
                                         [&](Index first) { return Wanted(first, seconds[half]); });
        const auto narrow = static_cast<Index>(wanted - firsts.begin());
        PairPanel(firsts.first(narrow), seconds.first(half));
        firsts = firsts.subspan(narrow);
      }
      PairPanel(firsts, seconds);
    }
  }

  void PairPanel(std::span<const Index> firsts, std::span<const Index> seconds) {
    TakeSeconds(seconds);
    for (Index first = 0; first < firsts.size(); first += kFirstColumns) {
      const std::span some = firsts.subspan(first);
      PairSome(some.first(std::min(kFirstColumns, some.size())), seconds);
    }
  }

  void PairSome(std::span<const Index> firsts, std::span<const Index> seconds) {
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
    const Index offset = same ? 0 : a.size();
    _work.classColumns.clear();
    for (const Index col : a) _work.classColumns.push_back(_work.columns[col]);
    for (const Index col : b.first(same ? 0 : b.size())) _work.classColumns.push_back(_work.columns[col]);
    const ColumnSummary common = SummariseClasses(Present(a.front()), Present(b.front()), same);
    MultiplyClasses(a, b, same);

    const auto take = [&](Index first, Index firstAt, std::span<const Index> seconds, Index secondsAt,
                          const double* cscps) {
      _sink.TakePairs({.first = static_cast<unsigned int>(first),
                       .seconds = seconds,
                       .common = {.rows = common.rows,
                                  .weightSum = common.weightSum,
                                  .regWeightSum = common.regWeightSum,
                                  .mean0 = _work.means[firstAt],
                                  .mean1 = 0.0,
                                  .css0 = _work.squares[firstAt],
                                  .css1 = 0.0,
                                  .cscp = 0.0},
                       .means1 = _work.means.data() + secondsAt,
                       .css1 = _work.squares.data() + secondsAt,
                       .cscps = cscps});
    };
    for (Index i = 0; i < a.size(); ++i) {
      if (same) {
        ColumnSummary own = common;
        own.mean = _work.means[i];
        own.css = _work.squares[i];
        if (_extremes == Extremes::kWanted && own.rows > 0) {
          own.min = _work.mins[i];
          own.max = _work.maxs[i];
        }
        TakeColumn(a[i], own);
        take(a[i], i, a.first(i), 0, _work.cells.data() + TriangleRow(i));
      } else {
        take(a[i], i, b.first(Before(a[i], b)), offset, _work.cells.data() + i * b.size());
      }
    }
    if (same || !_triangle) return;
    for (Index j = 0; j < b.size(); ++j)
      take(b[j], offset + j, a.first(Before(b[j], a)), 0, _work.transposedCells.data() + j * a.size());
  }

  /// How many of the second columns have a pair with the first one.
  Index Before(Index first, std::span<const Index> seconds) const {
    if (!_triangle) return seconds.size();
    return static_cast<Index>(std::lower_bound(seconds.begin(), seconds.end(), first) - seconds.begin());
  }

  /// Writes the means of the columns of two classes, and their extremes when these are the same one, and returns what all
  /// columns have in common.
  ColumnSummary SummariseClasses(const Word* presentA, const Word* presentB, bool same) {
    AllRows();
    Index rows = 0;
    for (Index word = 0; word < Words(); ++word) {
      _work.common[word] &= presentA[word] & presentB[word];
      rows += static_cast<Index>(std::popcount(_work.common[word]));
    }
    _present = rows == _rows ? nullptr : _work.common.data();
    _work.means.resize(_work.classColumns.size());
    const bool extremes = same && _extremes == Extremes::kWanted;
    _work.mins.resize(_work.classColumns.size());
    _work.maxs.resize(_work.classColumns.size());
    const double* own = _input.weights ? _input.weights : _input.regWeights;
    const engine::WeightSums sums = _kernels.summarise({.run = ClassColumns(0, _work.classColumns.size()),
                                                        .own = own,
                                                        .regWeights = nullptr,
                                                        .weights = _combined,
                                                        .means = _work.means.data(),
                                                        .mins = extremes ? _work.mins.data() : nullptr,
                                                        .maxs = extremes ? _work.maxs.data() : nullptr,
                                                        .present = _present});
    ColumnSummary common{};
    common.min = maxvalue;
    common.max = minvalue;
    common.rows = static_cast<unsigned int>(rows);
    common.weightSum = _input.weights ? sums.own : static_cast<double>(rows);
    common.regWeightSum = sums.combined;
    return common;
  }

  engine::Columns ClassColumns(Index first, Index count) const {
    return {nullptr, 0, count, _rows, _work.classColumns.data() + first};
  }

  /// Cross-products of the columns about their means in the common rows, and the columns' sums of squares. These are the
  /// diagonal of a triangle, the definition of both being the same.
  void MultiplyClasses(std::span<const Index> a, std::span<const Index> b, bool same) {
    _work.squares.assign(_work.classColumns.size(), 0.0);
    _work.cells.resize(a.size() * b.size());
    Class left{ClassColumns(0, a.size()), {.means = _work.means.data()}};
    if (same) {
      Multiply(left, left, engine::Shape::kTriangle, _work.cells);
      for (Index k = 0; k < a.size(); ++k) _work.squares[k] = _work.cells[TriangleRow(k) + k];
      return;
    }
    const Class right{ClassColumns(a.size(), b.size()),
                      {.means = _work.means.data() + a.size(), .squares = _work.squares.data() + a.size()}};
    left.centring.squares = _work.squares.data();
    if (!_triangle) {
      Multiply(left, right, engine::Shape::kRectangle, _work.cells);
      return;
    }
    // Either class may have the later column of a pair, which is the first factor.
    _work.transposedCells.resize(a.size() * b.size());
    FindWidths(a, b, _work.widths);
    FindWidths(b, a, _work.mirroredWidths);
    Multiply(left, right, engine::Shape::kStaircase, _work.cells);
  }

  /// For each first column the number of second ones before it.
  static void FindWidths(std::span<const Index> first, std::span<const Index> second,
                         std::vector<Index>& widths) {
    widths.resize(first.size());
    Index width = 0;
    for (Index k = 0; k < first.size(); ++k) {
      while (width < second.size() && second[width] < first[k]) ++width;
      widths[k] = width;
    }
  }

  struct Class {
    engine::Columns columns;
    engine::Centring centring;
  };

  void Multiply(const Class& left, const Class& right, engine::Shape shape, std::vector<double>& cells) {
    const bool mirrored = shape == engine::Shape::kStaircase && _work.mirroredWidths.back() != 0;
    const engine::CrossProducts job{.left = left.columns,
                                    .right = right.columns,
                                    .shape = shape,
                                    .weights = _combined,
                                    .cells = cells.data(),
                                    .cellStride = 1,
                                    .leftCentring = left.centring,
                                    .rightCentring = right.centring,
                                    .widths = _work.widths.data(),
                                    .mirrored = mirrored ? _work.transposedCells.data() : nullptr,
                                    .mirroredWidths = _work.mirroredWidths.data(),
                                    .present = _present};
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
  double* _combined = nullptr;
  const Word* _present = nullptr;  ///< of two classes; null when no row is left out
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
