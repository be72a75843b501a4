#include "pass/reduce.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <bit>
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

/// Keeps the rows of its batches in their order, and counts how many of its kind there are.
class Recorder {
 public:
  Recorder() {
    const int living = ++_living;
    for (int most = _most; living > most && !_most.compare_exchange_weak(most, living);) continue;
  }
  ~Recorder() { --_living; }
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

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

  std::vector<double> cells;

  static int Most() { return _most; }
  static void Forget() { _most = 0; }

 private:
  inline static std::atomic<int> _living = 0;
  inline static std::atomic<int> _most = 0;
};

template <class Accumulator>
auto Fresh() {
  return [] { return std::make_unique<Accumulator>(); };
}

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

  bool Weighs(const Row& row) const {
    return !weights || (row.weight > 0.0 && row.regWeight > 0.0);  // false for NaN too
  }
  bool Uses(const Row& row) const {
    const bool complete =
        std::none_of(row.values.begin(), row.values.end(), [](double x) { return std::isnan(x); });
    return Weighs(row) && (!groups || row.group >= 0) && (!listwise || complete);
  }
  /// What a batch holds of rows [first, end).
  std::vector<double> Cells(const Sheet& sheet, const std::vector<double>& origin, std::size_t first,
                            std::size_t end) const {
    std::vector<double> cells;
    for (std::size_t at = first; at < std::min(end, sheet.rows.size()); ++at) {
      const Row& row = sheet.rows[at];
      if (!Uses(row)) continue;
      for (std::size_t col = 0; col < row.values.size(); ++col)
        cells.push_back(std::isnan(row.values[col]) ? table::kMissing : row.values[col] - origin[col]);
      if (weights) cells.insert(cells.end(), {row.weight, row.regWeight});
      if (groups) cells.push_back(row.group);
    }
    return cells;
  }
};

