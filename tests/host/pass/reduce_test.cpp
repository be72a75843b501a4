#include "pass/reduce.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "host/pass/sheet.h"
#include "host/table/reading.h"
#include "pass/origin.h"
#include "support/bits.h"
#include "vexa/DscIndividualMatrix.h"
#include "vexa/matrixlistwise.h"

namespace {

using pass_test::MakeSheet;
using pass_test::Row;
using pass_test::Sheet;
using table_test::TempFile;

constexpr unsigned int kChunkRows = 7;
constexpr unsigned int kThreads[] = {1, 2, 3, 7, 16};

/// Keeps what its batches hold, row after row.
struct Recorder {
  Recorder& operator+=(vexa::DataBatch& batch) {
    for (unsigned int row = 0; row < batch.NRows(); ++row) {
      for (unsigned int col = 0; col < batch.NColumns(); ++col) cells.push_back(batch.Column(col)[row]);
      if (batch.Weights() != nullptr) cells.push_back(batch.Weights()[row]);
      if (batch.RegWeights() != nullptr) cells.push_back(batch.RegWeights()[row]);
      if (batch.Groups() != nullptr) cells.push_back(batch.Groups()[row]);
    }
    return *this;
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
  return options;
}

/// The row policy once more, in other words.
struct Policy {
  bool weights;
  bool groups;
  bool listwise;

  std::string Verdict(const Row& row) const {
    const bool complete =
        std::none_of(row.values.begin(), row.values.end(), [](double x) { return std::isnan(x); });
    const double weight = weights ? row.weight * row.regWeight : 1.0;
    if (std::isnan(weight)) return "missing weight";
    if (weight == 0.0) return "zero weight";
    if (groups && row.group < 0) return "missing group";
    return complete || !listwise ? "used" : "missing value";
  }

