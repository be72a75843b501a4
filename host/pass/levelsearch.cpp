#include "pass/levelsearch.h"

#include <fmt/format.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "pass/cases.h"
#include "pass/run.h"
#include "pass/shape.h"
#include "pass/workers.h"

namespace pass {
namespace {

/// The distinct values of some chunks: no more of them than are one too many.
class FoundLevels : public Partial {
 public:
  FoundLevels(const std::string& column, unsigned int most) : _column(column), _most(most) {}

  void Take(double value) {
    if (!IsFull()) numbers.insert(value);
  }
  void Take(std::string_view text) {
    if (!IsFull() && texts.find(text) == texts.end()) texts.emplace(text);
  }

  void Append(Partial& next) override {
    const auto& later = static_cast<FoundLevels&>(next);
    for (const double value : later.numbers) Take(value);
    for (const std::string& text : later.texts) Take(text);
  }

  std::optional<table::InputError> Fault() const override {
    if (!IsFull()) return {};
    return table::InputError(fmt::format("has more than {} distinct values, too many for groups", _most),
                             {.column = _column});
  }

  std::unordered_set<double> numbers;
  std::unordered_set<std::string, TextHash, std::equal_to<>> texts;

 private:
  bool IsFull() const { return numbers.size() + texts.size() > _most; }

  const std::string& _column;
  unsigned int _most;
};

class LevelReducer : public ChunkReducer {
 public:
  LevelReducer(const table::Input& input, std::size_t column, unsigned int most)
      : _column(input.Columns()[column]),
        _most(most),
        _parser(_column.kind == table::Kind::kText ? table::RowParser(input, {}, column)
                                                   : table::RowParser(input, {column})) {}

  std::unique_ptr<Partial> Reduce(const table::Chunk& chunk) override {
    auto found = std::make_unique<FoundLevels>(_column.name, _most);
    _parser.ForEachRow(chunk, [&](std::span<const double> cells, std::optional<std::string_view> text) {
      if (text) found->Take(*text);
      if (!cells.empty() && cells[0] != table::kMissing) found->Take(cells[0]);
    });
    return found;
  }

 private:
  const table::Column& _column;
  const unsigned int _most;
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
  plan.threads = Workers(options, {.each = TextBytes(columns, plan.chunkRows), .shared = 0});
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

}  // namespace

LevelSearch FindLevels(const Files& files, const table::Format& format, const Columns& columns,
                       const Options& options, unsigned int mostLevels) {
  const std::unique_ptr<table::Input> input = files.Open(format);
  const std::size_t column = columns.group.value();
  Plan plan = PlanFor(*input, options);
  plan.makeReducer = [&] { return std::make_unique<LevelReducer>(*input, column, mostLevels); };
  Outcome outcome;
  try {
    outcome = Run(*input, options, plan);
  } catch (const table::InputError& error) {
    // The search has looked at one column only, for speed; another one may have a fault in an earlier row.
    if (error.Line() > 0) Check(*files.Open(format), columns, options);
    throw;
  }
  std::vector<double> numbers;
  std::vector<std::string> texts;
  if (outcome.partial != nullptr) {
    auto& found = static_cast<FoundLevels&>(*outcome.partial);
    numbers.assign(found.numbers.begin(), found.numbers.end());
    texts.assign(found.texts.begin(), found.texts.end());
  }
  const bool areTexts = input->Columns()[column].kind == table::Kind::kText;
  return {
      areTexts ? Levels(std::move(texts), outcome.complete) : Levels(std::move(numbers), outcome.complete),
      outcome.complete};
}

}  // namespace pass
