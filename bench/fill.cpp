// The way of rows into batches: the recommended capacity, the next one that is a multiple of 4 KiB of a column, and a copy
// of the same bytes.

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

#include "batches.h"

namespace {

constexpr std::uint64_t kCacheSize = 2 << 20;
constexpr unsigned int kColumns[] = {1, 10, 50, 200, 500};
constexpr unsigned int kRowsOf4KiB = 512;

void CountBytes(benchmark::State& state, const bench::Shape& shape) {
  const std::size_t bytes = std::size_t{shape.rows} * shape.columns * sizeof(double);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
  state.counters["values"] = {static_cast<double>(shape.rows) * shape.columns,
                              benchmark::Counter::kIsIterationInvariantRate};
}

template <class BatchType>
void Fill(benchmark::State& state, const bench::Shape& shape) {
  const bench::Rows rows(shape);
  BatchType batch(rows, shape.rows);
  while (state.KeepRunning()) batch.Fill();
  CountBytes(state, shape);
}

void FillWatched(benchmark::State& state, const bench::Shape& shape) {
  const bench::Rows rows(shape);
  bench::Batch batch(rows, shape.rows);
  benchmark::DoNotOptimize((*batch).Column(0));
  while (state.KeepRunning()) batch.Fill();
  CountBytes(state, shape);
}

void FillInBulk(benchmark::State& state, const bench::Shape& shape) {
  const bench::Rows rows(shape);
  bench::Batch batch(rows, shape.rows);
  while (state.KeepRunning()) {
    (*batch).Clear();
    (*batch).AddRows(rows.values.data(), shape.rows, shape.columns);
  }
  CountBytes(state, shape);
}

void Copy(benchmark::State& state, const bench::Shape& shape) {
  const bench::Rows rows(shape);
  std::vector<double> to(rows.values.size());
  while (state.KeepRunning()) {
    std::memcpy(to.data(), rows.values.data(), to.size() * sizeof(double));
    benchmark::ClobberMemory();
  }
  CountBytes(state, shape);
}

void Register(const std::string& name, const bench::Shape& shape,
              void (*run)(benchmark::State& state, const bench::Shape& shape)) {
  const std::string full = name + "/" + std::to_string(shape.rows) + "x" + std::to_string(shape.columns) +
                           (shape.weighted ? "/weighted" : "");
  benchmark::RegisterBenchmark(full.c_str(), [=](benchmark::State& state) {
    run(state, shape);
  })->Unit(benchmark::kMicrosecond);
}

const bool kRegistered = [] {
  for (const unsigned int columns : kColumns) {
    for (const bool weighted : {false, true}) {
      const std::uint64_t rowSize = vexa::DataBatch::RowSize(columns, weighted, weighted, true);
      const unsigned int recommended = vexa::RecommendedRows(kCacheSize, rowSize);
      const unsigned int round = (recommended / kRowsOf4KiB + 1) * kRowsOf4KiB;
      for (const unsigned int rows : {recommended, round}) {
        const bench::Shape shape{rows, columns, weighted, bench::Missing::kNone, 10};
        Register("AddRow", shape, Fill<bench::Batch>);
        Register("AddRow, columns asked for", shape, FillWatched);
        Register("AddRows", shape, FillInBulk);
        Register("SortByGroup", shape, Fill<bench::GroupedBatch>);
        if (!weighted) Register("copy", shape, Copy);
      }
    }
  }
  return true;
}();

}  // namespace
