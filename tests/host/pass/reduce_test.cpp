#include "pass/reduce.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "host/pass/sheet.h"
#include "host/table/reading.h"
#include "pass/origin.h"
#include "support/bits.h"
#include "support/rows.h"
#include "support/scarcity.h"
#include "support/statistics.h"

namespace {

using pass_test::MakeSheet;
using pass_test::Sheet;
using table_test::MessageOf;
using table_test::TempFile;
using vexa::DiscIndividualMatrix;
using vexa::MatrixListwise;

constexpr unsigned int kChunkRows = 7;
constexpr unsigned int kBatchRows = 3;
constexpr unsigned int kThreads[] = {1, 2, 3, 7, 16};

/// Keeps what its batches hold, one after the other.
struct Recorder {
  Recorder& operator+=(vexa::DataBatch& batch) {
    Recorder next{Contents(batch)};
    if (batch.Groups() != nullptr)
      next.cells.insert(next.cells.end(), batch.Groups(), batch.Groups() + batch.NRows());
    return *this += next;
  }
  Recorder& operator+=(const Recorder& next) {
    cells.insert(cells.end(), next.cells.begin(), next.cells.end());
    return *this;
  }
  std::vector<double> cells = {};
};

template <class Accumulator>
using Maker = std::function<std::unique_ptr<Accumulator>()>;
template <class Accumulator>
const Maker<Accumulator> kFresh = [] { return std::make_unique<Accumulator>(); };

pass::Options WithThreads(unsigned int threads) {
  pass::Options options;
  options.threads = threads;
  options.chunkRows = kChunkRows;
  options.batchRows = kBatchRows;
  return options;
}

/// The row policy once more, in other words.
struct Policy {
  bool weights;
  bool groups;
  bool listwise;

  std::string Verdict(const pass_test::Row& row) const {
    const bool complete =
        std::none_of(row.values.begin(), row.values.end(), [](double x) { return std::isnan(x); });
    const double weight = weights ? row.weight * row.regWeight : 1.0;
    if (std::isnan(weight)) return "missing weight";
    if (weight == 0.0) return "zero weight";
    if (groups && row.group < 0) return "missing group";
    return complete || !listwise ? "used" : "missing value";
  }