  /// What the batches of rows [first, end) hold.
  std::vector<double> Cells(const Sheet& sheet, const std::vector<double>& origin, std::size_t first,
                            std::size_t end) const {
    std::vector<double> cells;
    for (std::size_t at = first; at < std::min(end, sheet.rows.size()); ++at) {
      const Row& row = sheet.rows[at];
      if (Verdict(row) != "used") continue;
      for (std::size_t col = 0; col < row.values.size(); ++col)
        cells.push_back(std::isnan(row.values[col]) ? table::kMissing : row.values[col] - origin[col]);
      if (weights) cells.insert(cells.end(), {row.weight, row.regWeight});
      if (groups) cells.push_back(row.group);
    }
    return cells;
  }
};

/// The weighted sums of chunks [first, end) without any machinery: chunk by chunk, the left half a power of two.
template <class Accumulator, class Batch, class... Groups>
std::unique_ptr<Accumulator> PlainSums(const Sheet& sheet, const std::vector<double>& origin,
                                       const Maker<Accumulator>& fresh, std::size_t first, std::size_t end,
                                       Groups... groups) {
  if (end - first > 1) {
    const std::size_t middle = first + std::bit_floor(end - first - 1);
    auto left = PlainSums<Accumulator, Batch>(sheet, origin, fresh, first, middle, groups...);
    *left += *PlainSums<Accumulator, Batch>(sheet, origin, fresh, middle, end, groups...);
    return left;
  }
  constexpr bool kGrouped = sizeof...(Groups) > 0;
  double weight = 0.0;
  double regWeight = 0.0;
  unsigned int group = 0;
  const auto columns = static_cast<unsigned int>(sheet.variables);
  Batch batch(columns, kChunkRows, &weight, &regWeight, kGrouped ? &group : nullptr, groups...);
  const Policy policy{.weights = true, .groups = kGrouped, .listwise = true};
  const std::vector<double> cells = policy.Cells(sheet, origin, first * kChunkRows, end * kChunkRows);
  for (auto cell = cells.begin(); cell != cells.end();) {
    const double* values = &*cell;
    cell += columns;
    weight = *cell++;
    regWeight = *cell++;
    if (kGrouped) group = static_cast<unsigned int>(*cell++);
    pass::BatchUse<Batch>::Add(batch, values);
  }
  pass::BatchUse<Batch>::Complete(batch);
  auto sums = fresh();
  *sums += batch;
  return sums;
}

std::vector<double> Bits(const vexa::MatrixListwise& sums) {
  std::vector<double> cells = {static_cast<double>(sums.NRows()), sums.WeightSum(), sums.RegWeightSum()};
  for (unsigned int row = 0; row < sums.NColumns(); ++row) {
    cells.push_back(sums.Mean(row));
    for (unsigned int col = 0; col <= row; ++col) cells.push_back(sums.CCP(row, col));
  }
  return cells;
}

std::vector<double> Bits(const vexa::DiscIndividualMatrix& sums) {
  std::vector<double> cells = {static_cast<double>(sums.NRows()), sums.WeightSum()};
  const int cellCount = (sums.NVar() + 1) * (sums.NVar() + 2) / 2;
  for (int group = 0; group < sums.NGroup(); ++group)
    for (int cell = 0; cell < cellCount; ++cell) cells.push_back(sums.TSSP(cell, group));
  return cells;
}

std::vector<double> Origins(const Sheet& sheet) {
  std::vector<double> origins;
  for (std::size_t col = 0; col < sheet.variables; ++col) {
    std::vector<double> sample;
    for (std::size_t at = 0; at < std::min<std::size_t>(sheet.rows.size(), 1'000); ++at)
      if (!std::isnan(sheet.rows[at].values[col])) sample.push_back(sheet.rows[at].values[col]);
    origins.push_back(pass::Origin(sample));
  }
  return origins;
}

TEST(Reduce, GivesTheBitsOfThePlainTreeForAnyNumberOfThreads) {
  std::mt19937 random(11);
  for (const std::size_t rows : {1U, 7U, 8U, 200U, 1'800U}) {
    const Sheet sheet = MakeSheet(random, rows, 1 + random() % 9);
    const TempFile file(sheet.Text());
    const std::vector<double> origin = Origins(sheet);
    const std::size_t chunks = (rows + kChunkRows - 1) / kChunkRows;
    const Maker<vexa::DiscIndividualMatrix> freshGroups = [&] {
      return std::make_unique<vexa::DiscIndividualMatrix>(3, static_cast<int>(sheet.variables));
    };
    const auto matrix = PlainSums<vexa::MatrixListwise, vexa::DataBatch>(
        sheet, origin, kFresh<vexa::MatrixListwise>, 0, chunks);
    const auto perGroup = PlainSums<vexa::DiscIndividualMatrix, vexa::DataBatchByGroup>(
        sheet, origin, freshGroups, 0, chunks, 3U);
    const pass::Levels levels(std::vector<double>{0, 10, 20});
    for (const unsigned int threads : kThreads) {
      SCOPED_TRACE(fmt::format("{} rows, {} threads", rows, threads));
      table::Input input({file.Path()});
      const auto all =
          pass::Reduce(input, sheet.Columns(true), WithThreads(threads), kFresh<vexa::MatrixListwise>);
      EXPECT_TRUE(SameBits(all.origin, origin));
      EXPECT_TRUE(SameBits(Bits(*all.sums), Bits(*matrix)));
      table::Input again({file.Path()});
      const auto byGroup = pass::Reduce<vexa::DiscIndividualMatrix, vexa::DataBatchByGroup>(
          again, sheet.ByGroup(true, false), WithThreads(threads), freshGroups, &levels);
      EXPECT_TRUE(SameBits(Bits(*byGroup.sums), Bits(*perGroup)));
    }
  }
}

TEST(Reduce, HandsOverTheRowsThatThePolicyLeavesAndCountsTheOthers) {
  std::mt19937 random(12);
  const Sheet sheet = MakeSheet(random, 600, 4);
  const TempFile file(sheet.Text());
  const std::vector<double> origin = Origins(sheet);
  ASSERT_NE(origin[0], 0.0);
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
    EXPECT_TRUE(SameBits(result.sums->cells, policy.Cells(sheet, origin, 0, sheet.rows.size())));

    std::map<std::string, std::uint64_t> counts;
    pass::Tally expected{.read = sheet.rows.size(), .lacking = std::vector<std::uint64_t>(4)};
    if (policy.groups) expected.groupRows.resize(3);
    std::vector<pass::Extremes> extremes(4);
    for (const Row& row : sheet.rows) {
      const std::string verdict = policy.Verdict(row);
      ++counts[verdict];
      if (policy.groups && verdict == "used") ++expected.groupRows[static_cast<std::size_t>(row.group)];
      for (std::size_t col = 0; col < 4; ++col) {
        const bool missing = std::isnan(row.values[col]);
        if (missing && (verdict == "used" || verdict == "missing value")) ++expected.lacking[col];
        if (!missing && verdict == "used") extremes[col].Take(row.values[col]);
      }
    }
    expected.used = counts["used"];
    expected.missingWeight = counts["missing weight"];
    expected.zeroWeight = counts["zero weight"];
    expected.missingGroup = counts["missing group"];
    expected.missingValue = counts["missing value"];
    EXPECT_EQ(result.tally, expected);
    for (std::size_t col = 0; col < 4; ++col) {
      EXPECT_TRUE(SameBits({result.extremes[col].min, result.extremes[col].max},
                           {extremes[col].min, extremes[col].max}));
    }
  }
}

TEST(Reduce, NamesTheFirstFaultOfTheFileForAnyNumberOfThreads) {
  struct Fault {
    std::string line;
    int height;  // lines above the one to be named
    std::string message;
  };
  const std::vector<Fault> faults = {
      {"\"a\n\",1,2,oops,4,1,g 0,0\n", 1, "column x1: not a number: \"oops\""},
      {"\"a\n\",-0.5,2,3,4,1,g 0,0\n", 1, "column w: negative weight: \"-0.5\""},
      {"\"a\n\",1,2,3,4,-1,g 0,0\n", 1, "column r: negative weight: \"-1\""},
      {"\"a\n\",1,2,3,4,inf,g 0,0\n", 1, "column r: not a finite number: \"inf\""},
      {"\"a\n\",1,2,3,-1.7976931348623157e308,1,g 0,0\n", 1,
       "column x2: number out of range: \"-1.7976931348623157e308\""},
      {"\"a\n\",1,2,3,4,1\n", 0, "row of 6 cells where there are 8 columns"},
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
    const auto& [at, fault] = *planted.begin();
    const std::string expected = fmt::format(
        "{}:{}: {}", file.Path(), 2 * at + static_cast<std::size_t>(fault->height), fault->message);
    for (const unsigned int threads : kThreads) {
      std::string message;
      try {
        table::Input input({file.Path()});
        pass::Reduce(input, sheet.Columns(true), WithThreads(threads), kFresh<vexa::MatrixListwise>);
      } catch (const table::InputError& error) {
        message = error.what();
      }
      EXPECT_EQ(message, expected) << threads << " threads";
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
      EXPECT_EQ(seen, std::min((stopAfter + kChunkRows - 1) / kChunkRows * kChunkRows, sheet.rows.size()));
      EXPECT_TRUE(SameBits(result.sums->cells, policy.Cells(sheet, result.origin, 0, seen)));
    }
  }
}

}  // namespace
