#include "lines.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <numeric>
#include <optional>
#include <thread>

#include "batches.h"
#include "blas.h"
#include "clock.h"
#include "driverpass.h"
#include "kinds.h"
#include "tests/support/statistics.h"
#include "yardsticks.h"

namespace bench {

namespace {

using Values = std::vector<double>;

/// What a batch may fill of the cache, for the recommended capacity.
constexpr std::uint64_t kCacheSize = 2 << 20;

const char* Missingness(const Shape& shape) {
  switch (shape.missing) {
    case Missing::kNone:
      return "";
    case Missing::kScattered:
      return ", 10 % missing";
    case Missing::kShared:
      return ", 5 patterns";
  }
  return "";
}

std::string Text(const Shape& shape) {
  return std::to_string(shape.rows) + " × " + std::to_string(shape.columns) + Missingness(shape) +
         (shape.weighted ? "" : ", no weights");
}

/// Batches of the same rows, each added to an empty accumulator of its own.
template <class Accumulator>
class Accumulation {
 public:
  explicit Accumulation(const Shape& shape, unsigned int copies = 1) : _rows(shape), _accumulators(copies) {
    for (unsigned int copy = 0; copy < copies; ++copy) {
      _batches.push_back(std::make_unique<typename Kind<Accumulator>::BatchType>(_rows));
    }
  }

  void Prepare() {
    for (const auto& batch : _batches) batch->Restore();
    for (auto& accumulator : _accumulators) accumulator = Kind<Accumulator>::Make(_rows.shape);
  }
  void Work() {
    for (std::size_t copy = 0; copy < _batches.size(); ++copy) *_accumulators[copy] += **_batches[copy];
  }
  Values Result() {
    Prepare();
    Work();
    return Statistics(*_accumulators.front());
  }
  double Copies() const { return static_cast<double>(_batches.size()); }

  /// The first batch, as it was at first, for other work on the same memory.
  auto& RestoredBatch() {
    _batches.front()->Restore();
    return **_batches.front();
  }

 private:
  Rows _rows;
  std::vector<std::unique_ptr<typename Kind<Accumulator>::BatchType>> _batches;
  std::vector<std::unique_ptr<Accumulator>> _accumulators;
};

/// A candidate out of something that has Prepare() and Work(), which it keeps alive.
template <class Subject>
Candidate CandidateOf(const std::shared_ptr<Subject>& subject, const char* level = nullptr) {
  Candidate candidate;
  candidate.prepare = [subject] { subject->Prepare(); };
  candidate.work = [subject] { subject->Work(); };
  candidate.level = level;
  return candidate;
}

/// A line whose work is to add batches to an accumulator, without what it is compared with.
template <class Accumulator>
Line AddingBatches(const std::shared_ptr<Accumulation<Accumulator>>& adding, const Shape& shape) {
  Line line;
  line.work = Kind<Accumulator>::kName;
  line.shape = Text(shape);
  line.ours = CandidateOf(adding);
  line.ours.copies = adding->Copies();
  line.operations = shape.rows * Kind<Accumulator>::Cells(shape) * Kind<Accumulator>::Operations(shape);
  line.result = [adding] { return adding->Result(); };
  return line;
}

template <class Accumulator>
Line AgainstPlain(const Shape& shape, unsigned int copies) {
  const auto adding = std::make_shared<Accumulation<Accumulator>>(shape, copies);
  Line line = AddingBatches(adding, shape);
  line.against = "plain loops";
  line.theirs = CandidateOf(adding, "plain");
  line.theirs.copies = adding->Copies();
  return line;
}

enum class Routine { kDsyrk, kDgemm };

/// The batch of an accumulation handed to one of OpenBLAS's kernels.
template <class Accumulator>
class BlasProduct {
 public:
  BlasProduct(std::shared_ptr<Accumulation<Accumulator>> adding, const Shape& shape, Routine routine)
      : _adding(std::move(adding)), _cells(std::size_t{shape.columns} * shape.columns), _routine(routine) {}