  /// What the batches of chunks [first, end) make of an accumulator, without any machinery: batch after batch in a
  /// chunk, and of the chunks the left half a power of two.
  template <class Accumulator>
  std::unique_ptr<Accumulator> Reduce(const Sheet& sheet, const std::vector<double>& origin,
                                      const Maker<Accumulator>& fresh, std::size_t first,
                                      std::size_t end) const {
    auto sums = fresh();
    if (end - first > 1) {
      const std::size_t middle = first + std::bit_floor(end - first - 1);
      sums = Reduce(sheet, origin, fresh, first, middle);
      *sums += *Reduce(sheet, origin, fresh, middle, end);
      return sums;
    }
    const Rows none{.columns = std::vector<std::vector<double>>(sheet.variables),
                    .hasWeights = weights,
                    .hasRegWeights = weights};
    Rows kept = none;
    const auto takeBatch = [&] {
      if constexpr (std::is_same_v<Accumulator, DiscIndividualMatrix>) {
        *sums += *FilledGroupedBatch(kept, 3);
      } else {
        *sums += *FilledBatch(kept);
      }
      kept = none;
    };
    for (std::size_t at = first * kChunkRows; at < std::min(end * kChunkRows, sheet.rows.size()); ++at) {
      const pass_test::Row& row = sheet.rows[at];
      if (Verdict(row) != "used") continue;
      const std::size_t own =
          origin.size() > sheet.variables ? static_cast<std::size_t>(row.group) * sheet.variables : 0;
      for (std::size_t col = 0; col < sheet.variables; ++col) {
        const double value = row.values[col];
        kept.columns[col].push_back(std::isnan(value) ? table::kMissing : value - origin[own + col]);
      }
      kept.weights.push_back(row.weight);
      kept.regWeights.push_back(row.regWeight);
      if (groups) kept.groups.push_back(static_cast<unsigned int>(row.group));
      if (++kept.count == kBatchRows) takeBatch();
    }
    takeBatch();
    return sums;
  }
};

std::size_t Chunks(std::size_t rows) { return (rows + kChunkRows - 1) / kChunkRows; }

std::vector<double> Origins(const Sheet& sheet, const table::Input& input) {
  std::vector<double> origins;
  for (const std::size_t col : sheet.Columns(false).variables)
    origins.push_back(pass::Origin(input.Columns()[col].sample));
  return origins;
}

/// Of the first 31 rows used among the first 1,000, level by level.
std::vector<double> OriginsOfLevels(const Sheet& sheet, const Policy& policy,
                                    const std::vector<double>& common) {
  std::map<std::size_t, std::vector<pass::Weighed>> samples;
  for (std::size_t at = 0; at < std::min<std::size_t>(sheet.rows.size(), 1'000); ++at) {
    const pass_test::Row& row = sheet.rows[at];
    if (policy.Verdict(row) != "used") continue;
    for (std::size_t col = 0; col < sheet.variables; ++col) {
      auto& sample = samples[static_cast<std::size_t>(row.group) * sheet.variables + col];
      if (sample.size() < 31) sample.push_back({row.values[col], row.weight});
    }
  }
  std::vector<double> origins;
  for (std::size_t at = 0; at < 3 * sheet.variables; ++at)
    origins.push_back(samples.contains(at) ? pass::Origin(samples[at]) : common[at % sheet.variables]);
  return origins;
}

TEST(Reduce, GivesTheBitsOfThePlainTreeForAnyNumberOfThreads) {
  std::mt19937 random(11);
  for (const std::size_t rows : {1U, 7U, 8U, 200U, 1'800U}) {
    const Sheet sheet = MakeSheet(random, rows, 1 + random() % 9);
    const TempFile file(sheet.Text());
    const std::vector<double> origin = Origins(sheet, table::Input({file.Path()}));
    const Maker<DiscIndividualMatrix> freshGroups = [&] {
      return std::make_unique<DiscIndividualMatrix>(3, static_cast<int>(sheet.variables));
    };
    const auto matrix =
        Policy{true, false, true}.Reduce(sheet, origin, kFresh<MatrixListwise>, 0, Chunks(rows));
    const Policy grouped{true, true, true};
    const std::vector<double> origins = OriginsOfLevels(sheet, grouped, origin);
    const auto perGroup = grouped.Reduce(sheet, origins, freshGroups, 0, Chunks(rows));
    const pass::Levels levels(std::vector<double>{0, 10, 20});
    for (const unsigned int threads : kThreads) {
      SCOPED_TRACE(fmt::format("{} rows, {} threads", rows, threads));
      table::Input input({file.Path()});
      const auto all = pass::Reduce(input, sheet.Columns(true), WithThreads(threads), kFresh<MatrixListwise>);
      EXPECT_TRUE(SameBits(all.origin, origin));
      EXPECT_TRUE(SameBits(Statistics(*all.sums), Statistics(*matrix)));
      table::Input again({file.Path()});
      const auto byGroup = pass::Reduce<DiscIndividualMatrix, vexa::DataBatchByGroup>(
          again, sheet.ByGroup(true, false), WithThreads(threads), freshGroups, &levels);
      EXPECT_TRUE(SameBits(byGroup.origin, origins));
      EXPECT_TRUE(SameBits(Statistics(*byGroup.sums), Statistics(*perGroup)));
    }
  }
}

TEST(Reduce, HandsOverTheRowsThatThePolicyLeavesAndCountsTheOthers) {
  std::mt19937 random(12);
  const Sheet sheet = MakeSheet(random, 600, 4);
  const TempFile file(sheet.Text());
  const pass::Levels levels(std::vector<std::string>{"g 0", "g 1", "g 2"});
  for (int mask = 0; mask < 8; ++mask) {
    const Policy policy{.weights = (mask & 1) != 0, .groups = (mask & 2) != 0, .listwise = (mask & 4) != 0};
    pass::Options options = WithThreads(3);
    options.missing = policy.listwise ? pass::Missing::kListwise : pass::Missing::kPairwise;
    options.extremes = true;
    table::Input input({file.Path()});
    const auto result = pass::Reduce(
        input, policy.groups ? sheet.ByGroup(policy.weights, true) : sheet.Columns(policy.weights), options,
        kFresh<Recorder>, policy.groups ? &levels : nullptr);
    ASSERT_NE(result.origin[0], 0.0);
    const auto recorded = policy.Reduce(sheet, result.origin, kFresh<Recorder>, 0, Chunks(600));
    EXPECT_TRUE(SameBits(result.sums->cells, recorded->cells));

    std::map<std::string, std::uint64_t> counts;
    pass::Tally expected{.read = sheet.rows.size(), .lacking = std::vector<std::uint64_t>(4)};
    if (policy.groups) expected.groupRows.resize(3);
    std::vector<pass::Extremes> extremes(policy.groups ? 12 : 4);
    for (const pass_test::Row& row : sheet.rows) {
      const std::string verdict = policy.Verdict(row);
      ++counts[verdict];
      if (policy.groups && verdict == "used") ++expected.groupRows[static_cast<std::size_t>(row.group)];
      for (std::size_t col = 0; col < 4; ++col) {
        const bool missing = std::isnan(row.values[col]);
        if (missing && (verdict == "used" || verdict == "missing value")) ++expected.lacking[col];
        const std::size_t group =
            policy.groups && verdict == "used" ? static_cast<std::size_t>(row.group) : 0;
        if (!missing && verdict == "used") extremes[4 * group + col].Take(row.values[col]);
      }
    }
    expected.used = counts["used"];
    expected.missingWeight = counts["missing weight"];
    expected.zeroWeight = counts["zero weight"];
    expected.missingGroup = counts["missing group"];
    expected.missingValue = counts["missing value"];
    EXPECT_EQ(result.tally, expected);
    ASSERT_EQ(result.extremes.size(), extremes.size());
    for (std::size_t at = 0; at < extremes.size(); ++at) {
      EXPECT_EQ(result.extremes[at].min, extremes[at].min);
      EXPECT_EQ(result.extremes[at].max, extremes[at].max);
    }
  }
}

TEST(Reduce, NamesTheFirstFaultOfTheFileForAnyNumberOfThreads) {
  struct Fault {
    std::string line;
    std::string message;
  };
  const std::vector<Fault> faults = {
      {"\"a\n\",1,2,oops,4,1,g 0,0\n", "column x1: not a number: \"oops\""},
      {"\"a\n\",-0.5,2,3,4,1,g 0,0\n", "column w: negative weight: \"-0.5\""},
      {"\"a\n\",1,2,3,4,-1,g 0,0\n", "column r: negative weight: \"-1\""},
      {"\"a\n\",1,2,3,4,inf,g 0,0\n", "column r: not a finite number: \"inf\""},
      {"\"a\n\",1,2,3,-1.7976931348623157e308,1,g 0,0\n",
       "column x2: number out of range: \"-1.7976931348623157e308\""},
      {"\"a\n\",1,2,3,4,1\n", "row of 6 cells where there are 8 columns"},
  };
  std::mt19937 random(14);
  const Sheet sheet = MakeSheet(random, 900, 3);
  for (int round = 0; round < 30; ++round) {
    std::vector<std::string> lines = sheet.Lines();
    std::map<std::size_t, const Fault*> planted;
    for (int count = 0; count < 4; ++count) planted[1 + random() % sheet.rows.size()] = &faults[random() % 6];
    for (const auto& [at, fault] : planted) lines[at] = fault->line;
    // A broken end comes after all of them.
    if (round % 2 == 0) lines.back() += "\"never closed";
    const TempFile file(fmt::format("{}", fmt::join(lines, "")));
    // Rows take two lines, and a cell is on the second; that there are too few shows on the first.
    const auto& [at, fault] = *planted.begin();
    const std::size_t line = 2 * at + (fault->message.starts_with("row") ? 0 : 1);
    for (const unsigned int threads : kThreads) {
      const std::string message = MessageOf([&] {
        table::Input input({file.Path()});
        pass::Reduce(input, sheet.Columns(true), WithThreads(threads), kFresh<MatrixListwise>);
      });
      EXPECT_EQ(message, fmt::format("{}:{}: {}", file.Path(), line, fault->message)) << threads;
    }
  }
}

TEST(Reduce, StopsWithTheSumsOfTheFirstRows) {
  std::mt19937 random(15);
  const Sheet sheet = MakeSheet(random, 900, 3);
  const TempFile file(sheet.Text());
  const Policy policy{.weights = true, .groups = false, .listwise = true};
  for (const unsigned int threads : kThreads) {
    for (const std::uint64_t stopAfter : {0U, 1U, 40U, 10'000U}) {
      std::uint64_t seen = 0;
      pass::Options options = WithThreads(threads);
      options.progress = [&](const pass::Progress& progress) {
        EXPECT_GT(progress.rows, seen);
        seen = progress.rows;
        EXPECT_LE(progress.bytes, progress.totalBytes);
      };
      options.stopped = [&] { return seen >= stopAfter; };
      table::Input input({file.Path()});
      const auto result = pass::Reduce(input, sheet.Columns(true), options, kFresh<Recorder>);
      EXPECT_EQ(result.complete, stopAfter > sheet.rows.size());
      EXPECT_EQ(result.tally.read, seen);
      EXPECT_EQ(seen, std::min(Chunks(stopAfter) * kChunkRows, sheet.rows.size()));
      const auto recorded = policy.Reduce(sheet, result.origin, kFresh<Recorder>, 0, Chunks(seen));
      EXPECT_TRUE(SameBits(result.sums->cells, recorded->cells));
    }
  }
}

// The whole way from the bytes to the sums. What memory runs out of is told as that, whoever runs out of it.
TEST(Reduce, EveryAllocationThatFails) {
  std::mt19937 random(16);
  const Sheet sheet = MakeSheet(random, 70, 5);
  const TempFile file(sheet.Text());
  const auto bits = [&](unsigned int threads) {
    table::Input input({file.Path()});
    const auto result =
        pass::Reduce(input, sheet.Columns(true), WithThreads(threads), kFresh<MatrixListwise>);
    return Statistics(*result.sums);
  };
  const std::vector<double> expected = bits(1);
  for (const unsigned int threads : {1U, 2U, 3U}) {
    SCOPED_TRACE(threads);
    EXPECT_TRUE(EachAllocationFails([&](const auto& scarcely) {
      std::vector<double> values;
      const bool thrown = scarcely([&] { values = bits(threads); });
      EXPECT_TRUE(thrown || SameBits(values, expected));
    }));
  }
}

}  // namespace
