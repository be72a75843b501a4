#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>

#include "vexa/engine/engine.h"

/// Any of the benchmark programs: Google Benchmark's options, and before them `--level LEVEL` for the engine's kernels
/// instead of the best ones of this machine.
int main(int argc, char** argv) {
  if (argc > 2 && std::strcmp(argv[1], "--level") == 0) {
    if (!vexa::engine::Force(argv[2])) {
      std::fprintf(stderr, "%s: this machine has no level %s\n", argv[0], argv[2]);
      return 2;
    }
    argv[2] = argv[0];
    argc -= 2;
    argv += 2;
  }
  const vexa::engine::Kernels* active = vexa::engine::Active();
  benchmark::AddCustomContext("engine", active ? active->name : "plain");
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
}