  void Prepare() {
    auto& batch = _adding->RestoredBatch();
    _run = {batch.Column(0), static_cast<int>(batch.MaxRows()), static_cast<int>(batch.NColumns()),
            static_cast<int>(batch.NRows())};
  }
  void Work() {
    _routine == Routine::kDsyrk ? blas::Dsyrk(_run, _cells.data()) : blas::Dgemm(_run, _cells.data());
  }
  bool IsRight() {
    Prepare();
    Work();
    return _routine == Routine::kDsyrk ? blas::RightDsyrk(_run, _cells.data())
                                       : blas::RightDgemm(_run, _cells.data());
  }

 private:
  std::shared_ptr<Accumulation<Accumulator>> _adding;
  Values _cells;
  Routine _routine;
  blas::Columns _run{};
};

template <class Accumulator>
Line AgainstBlas(const Shape& shape, Routine routine) {
  const auto adding = std::make_shared<Accumulation<Accumulator>>(shape);
  const auto product = std::make_shared<BlasProduct<Accumulator>>(adding, shape, routine);
  Line line = AddingBatches(adding, shape);
  line.against = routine == Routine::kDsyrk ? "OpenBLAS dsyrk" : "OpenBLAS dgemm";
  line.theirs = CandidateOf(product);
  line.theirsIsRight = [product] { return product->IsRight(); };
  return line;
}

/// Rows without missing values in MatrixListwise, as many as ours has.
template <class Accumulator>
Line AgainstListwise(const Shape& shape) {
  Line line = AddingBatches(std::make_shared<Accumulation<Accumulator>>(shape), shape);
  line.against = "MatrixListwise, none missing";
  const Shape complete{shape.rows, shape.columns};
  line.theirs = CandidateOf(std::make_shared<Accumulation<vexa::MatrixListwise>>(complete));
  return line;
}

/// The same accumulator with smaller batches, by the row.
template <class Accumulator>
Line AgainstFewerRows(const Shape& shape, unsigned int rows) {
  Line line = AddingBatches(std::make_shared<Accumulation<Accumulator>>(shape), shape);
  Shape smaller = shape;
  smaller.rows = rows;
  line.against = std::to_string(rows) + " rows, by the row";
  line.theirs = CandidateOf(std::make_shared<Accumulation<Accumulator>>(smaller));
  line.ours.units = shape.rows;
  line.theirs.units = rows;
  return line;
}

/// A copy of rows from one place in memory to another.
class Copying {
 public:
  explicit Copying(const Shape& shape) : _rows(shape), _to(_rows.values.size()) {}
  void Prepare() {}
  void Work() {
    std::memcpy(_to.data(), _rows.values.data(), _to.size() * sizeof(double));
    Keep(_to.data());
  }

 private:
  Rows _rows;
  Values _to;
};

/// Filling a batch from rows in memory.
template <class BatchType>
class Filling {
 public:
  explicit Filling(const Shape& shape) : _rows(shape), _batch(_rows, shape.rows) {}
  void Prepare() {}
  void Work() { _batch.Fill(); }

  /// Of a batch of its own, because one that has been asked for its columns fills more slowly.
  Values Result() const {
    BatchType batch(_rows, _rows.shape.rows);
    batch.Fill();
    Values values;
    for (unsigned int col = 0; col < _rows.shape.columns; ++col) {
      const double* column = (*batch).Column(col);
      values.insert(values.end(), column, column + _rows.shape.rows);
    }
    return values;
  }
  Values Expected() const {
    std::vector<unsigned int> order(_rows.shape.rows);
    std::iota(order.begin(), order.end(), 0U);
    if (!_rows.groups.empty()) {
      std::stable_sort(order.begin(), order.end(),
                       [this](unsigned int a, unsigned int b) { return _rows.groups[a] < _rows.groups[b]; });
    }
    Values values;
    for (unsigned int col = 0; col < _rows.shape.columns; ++col) {
      for (const unsigned int row : order) values.push_back(_rows.Row(row)[col]);
    }
    return values;
  }

 private:
  Rows _rows;
  BatchType _batch;
};

template <class BatchType>
Line AgainstCopy(const std::string& work, unsigned int columns, unsigned int groups) {
  const std::uint64_t rowSize = vexa::DataBatch::RowSize(columns, false, false, groups > 0);
  const Shape shape{vexa::RecommendedRows(kCacheSize, rowSize), columns, false, Missing::kNone, groups};
  const auto filling = std::make_shared<Filling<BatchType>>(shape);
  Line line;
  line.work = work;
  line.shape = std::to_string(shape.rows) + " × " + std::to_string(columns);
  line.against = "copy of the same bytes";
  line.ours = CandidateOf(filling);
  line.theirs = CandidateOf(std::make_shared<Copying>(shape));
  line.result = [filling] { return filling->Result(); };
  line.expected = [filling] { return filling->Expected(); };
  return line;
}

/// One matrix merged into another again and again.
class Merging {
 public:
  explicit Merging(unsigned int columns) : _rows({500, columns}), _batch(_rows) {
    Add(_target);
    Add(_source);
  }
  void Prepare() {}
  void Work() { _target += _source; }

