#include "pass/levelsearch.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "pass/cases.h"
#include "pass/levelsamples.h"
#include "pass/run.h"
#include "pass/shape.h"
#include "pass/workers.h"

namespace pass {
namespace {

/// The distinct values of some chunks, no more of them than are one too many, each with a sample of its rows.
class FoundLevels : public Partial {
 public:
  FoundLevels(const std::string& column, unsigned int most) : _column(column), _most(most) {}

  void Take(double value) {
    if (!IsFull()) _numbers.try_emplace(value);
  }
  void Take(std::string_view text) {
    if (!IsFull() && _texts.find(text) == _texts.end()) _texts.try_emplace(std::string(text));
  }

  void Append(Partial& next) override {
    auto& later = static_cast<FoundLevels&>(next);
    Append(_numbers, later._numbers);
    Append(_texts, later._texts);
  }

  bool IsFull() const { return _numbers.size() + _texts.size() > _most; }

  /// Calls use(level, sample) for each.
  template <class F>
  void ForEach(F&& use) {
    for (auto& [value, sample] : _numbers) use(value, sample);
    for (auto& [text, sample] : _texts) use(text, sample);
  }

  Levels AsLevels(bool areTexts, bool areAll) const {
    return areTexts ? Levels(Keys(_texts), areAll) : Levels(Keys(_numbers), areAll);
  }

  std::optional<table::InputError> Fault() const override {
    if (!IsFull()) return {};
    return table::InputError(fmt::format("has more than {} distinct values, too many for groups", _most),
                             {.column = _column});
  }

 private:
  template <class Map>
  void Append(Map& own, Map& later) {
    for (const auto& [level, sample] : later) {
      if (IsFull()) return;
      own[level].Append(sample);
    }
  }
  template <class Map>
  static std::vector<typename Map::key_type> Keys(const Map& map) {
    std::vector<typename Map::key_type> keys;
    keys.reserve(map.size());
    for (const auto& [level, sample] : map) keys.push_back(level);
    return keys;
  }

  const std::string& _column;
  unsigned int _most;
  std::unordered_map<double, LevelSample> _numbers;
  std::unordered_map<std::string, LevelSample, TextHash, std::equal_to<>> _texts;
};

/// Which levels have been sampled enough, so that few chunks are read for that. What comes of it does not depend on the
/// chunks' timing: only rows that have enough others before them are left out.
class SampledLevels {
 public:
  /// Whether there is a level of which the chunks before this one are not known to have enough rows.
  bool Lacks(const Levels& levels, std::uint64_t chunk) const {
    const std::lock_guard lock(_mutex);
    for (unsigned int level = 0; level < levels.Size(); ++level) {
      const auto found = _rows.find(levels.Label(level));
      if (found == _rows.end() || !AreEnough(found->second, chunk)) return true;
    }
    return false;
  }
  void Add(const std::string& label, std::uint64_t chunk, std::size_t rows) {
    const std::lock_guard lock(_mutex);
    std::vector<RowsOfChunk>& own = _rows[label];
    if (!AreEnough(own, chunk)) own.push_back({chunk, rows});
  }

 private:
  struct RowsOfChunk {
    std::uint64_t chunk;
    std::size_t rows;
  };

  static bool AreEnough(const std::vector<RowsOfChunk>& sampled, std::uint64_t chunk) {
    std::size_t before = 0;
    for (const RowsOfChunk& some : sampled)
      if (some.chunk < chunk) before += some.rows;
    return before >= LevelSample::kMostRows;
  }

  mutable std::mutex _mutex;
  std::unordered_map<std::string, std::vector<RowsOfChunk>> _rows;
};

constexpr std::uint64_t kBehindAll = std::numeric_limits<std::uint64_t>::max();

class LevelReducer : public ChunkReducer {
 public:
  /// With `given` levels it looks for no others, and where these are sampled enough, for none.
  LevelReducer(const table::Input& input, const Columns& columns, const Options& options, unsigned int most,
               const Levels* given, SampledLevels& sampled)
      : _input(input),
        _columns(columns),
        _options(options),
        _column(input.Columns()[*columns.group]),
        _most(most),
        _given(given),
        _sampled(sampled),
        _parser(AreTexts() ? table::RowParser(input, {}, columns.group)
                           : table::RowParser(input, {*columns.group})) {}

  std::unique_ptr<Partial> Reduce(const table::Chunk& chunk) override {
    auto found = std::make_unique<FoundLevels>(_column.name, _most);
    if (_given != nullptr && !_sampled.Lacks(*_given, chunk.number)) return found;
    const auto take = [&](auto level) {
      if (_given == nullptr || _given->CodeOf(level)) found->Take(level);
    };
    _parser.ForEachRow(chunk, [&](std::span<const double> cells, std::optional<std::string_view> text) {
      if (text) take(*text);
      if (!cells.empty() && cells[0] != table::kMissing) take(cells[0]);
    });
    if (_options.levelOrigins && !found->IsFull()) AddSamples(chunk, *found);
    return found;
  }

 private:
  bool AreTexts() const { return _column.kind == table::Kind::kText; }

