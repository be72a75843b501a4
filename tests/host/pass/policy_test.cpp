#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "host/table/reading.h"
#include "pass/origin.h"
#include "pass/reduce.h"
#include "pass/setup.h"
#include "pass/workers.h"
#include "quorwlib/quorwlib.h"
#include "support/rows.h"
#include "vexa/smatrixlistwise.h"

namespace {

TEST(Origin, IsAMedianThatIsSubtractedExactly) {
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> mantissa(1.0, 2.0);
  for (int round = 0; round < 500; ++round) {
    const int exponent = static_cast<int>(random() % 1900) - 950;
    const double sign = random() % 2 == 0 ? 1.0 : -1.0;
    std::vector<double> sample(1 + random() % 40);
    for (double& value : sample) value = sign * std::ldexp(mantissa(random), exponent);
    const double origin = pass::Origin(sample);
    ASSERT_NE(origin, 0.0);
    EXPECT_THAT(sample, testing::Contains(origin));
    for (const double value : sample) {
      const double difference = value - origin;
      // Exact: adding the origin in the wider type gives the value back.
      EXPECT_EQ(static_cast<long double>(difference) + static_cast<long double>(origin),
                static_cast<long double>(value));
    }
    // A fourth value, outside the factor of two on either side or of the other sign, spoils it.
    sample.assign(3, sample[0]);
    for (const double factor : {2.1, 0.49, 0.0, -1.0}) {
      sample.push_back(factor * sample[0]);
      EXPECT_EQ(pass::Origin(sample), 0.0);
      sample.pop_back();
    }
  }
}

TEST(Origin, OfAGroupGoesByWeight) {
  using Sample = std::vector<pass::Weighed>;
  const std::vector<std::pair<Sample, double>> cases = {
      {{}, 0.0},
      {{{7.0, 1.0}}, 7.0},
      {{{9.0, 1.0}, {6.0, 1.0}, {8.0, 1.0}, {7.0, 1.0}}, 8.0},
      {{{9.0, 1.0}, {6.0, 9.0}, {8.0, 1.0}, {7.0, 1.0}}, 6.0},
      // Outliers, whether they are few or light.
      {{{1e9, 1.0}, {6.0, 1.0}, {0.0, 1.0}, {7.0, 1.0}, {6.5, 1.0}}, 6.5},
      {{{1e9, 1e-9}, {1e9, 1e-9}, {-6.0, 1e-3}}, -6.0},
      // Half of the weight about zero, and somewhat more.
      {{{0.0, 1.0}, {0.0, 1.0}, {6.0, 1.0}, {7.0, 1.0}}, 6.0},
      {{{0.0, 1.0}, {0.0, 1.125}, {6.0, 1.0}, {7.0, 1.0}}, 0.0},
      {{{-7.0, 1.0}, {1.0, 1.0}, {4.0, 1.0}}, 0.0},
      {{{0x1.8p+969, 1.0}}, 0.0},
      {{{6.0, 1e308}, {7.0, 1e308}}, 7.0}};
  for (const auto& [sample, origin] : cases) EXPECT_EQ(pass::Origin(sample), origin);
}

TEST(Origin, IsZeroWhereItWouldNotHelpOrBreakAValue) {
  constexpr double kHuge = std::numeric_limits<double>::max();
  // The largest origin there is neither makes nor unmakes a missing code, nor an infinity.
  constexpr double kMost = 0x1p+969;
  const std::vector<std::pair<std::vector<double>, double>> cases = {
      {{}, 0.0},        {{0.0, 0.0, 1.0}, 0.0}, {{kHuge, kHuge}, 0.0}, {{4.0, 2.0, 8.0}, 4.0},
      {{kMost}, kMost}, {{1.5 * kMost}, 0.0}};
  for (const auto& [sample, origin] : cases) EXPECT_EQ(pass::Origin(sample), origin);
  const double next = std::nextafter(table::kMissing, 0.0);
  EXPECT_EQ(next - kMost, next);
  EXPECT_EQ(kHuge + kMost, kHuge);
}

TEST(ChunkRows, FollowTheShapeAlone) {
  EXPECT_EQ(pass::ChunkRows(20, 0), pass::ChunkRows(20, 1));
  for (const std::uint64_t columns : {1U, 5U, 20U, 100U, 1'000U, 30'000U}) {
    for (const std::uint64_t groups : {0U, 3U, 100U, 1'000U, 100'000U}) {
      const std::uint64_t rows = pass::ChunkRows(columns, groups);
      EXPECT_EQ(rows % 16, 8U) << "an odd number of cache lines";
      const std::uint64_t wanted = std::max<std::uint64_t>(columns < 8'000 ? 1'000 : 250, 32 * groups);
      if (wanted * columns < 4'200'000'000U) {
        EXPECT_GE(rows + 16, wanted) << columns << " columns";
      }
      EXPECT_LT(rows * columns, std::uint64_t{1} << 32);
      EXPECT_EQ(pass::BatchRows(columns, groups) % 16, 8U);
    }
  }
}

TEST(Limits, AreToldInWords) {
  using enum pass::Kind;
  // A part of the message; empty: the shape is fine.
  const std::vector<std::pair<pass::Shape, std::string>> cases = {
      {{kListwiseMatrix, 0}, "no variable"},
      {{kListwiseMatrix, 65'536}, "65536 variables are too many: at most 65535"},
      {{kListwiseMatrix, 65'535}, ""},
      {{kPairwiseMatrix, 65'537}, "at most 65536"},
      {{kListwiseBlock, 46'340}, ""},
      {{kPairwiseBlock, 46'341}, "at most 46340"},
      {{kListwiseRectangle, 65'536, 32'767}, ""},
      {{kPairwiseRectangle, 100'000, 50'000}, "50000 by 50000"},
      {{kDiscriminant, 1'100, 0, 2'000'000}, "1100 variables in 2000000 groups"},
      {{kPerGroup, 2'000, 0, 1'000}, ""},
      {{kPerGroup, 2'100, 0, 1'000}, "2100 variables in 1000 groups"},
      {{kPerGroup, 2, 0, std::uint64_t{1} << 40}, "too many"},
  };
  for (const auto& [shape, expected] : cases) {
    const std::string message = table_test::MessageOf([&shape = shape] { pass::CheckLimits(shape); });
    EXPECT_EQ(message.empty(), expected.empty()) << message;
    EXPECT_THAT(message, testing::HasSubstr(expected));
  }
}

// The library would let its count wrap: rows that are too many do not reach it.
TEST(Limits, AreKeptWhileRowsAreCounted) {
  const auto partial = [](std::uint64_t used) {
    auto sums = std::make_unique<vexa::SMatrixListwise>();
    *sums += *FilledBatch(Rows{.columns = {{1.0}}, .count = 1});
    return pass::PartialSums(std::move(sums), {.tally = {.used = used}, .extremes = {}});
  };
  auto rows = partial(pass::MostRows(pass::Kind::kListwiseBlock) - 1);
  auto one = partial(1);
  rows.Append(one);
  EXPECT_FALSE(rows.Fault());
  rows.Append(one);
  EXPECT_THAT(rows.Fault()->what(), testing::HasSubstr("more than 4294967295 rows"));
  EXPECT_EQ(rows.sums->NRows(), 2U);
}

TEST(Workers, AreFewerWhenMemoryIsShort) {
  std::string said;
  pass::Options options;
  options.threads = 16;
  options.memoryLimit = 1000 << 20;
  options.notice = [&](std::string_view text) { said = text; };
  constexpr std::uint64_t kMebibyte = 1 << 20;
  EXPECT_EQ(pass::Workers(options, {10 * kMebibyte, 840 * kMebibyte}), 16U);
  EXPECT_EQ(said, "");
  EXPECT_EQ(pass::Workers(options, {100 * kMebibyte, 600 * kMebibyte}), 4U);
  EXPECT_THAT(said, testing::HasSubstr("4 of 16 threads"));
  EXPECT_EQ(pass::Workers(options, {std::uint64_t{1} << 50, std::uint64_t{1} << 50}), 1U);
  options.threads = 0;
  EXPECT_EQ(pass::Workers(options, {}), static_cast<unsigned int>(getthreads_()));
  options.threads = 16;
  // Each holds three states at times.
  const table_test::TempFile file("a,b\n1,2\n");
  table::Input input({file.Path()}, {});
  const pass::Columns columns{.variables = std::vector<std::size_t>(500)};
  options.memoryLimit = 20 * pass::StateBytes({pass::Kind::kPairwiseMatrix, 500});
  const pass::Setup setup(input, columns, options, nullptr, pass::Kind::kPairwiseMatrix, false);
  EXPECT_LE(setup.workers, 20U / 3U);
  EXPECT_GT(setup.workers, 1U);
  EXPECT_GT(pass::UsableMemory(), kMebibyte);
  // A thread takes more of an address space, where that has an end, than of the memory.
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_AS, &before), 0);
  const rlimit wide{rlim_t{1} << 46, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_AS, &wide), 0);
  EXPECT_LT(pass::Workers(options, {kMebibyte, 0}), 16U);
  setrlimit(RLIMIT_AS, &before);
}

}  // namespace