  Values Result() {
    vexa::MatrixListwise target;
    vexa::MatrixListwise source;
    Add(target);
    Add(target);
    Add(source);
    target += source;
    return Statistics(target);
  }

 private:
  void Add(vexa::MatrixListwise& matrix) {
    _batch.Restore();
    matrix += *_batch;
  }

  Rows _rows;
  Batch _batch;
  vexa::MatrixListwise _target;
  vexa::MatrixListwise _source;
};

class Addition {
 public:
  explicit Addition(std::size_t cells) : _x(cells, 1.0), _y(cells, 1e-9) {}
  void Prepare() {}
  void Work() {
    Separate().add(_x.data(), _y.data(), _x.size());
    Keep(_x.data());
  }

 private:
  Values _x;
  Values _y;
};

Line MergeAgainstAddition(unsigned int columns) {
  const auto merging = std::make_shared<Merging>(columns);
  const auto cells = static_cast<std::size_t>(Triangle(columns));
  Line line;
  line.work = "merge of two MatrixListwise";
  line.shape = std::to_string(columns) + " columns";
  line.against = "a[k] += b[k], as many cells";
  line.ours = CandidateOf(merging);
  line.theirs = CandidateOf(std::make_shared<Addition>(cells));
  line.result = [merging] { return merging->Result(); };
  return line;
}

/// A run of the driver over rows in memory.
class Driving {
 public:
  Driving(std::shared_ptr<const Rows> rows, int threads) : _rows(std::move(rows)), _threads(threads) {}
  void Prepare() { _pass.emplace(*_rows, Capacity(1024)); }
  void Work() { vexa::Driver(&*_pass, _threads); }

  Values Result() {
    Prepare();
    Work();
    return Statistics(_pass->Sums());
  }
  Values Expected() const {
    vexa::MatrixListwise sums;
    _pass->Replay(sums);
    return Statistics(sums);
  }

 private:
  std::shared_ptr<const Rows> _rows;
  int _threads;
  std::optional<DriverPass> _pass;
};

Line TwoThreadsAgainstOne(const Shape& shape) {
  const auto rows = std::make_shared<const Rows>(shape);
  const auto two = std::make_shared<Driving>(rows, 2);
  Line line;
  line.work = "Driver on 2 threads, MatrixListwise";
  line.shape = Text(shape);
  line.against = "1 thread";
  line.ours = CandidateOf(two);
  line.theirs = CandidateOf(std::make_shared<Driving>(rows, 1));
  line.ours.clock = line.theirs.clock = Clock::kWall;
  line.result = [two] { return two->Result(); };
  line.expected = [two] { return two->Expected(); };
  return line;
}

Line SeparateAgainstFused() {
  constexpr long kSteps = 100'000;
  Line line;
  line.work = "multiply, then add, in registers";
  line.shape = "peak of the core";
  line.against = "fused multiply-add";
  line.ours.prepare = line.theirs.prepare = [] {};
  line.ours.work = [] { Separate().chains(kSteps); };
  line.theirs.work = [] { Fused()->chains(kSteps); };
  line.operations = static_cast<double>(kSteps) * Separate().operationsOfStep;
  return line;
}

class Table {
 public:
  void Add(const std::string& name, double limit, double aim, const std::function<Line()>& make) {
    _entries.push_back({name, false, [=] {
                          Line line = make();
                          line.limit = limit;
                          line.aim = aim;
                          return line;
                        }});
  }
  template <class Accumulator>
  void AddPlain(const std::string& name, double limit, double aim, const Shape& shape,
                unsigned int copies = 1) {
    Add(name, limit, aim, [=] { return AgainstPlain<Accumulator>(shape, copies); });
  }
  template <class Accumulator>
  void AddBlas(const std::string& name, double limit, double aim, const Shape& shape,
               Routine routine = Routine::kDsyrk) {
    if (!blas::kHere) return;
    Add(name, limit, aim, [=] { return AgainstBlas<Accumulator>(shape, routine); });
    _entries.back().blas = true;
  }
  std::vector<Entry> Take() { return std::move(_entries); }