  void AddSamples(const table::Chunk& chunk, FoundLevels& found) {
    const Levels levels = found.AsLevels(AreTexts(), false);
    if (!_sampled.Lacks(levels, chunk.number)) return;
    LevelSamples samples(_input, _columns, _options, levels);
    try {
      samples.Take(chunk);
    } catch (const table::InputError&) {
      // The search looks at one column. Whoever reads the rows for good tells of it.
    }
    found.ForEach([&](const auto& level, LevelSample& sample) {
      const unsigned int code = levels.CodeOf(level).value();
      sample = samples.Of(code);
      if (sample.Rows() > 0) _sampled.Add(levels.Label(code), chunk.number, sample.Rows());
    });
  }

  const table::Input& _input;
  const Columns& _columns;
  const Options& _options;
  const table::Column& _column;
  const unsigned int _most;
  const Levels* const _given;
  SampledLevels& _sampled;
  table::RowParser _parser;
};

/// Reads rows for nothing but their faults.
class Checker : public ChunkReducer {
 public:
  Checker(const table::Input& input, const Columns& columns, const Options& options)
      : _origin(columns.variables.size()), _cases(input, columns, options, _origin, nullptr) {}

  std::unique_ptr<Partial> Reduce(const table::Chunk& chunk) override {
    _cases.ForEach(chunk, [](const double*) {});
    return std::make_unique<Nothing>();
  }

 private:
  class Nothing : public Partial {
    void Append(Partial&) override {}
  };

  std::vector<double> _origin;
  Cases _cases;
};

Plan PlanFor(const table::Input& input, const Options& options) {
  Plan plan;
  const std::size_t columns = input.Columns().size();
  plan.chunkRows = options.chunkRows > 0 ? options.chunkRows : ChunkRows(columns, 0);
  const std::uint64_t sample =
      options.levelOrigins ? std::uint64_t{plan.chunkRows} * columns * sizeof(double) : 0;
  plan.threads = Workers(options, {.each = TextBytes(columns, plan.chunkRows) + sample, .shared = 0});
  return plan;
}

/// Throws the first fault of all chosen columns, if there is one.
void Check(table::Input& input, Columns columns, const Options& options) {
  if (input.Columns()[*columns.group].kind == table::Kind::kNumeric)
    columns.variables.push_back(*columns.group);
  columns.group.reset();
  Plan plan = PlanFor(input, options);
  plan.makeReducer = [&] { return std::make_unique<Checker>(input, columns, options); };
  Run(input, options, plan);
}

void SetOrigins(Levels& levels, FoundLevels& found, std::size_t variables) {
  std::vector<double> origins(levels.Size() * variables);
  found.ForEach([&](const auto& level, const LevelSample& sample) {
    const std::vector<double> own = sample.Origins();
    std::copy(own.begin(), own.end(), origins.data() + *levels.CodeOf(level) * variables);
  });
  levels.SetOrigins(std::move(origins));
}

}  // namespace

LevelSearch FindLevels(const Files& files, const table::Format& format, const Columns& columns,
                       const Options& options, unsigned int mostLevels) {
  const std::unique_ptr<table::Input> input = files.Open(format);
  const std::size_t column = columns.group.value();
  SampledLevels sampled;
  Plan plan = PlanFor(*input, options);
  plan.makeReducer = [&] {
    return std::make_unique<LevelReducer>(*input, columns, options, mostLevels, nullptr, sampled);
  };
  Outcome outcome;
  try {
    outcome = Run(*input, options, plan);
  } catch (const table::InputError& error) {
    // The search has looked at one column only, for speed; another one may have a fault in an earlier row.
    if (error.Line() > 0) Check(*files.Open(format), columns, options);
    throw;
  }
  FoundLevels none(input->Columns()[column].name, mostLevels);
  FoundLevels& found = outcome.partial != nullptr ? static_cast<FoundLevels&>(*outcome.partial) : none;
  Levels levels = found.AsLevels(input->Columns()[column].kind == table::Kind::kText, outcome.complete);
  if (options.levelOrigins) SetOrigins(levels, found, columns.variables.size());
  return {std::move(levels), outcome.complete};
}

bool FindOrigins(const Files& files, const table::Format& format, const Columns& columns,
                 const Options& options, Levels& levels) {
  const std::unique_ptr<table::Input> input = files.Open(format);
  SampledLevels sampled;
  const auto isStopped = [&] { return options.stopped && options.stopped(); };
  Options own = options;
  own.levelOrigins = true;
  own.stopped = [&] { return isStopped() || !sampled.Lacks(levels, kBehindAll); };
  Plan plan = PlanFor(*input, own);
  plan.makeReducer = [&] {
    return std::make_unique<LevelReducer>(*input, columns, own, levels.Size(), &levels, sampled);
  };
  try {
    const Outcome outcome = Run(*input, own, plan);
    if (isStopped()) return false;
    if (outcome.partial != nullptr)
      SetOrigins(levels, static_cast<FoundLevels&>(*outcome.partial), columns.variables.size());
  } catch (const table::InputError&) {
    // Whoever reads all the rows tells of the first one.
  }
  return true;
}

}  // namespace pass