/// The sums of chunks [first, end), without any machinery: chunk by chunk, the left half a power of two.
template <class Accumulator, class Batch, class... Groups>
std::unique_ptr<Accumulator> PlainSums(const Sheet& sheet, const Policy& policy,
                                       const std::vector<double>& origin,
                                       const std::function<std::unique_ptr<Accumulator>()>& fresh,
                                       std::size_t first, std::size_t end, Groups... groups) {
  if (end - first > 1) {
    const std::size_t middle = first + std::bit_floor(end - first - 1);
    auto left = PlainSums<Accumulator, Batch>(sheet, policy, origin, fresh, first, middle, groups...);
    *left += *PlainSums<Accumulator, Batch>(sheet, policy, origin, fresh, middle, end, groups...);
    return left;
  }
  double weight = 0.0;
  double regWeight = 0.0;
  unsigned int group = 0;
  const auto columns = static_cast<unsigned int>(sheet.variables);
  Batch batch(columns, kChunkRows, policy.weights ? &weight : nullptr, policy.weights ? &regWeight : nullptr,
              policy.groups ? &group : nullptr, groups...);
  const std::size_t width = columns + (policy.weights ? 2 : 0) + (policy.groups ? 1 : 0);
  const std::vector<double> cells = policy.Cells(sheet, origin, first * kChunkRows, end * kChunkRows);
  for (std::size_t at = 0; at < cells.size(); at += width) {
    if (policy.weights) {
      weight = cells[at + columns];
      regWeight = cells[at + columns + 1];
    }
    if (policy.groups) group = static_cast<unsigned int>(cells[at + width - 1]);
    pass::BatchUse<Batch>::Add(batch, &cells[at]);
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

constexpr unsigned int kThreads[] = {1, 2, 3, 7, 16};

TEST(Reduce, GivesTheBitsOfThePlainTreeForAnyNumberOfThreads) {
  std::mt19937 random(11);
  for (const std::size_t rows : {1U, 7U, 8U, 200U, 1'800U}) {
    const Sheet sheet = MakeSheet(random, rows, 1 + random() % 9);
    const TempFile file(sheet.Text());
    const std::vector<double> origin = Origins(sheet);
    const std::size_t chunks = (rows + kChunkRows - 1) / kChunkRows;
    const Policy weighted{.weights = true, .groups = false, .listwise = true};
    const Policy grouped{.weights = true, .groups = true, .listwise = true};
    const std::function<std::unique_ptr<vexa::DiscIndividualMatrix>()> freshGroups = [&] {
      return std::make_unique<vexa::DiscIndividualMatrix>(3, static_cast<int>(sheet.variables));
    };
    const auto matrix = PlainSums<vexa::MatrixListwise, vexa::DataBatch>(
        sheet, weighted, origin, Fresh<vexa::MatrixListwise>(), 0, chunks);
    const auto perGroup = PlainSums<vexa::DiscIndividualMatrix, vexa::DataBatchByGroup>(
        sheet, grouped, origin, freshGroups, 0, chunks, 3U);
    for (const unsigned int threads : kThreads) {
      table::Input input({file.Path()});
      const auto all = pass::Reduce<vexa::MatrixListwise>(input, sheet.Columns(true), WithThreads(threads),
                                                          Fresh<vexa::MatrixListwise>());
      EXPECT_TRUE(SameBits(all.origin, origin));
      EXPECT_TRUE(SameBits(Bits(*all.sums), Bits(*matrix))) << rows << " rows, " << threads << " threads";
      EXPECT_TRUE(all.complete);

      const pass::Levels levels(std::vector<double>{0, 10, 20});
      table::Input again({file.Path()});
      const auto byGroup = pass::Reduce<vexa::DiscIndividualMatrix, vexa::DataBatchByGroup>(
          again, sheet.Columns(true, Sheet::By::kNumber), WithThreads(threads), freshGroups, &levels);
      EXPECT_TRUE(SameBits(Bits(*byGroup.sums), Bits(*perGroup)))
          << rows << " rows, " << threads << " threads";
    }
  }
}

TEST(Reduce, HandsOverTheRowsThatThePolicyLeavesAndCountsTheOthers) {
  std::mt19937 random(12);
  const Sheet sheet = MakeSheet(random, 600, 4);
  const TempFile file(sheet.Text());
  const std::vector<double> origin = Origins(sheet);
  ASSERT_NE(origin[0], 0.0);
  for (int mask = 0; mask < 8; ++mask) {
    const Policy policy{.weights = (mask & 1) != 0, .groups = (mask & 2) != 0, .listwise = (mask & 4) != 0};
    pass::Options options = WithThreads(3);
    options.missing = policy.listwise ? pass::Missing::kListwise : pass::Missing::kPairwise;
    options.extremes = true;
    const pass::Columns columns =
        sheet.Columns(policy.weights, policy.groups ? Sheet::By::kText : Sheet::By::kNothing);
    const pass::Levels levels(std::vector<std::string>{"g 0", "g 1", "g 2"});
    table::Input input({file.Path()});
    const auto result =
        pass::Reduce<Recorder>(input, columns, options, Fresh<Recorder>(), policy.groups ? &levels : nullptr);
    EXPECT_TRUE(SameBits(result.sums->cells, policy.Cells(sheet, origin, 0, sheet.rows.size())));

    pass::Tally expected{.read = sheet.rows.size()};
    expected.lacking.resize(4);
    if (policy.groups) expected.groupRows.resize(3);
    std::vector<pass::Extremes> extremes(4);
    for (const Row& row : sheet.rows) {
      if (policy.weights && (std::isnan(row.weight) || std::isnan(row.regWeight))) {
        ++expected.missingWeight;
        continue;
      }
      if (policy.weights && row.weight * row.regWeight == 0.0) {
        ++expected.zeroWeight;
        continue;
      }
      if (policy.groups && row.group < 0) {
        ++expected.missingGroup;
        continue;
      }
      for (std::size_t col = 0; col < 4; ++col) expected.lacking[col] += std::isnan(row.values[col]) ? 1 : 0;
      if (!policy.Uses(row)) {
        ++expected.missingValue;
        continue;
      }
      ++expected.used;
      if (policy.groups) ++expected.groupRows[static_cast<std::size_t>(row.group)];
      for (std::size_t col = 0; col < 4; ++col)
        if (!std::isnan(row.values[col])) extremes[col].Take(row.values[col]);
    }
    EXPECT_EQ(result.tally, expected);
    for (std::size_t col = 0; col < 4; ++col) {
      EXPECT_TRUE(SameBits(result.extremes[col].min, extremes[col].min));
      EXPECT_TRUE(SameBits(result.extremes[col].max, extremes[col].max));
    }
  }
}

TEST(Reduce, KeepsFewAccumulatorsHoweverManyChunks) {
  std::mt19937 random(13);
  const Sheet sheet = MakeSheet(random, 14'000, 1);
  const TempFile file(sheet.Text());
  for (const unsigned int threads : kThreads) {
    Recorder::Forget();
    table::Input input({file.Path()});
    pass::Reduce<Recorder>(input, sheet.Columns(false), WithThreads(threads), Fresh<Recorder>());
    // Waiting nodes, and as many again in the workers' hands.
    const auto levels = static_cast<unsigned int>(std::bit_width(sheet.rows.size() / kChunkRows)) + 1;
    EXPECT_LE(static_cast<unsigned int>(Recorder::Most()), 2 * (threads + 1) * levels);
  }
}

TEST(Reduce, NamesTheFirstFaultOfTheFileForAnyNumberOfThreads) {
  std::mt19937 random(14);
  const Sheet sheet = MakeSheet(random, 900, 3);
  for (int round = 0; round < 30; ++round) {
    std::vector<std::string> lines = sheet.Lines();
    std::size_t firstBad = lines.size();
    std::string reason;
    for (int fault = 0; fault < 4; ++fault) {
      const std::size_t at = random() % lines.size();
      std::string bad;
      std::string badReason;
      switch (random() % 5) {
        case 0:
          bad = "\"a\n\",1,2,oops,4,1,g 0,0\n";
          badReason = "column x1: not a number: \"oops\"";
          break;
        case 1:
          bad = "\"a\n\",-0.5,2,3,4,1,g 0,0\n";
          badReason = "column w: negative weight: \"-0.5\"";
          break;
        case 2:
          bad = "\"a\n\",1,2,3,-1.7976931348623157e308,1,g 0,0\n";
          badReason = "column x2: number out of range: \"-1.7976931348623157e308\"";
          break;
        case 3:
          bad = "\"a\n\",1,2,3,4,1\n";
          badReason = "row of 6 cells where there are 8 columns";
          break;
        default:
          bad = "\"a\n\",1,2,3,4,inf,g 0,0\n";
          badReason = "column r: not a finite number: \"inf\"";
      }
      lines[at] = bad;
      if (at <= firstBad) {
        firstBad = at;
        reason = badReason;
      }
    }
    // A broken end comes after all of them.
    if (round % 2 == 0) lines.back() += "\"never closed";
    std::string text = sheet.Header();
    for (const std::string& line : lines) text += line;
    const TempFile file(text);
    const std::size_t line = 2 + 2 * firstBad + (reason.starts_with("row") ? 0 : 1);
    for (const unsigned int threads : kThreads) {
      std::string message;
      try {
        table::Input input({file.Path()});
        pass::Reduce<vexa::MatrixListwise>(input, sheet.Columns(true), WithThreads(threads),
                                           Fresh<vexa::MatrixListwise>());
      } catch (const table::InputError& error) {
        message = error.what();
      }
      EXPECT_EQ(message, fmt::format("{}:{}: {}", file.Path(), line, reason)) << threads << " threads";
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
      const auto result = pass::Reduce<Recorder>(input, sheet.Columns(true), options, Fresh<Recorder>());
      EXPECT_EQ(result.complete, stopAfter > sheet.rows.size());
      EXPECT_EQ(result.tally.read, seen);
      EXPECT_EQ(seen, std::min((stopAfter + kChunkRows - 1) / kChunkRows * kChunkRows, sheet.rows.size()));
      EXPECT_TRUE(SameBits(result.sums->cells, policy.Cells(sheet, result.origin, 0, seen)));
    }
  }
}

}  // namespace
