// Every accumulator over a grid of shapes: batches added to one that already holds data, as in a stream, and two of
// them merged.

#include <benchmark/benchmark.h>

#include <string>

#include "batches.h"
#include "clock.h"
#include "kinds.h"

namespace {

using bench::Kind;
using bench::Missing;
using bench::Shape;
using benchmark::Counter;

constexpr unsigned int kColumns[] = {4, 16, 64, 256, 480};
constexpr unsigned int kRows[] = {64, 1024, 4096};
constexpr unsigned int kGroups = 10;

std::string Name(const char* accumulator, const Shape& shape) {
  std::string name =
      std::string(accumulator) + "/" + std::to_string(shape.rows) + "x" + std::to_string(shape.columns);
  if (shape.weighted) name += "/weighted";
  if (shape.missing == Missing::kScattered) name += "/scattered";
  if (shape.missing == Missing::kShared) name += "/patterns";
  return name;
}

Counter PerSecond(double count) { return {count, Counter::kIsIterationInvariantRate}; }

template <class Accumulator>
void AddBatch(benchmark::State& state, const Shape& shape) {
  const bench::Rows rows(shape);
  typename Kind<Accumulator>::BatchType batch(rows);
  const auto accumulator = Kind<Accumulator>::Make(shape);
  *accumulator += *batch;
  while (state.KeepRunning()) {
    batch.Restore();
    state.SetIterationTime(bench::Seconds([&] { *accumulator += *batch; }));
  }
  const double work = shape.rows * Kind<Accumulator>::Cells(shape);
  state.counters["rows×cells"] = PerSecond(work);
  if (const double operations = Kind<Accumulator>::Operations(shape); operations > 0.0) {
    state.counters["flop"] = PerSecond(work * operations);
  }
}

template <class Accumulator>
void Merge(benchmark::State& state, const Shape& shape) {
  const bench::Rows rows(shape);
  typename Kind<Accumulator>::BatchType batch(rows);
  const auto target = Kind<Accumulator>::Make(shape);
  const auto source = Kind<Accumulator>::Make(shape);
  *target += *batch;
  batch.Restore();
  *source += *batch;
  while (state.KeepRunning()) *target += *source;
  state.counters["cells"] = PerSecond(Kind<Accumulator>::Cells(shape));
}

template <class Accumulator>
void Register(unsigned int groups, std::initializer_list<Missing> missing) {
  const char* const kind = Kind<Accumulator>::kName;
  for (const unsigned int columns : kColumns) {
    for (const unsigned int rows : kRows) {
      for (const bool weighted : {false, true}) {
        for (const Missing pattern : missing) {
          const Shape shape{rows, columns, weighted, pattern, groups};
          benchmark::RegisterBenchmark(
              Name(kind, shape).c_str(),
              [shape](benchmark::State& state) { AddBatch<Accumulator>(state, shape); })
              ->UseManualTime()
              ->Unit(benchmark::kMicrosecond);
        }
      }
    }
    const Shape shape{100, columns, true, *(missing.end() - 1), groups};
    const std::string name = std::string(kind) + "/merge/" + std::to_string(columns);
    benchmark::RegisterBenchmark(name.c_str(), [shape](benchmark::State& state) {
      Merge<Accumulator>(state, shape);
    })->Unit(benchmark::kMicrosecond);
  }
}

const bool kRegistered = [] {
  const std::initializer_list<Missing> complete = {Missing::kNone};
  const std::initializer_list<Missing> all = {Missing::kNone, Missing::kShared, Missing::kScattered};
  Register<vexa::MatrixListwise>(0, complete);
  Register<vexa::SMatrixListwise>(0, complete);
  Register<vexa::NSMatrixListwise>(0, complete);
  Register<vexa::MatrixPairwise>(0, all);
  Register<vexa::SMatrixPairwise>(0, all);
  Register<vexa::NSMatrixPairwise>(0, all);
  Register<vexa::DiscriminantMatrix>(kGroups, complete);
  Register<vexa::DiscIndividualMatrix>(kGroups, complete);
  return true;
}();

}  // namespace