 private:
  std::vector<Entry> _entries;
};

void AddListwise(Table& table) {
  using vexa::MatrixListwise;
  table.AddBlas<MatrixListwise>("listwise-480-dsyrk", 1.10, 0.85, {4096, 480});
  table.AddPlain<MatrixListwise>("listwise-480-plain", 0, 0, {4096, 480});
  table.AddBlas<MatrixListwise>("listwise-32-dsyrk", 1.0, 0.7, {16384, 32});
  table.AddPlain<MatrixListwise>("listwise-32-plain", 0, 0, {16384, 32});
  table.AddPlain<MatrixListwise>("listwise-8-plain", 0.2, 0, {4096, 8});
  table.AddPlain<MatrixListwise>("listwise-3-plain", 1.2, 0, {64, 3}, 64);
  table.AddBlas<vexa::SMatrixListwise>("slistwise-480-dsyrk", 0, 0, {4096, 480});
  table.AddBlas<vexa::NSMatrixListwise>("nslistwise-480-dgemm", 1.15, 0.95, {4096, 480}, Routine::kDgemm);
  const Shape grouped{4096, 240, true, Missing::kNone, 10};
  table.AddBlas<vexa::DiscriminantMatrix>("discriminant-240-dsyrk", 1.5, 1.1, grouped);
  table.AddBlas<vexa::DiscIndividualMatrix>("individual-240-dsyrk", 1.5, 1.1, grouped);
  table.AddPlain<vexa::DiscriminantMatrix>("discriminant-240-plain", 0, 0, grouped);
  table.AddPlain<vexa::DiscIndividualMatrix>("individual-240-plain", 0, 0, grouped);
}

template <class Accumulator>
void AddPairwise(Table& table, const std::string& name) {
  const Shape scattered{2048, 128, true, Missing::kScattered};
  table.AddPlain<Accumulator>(name + "-scattered-plain", 1.0 / 15, 1.0 / 30, scattered);
  table.Add(name + "-complete-listwise", 1.3, 0, [] { return AgainstListwise<Accumulator>({2048, 128}); });
  table.Add(name + "-patterns-listwise", 3.0, 0, [] {
    return AgainstListwise<Accumulator>({2048, 128, true, Missing::kShared});
  });
  table.Add(name + "-long-batch", 1.0, 0, [] {
    return AgainstFewerRows<Accumulator>({20000, 128, true, Missing::kScattered}, 2048);
  });
}

void AddFilling(Table& table) {
  for (const unsigned int columns : {10U, 50U, 200U, 500U}) {
    const std::string number = std::to_string(columns);
    table.Add("addrow-" + number, 2.0, 0, [=] { return AgainstCopy<Batch>("AddRow", columns, 0); });
    table.Add("sortbygroup-" + number, 5.0, 0,
              [=] { return AgainstCopy<GroupedBatch>("NextRow, AddRow, SortByGroup", columns, 10); });
  }
}

}  // namespace

std::vector<Entry> Lines() {
  Table table;
  if (Fused()) table.Add("peak", 0, 0, SeparateAgainstFused);
  AddListwise(table);
  AddPairwise<vexa::MatrixPairwise>(table, "pairwise");
  AddPairwise<vexa::SMatrixPairwise>(table, "spairwise");
  table.AddPlain<vexa::NSMatrixPairwise>("nspairwise-scattered-plain", 0, 0,
                                         {2048, 128, true, Missing::kScattered});
  table.AddPlain<vexa::MatrixPairwise>("pairwise-unweighted-plain", 0, 0,
                                       {2048, 128, false, Missing::kScattered});
  AddFilling(table);
  table.Add("merge-480", 2.0, 0, [] { return MergeAgainstAddition(480); });
  if (std::thread::hardware_concurrency() >= 2) {
    table.Add("driver-480", 1 / 1.85, 0, [] { return TwoThreadsAgainstOne({32768, 480}); });
  }
  return table.Take();
}

}  // namespace bench
