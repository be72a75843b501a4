#include "pass/setup.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <utility>

#include "pass/levelsamples.h"
#include "pass/origin.h"
#include "pass/workers.h"
#include "vexa/databatch.h"
#include "vexa/instructionset.h"

namespace pass {
namespace {

// Accumulators in a worker's hands: the one in work, and two neighbours that it is about to merge.
constexpr std::uint64_t kStatesEach = 3;

Shape ShapeOf(Kind kind, const Columns& columns, const Levels* levels) {
  return {kind, columns.variables.size(), columns.leftRun, levels != nullptr ? levels->Size() : 0};
}

std::vector<double> Origins(const table::Input& input, const std::vector<std::size_t>& variables) {
  std::vector<double> origins;
  origins.reserve(variables.size());
  for (const std::size_t col : variables) origins.push_back(Origin(input.Columns()[col].sample));
  return origins;
}

/// Those of each level's first rows in the head; `common` for a level without any.
std::vector<double> OriginsInHead(table::Input& input, const Columns& columns, const Options& options,
                                  const Levels& levels, const std::vector<double>& common) {
  LevelSamples samples(input, columns, options, levels);
  input.ReadHead([&](const table::Chunk& chunk) { samples.Take(chunk); });
  std::vector<double> origins;
  for (unsigned int level = 0; level < levels.Size(); ++level) {
    const std::vector<double> own = samples.Of(level).Origins();
    const std::vector<double>& chosen = own.empty() ? common : own;
    origins.insert(origins.end(), chosen.begin(), chosen.end());
  }
  return origins;
}

Memory MemoryOf(const Setup& setup, bool sortsByGroup) {
  const std::uint64_t rowBytes =
      vexa::DataBatch::RowSize(setup.variables, setup.columns.weight.has_value(),
                               setup.columns.regWeight.has_value(), setup.groups > 0);
  const std::uint64_t batch = setup.batchRows * rowBytes * (sortsByGroup ? 2 : 1);
  const std::uint64_t text = TextBytes(setup.input.Columns().size(), setup.chunkRows);
  const std::uint64_t state = StateBytes(setup.shape);
  const std::uint64_t chunks = setup.input.TotalBytes() > 0 ? setup.input.TotalBytes() / text + 1 : 1'024;
  return {.each = text + batch + kStatesEach * state, .shared = std::bit_width(chunks) * state};
}

}  // namespace

Setup::Setup(table::Input& theInput, const Columns& theColumns, const Options& theOptions,
             const Levels* theLevels, Kind kind, bool sortsByGroup)
    : input(theInput),
      columns(theColumns),
      options(theOptions),
      levels(theLevels),
      shape(ShapeOf(kind, theColumns, theLevels)),
      variables(static_cast<unsigned int>(shape.columns)),
      groups(static_cast<unsigned int>(shape.groups)) {
  CheckLimits(shape);
  origin = Origins(input, columns.variables);
  // The sums of groups are not centred: what lies between groups would cost all but one of them digits.
  if (kind == Kind::kPerGroup && levels != nullptr) {
    origin = levels->Origins().empty() ? OriginsInHead(theInput, columns, options, *levels, origin)
                                       : levels->Origins();
  }
  chunkRows = options.chunkRows > 0
                  ? options.chunkRows
                  : ChunkRows(std::max(input.Columns().size(), columns.variables.size()), groups);
  batchRows = std::min(chunkRows, options.batchRows > 0 ? options.batchRows : BatchRows(variables, groups));
  workers = Workers(options, MemoryOf(*this, sortsByGroup));
  if (options.notice) {
    options.notice(fmt::format("{} thread{}, chunks of {} rows, batches of {}, instruction set {}", workers,
                               workers == 1 ? "" : "s", chunkRows, batchRows, vexa::InstructionSet()));
  }
}

std::optional<table::InputError> PartialCounts::Fault() const {
  if (counts.tally.used <= _mostRows) return {};
  return table::InputError(fmt::format("more than {} rows: that is all that can be counted", _mostRows));
}

bool PartialCounts::AppendCounts(const PartialCounts& next) {
  counts.Add(next.counts);
  return counts.tally.used <= _mostRows;
}

}  // namespace pass
