#include "pass/levels.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "host/table/reading.h"
#include "pass/origin.h"
#include "pass/reduce.h"
#include "vexa/matrixlistwise.h"

namespace {

using table_test::MessageOf;
using table_test::TempFile;

std::vector<std::string> Labels(const pass::Levels& levels) {
  std::vector<std::string> labels;
  for (unsigned int code = 0; code < levels.Size(); ++code) labels.push_back(levels.Label(code));
  return labels;
}

pass::Options OptionsFor(unsigned int threads, unsigned int chunkRows) {
  pass::Options options;
  options.threads = threads;
  options.chunkRows = chunkRows;
  options.levelOrigins = true;
  return options;
}

pass::LevelSearch Find(const pass::Files& files, const pass::Columns& columns, unsigned int threads,
                       unsigned int most = 1'000, unsigned int chunkRows = 5) {
  return pass::FindLevels(files, {}, columns, OptionsFor(threads, chunkRows), most);
}

/// What is wrong with a file whose second column has the groups, without the file's name.
std::string FindMessage(const std::string& text, unsigned int threads, unsigned int most) {
  const TempFile file(text);
  const std::string message =
      MessageOf([&] { Find(pass::Files({file.Path()}), {.variables = {0}, .group = 1}, threads, most); });
  return message.starts_with(file.Path()) ? message.substr(file.Path().size()) : message;
}

TEST(Levels, AreNumbersByValueOrTextByBytes) {
  const pass::Levels numbers(std::vector<double>{10.0, -0.0, 2.5, 1e21, 10.0, 0.0});
  EXPECT_THAT(Labels(numbers), testing::ElementsAre("0", "2.5", "10", "1e+21"));
  EXPECT_EQ(numbers.CodeOf(-0.0), 0U);
  EXPECT_FALSE(numbers.CodeOf(3.0));
  const pass::Levels texts(std::vector<std::string>{"b", "a", "Z", "1.0", "1", "ä"});
  EXPECT_THAT(Labels(texts), testing::ElementsAre("1", "1.0", "Z", "a", "b", "ä"));
  EXPECT_FALSE(texts.CodeOf("A"));
}

TEST(Levels, GivenAsAListAreHeldAgainstTheColumn) {
  const TempFile file("n;t\n1,5;a\n2;b\n");
  const table::Input input({file.Path()}, {.decimal = ','});
  EXPECT_THAT(Labels(pass::GivenLevels(input, 0, {"2,0", " 1,5"})), testing::ElementsAre("1.5", "2"));
  EXPECT_THAT(Labels(pass::GivenLevels(input, 1, {"b", "1"})), testing::ElementsAre("1", "b"));
  using List = std::vector<std::string>;
  for (const List& list : {List{"1", "1,0"}, {"a"}, {"NA"}})
    EXPECT_THROW(pass::GivenLevels(input, 0, list), table::InputError) << list[0];
  for (const List& list : {List{"a", "a"}, {""}})
    EXPECT_THROW(pass::GivenLevels(input, 1, list), table::InputError) << list[0];
}

// A level's rows may come late and begin with some that are of no use, or with an outlier.
TEST(Levels, HaveOriginsByTheirFirstRowsHoweverTheInputIsCut) {
  std::string text = "x,g,w\n";
  for (int row = 0; row < 2'000; ++row) {
    const int level = row / 400;
    const int behind = row % 400;
    text +=
        fmt::format("{},g{},{}\n", behind == 12 ? 1e20 : 1e6 * level + behind, level, behind < 12 ? 0 : 1);
  }
  const TempFile file(text + "oops,g0,1\n");
  const pass::Files files({file.Path()});
  std::vector<double> expected;
  for (int level = 0; level < 5; ++level) {
    std::vector<pass::Weighed> sample = {{1e20, 1.0}};
    for (int row = 400 * level + 13; row < 400 * level + 43; ++row)
      sample.push_back({1e6 * level + row % 400, 1.0});
    expected.push_back(pass::Origin(sample));
  }
  const pass::Columns columns{.variables = {0}, .weight = 2, .group = 1};
  for (const unsigned int threads : {1U, 2U, 7U}) {
    for (const unsigned int chunkRows : {1U, 5U, 24U, 4'000U}) {
      const pass::LevelSearch search = Find(files, columns, threads, 1'000, chunkRows);
      EXPECT_EQ(search.levels.Origins(), expected);
      // Of some that are given, without reading on behind the last of them.
      pass::Levels given(std::vector<std::string>{"g3", "g1"});
      pass::Options options = OptionsFor(threads, chunkRows);
      std::uint64_t rows = 0;
      options.progress = [&](const pass::Progress& progress) { rows = progress.rows; };
      EXPECT_TRUE(pass::FindOrigins(files, {}, columns, options, given));
      EXPECT_EQ(given.Origins(), (std::vector{expected[1], expected[3]}));
      if (threads == 1 && chunkRows < 30) {
        EXPECT_LT(rows, 1'300U);
      }
      pass::Levels absent(std::vector<std::string>{"g4", "g7"});
      EXPECT_TRUE(pass::FindOrigins(files, {}, columns, options, absent));
      EXPECT_EQ(absent.Origins(), (std::vector{expected[4], 0.0}));
      options.stopped = [&] { return rows > 0; };
      EXPECT_FALSE(pass::FindOrigins(files, {}, columns, options, given));
    }
  }
}

// A level's first row takes so long to read that others have been sampled enough before.
TEST(Levels, HaveOriginsByTheirFirstRowsWhoeverIsDoneFirst) {
  std::string quotes(std::size_t{1} << 23, '"');
  std::string text = "x,g,t\n100,a,\"" + quotes + "\"\n";
  for (int row = 0; row < 60; ++row) text += fmt::format("{},a,\n", 101 + row);
  const TempFile file(text);
  const pass::LevelSearch search = Find(pass::Files({file.Path()}), {.variables = {0}, .group = 1}, 4, 9, 1);
  EXPECT_EQ(search.levels.Origins(), std::vector{115.0});
}

// Which fault is told depends on the file alone: the first bad row, if it comes before the rows that make the levels too
// many.
TEST(Levels, FailOnTheFirstFault) {
  const auto rows = [](int count) {
    std::string text;
    for (int at = 0; at < count; ++at) text += fmt::format("{},{}\n", at % 2, at % 2 == 0 ? 7 : at);
    return text;
  };
  const std::string tooMany = "column g: has more than 20 distinct values, too many for groups";
  const struct {
    std::string rows;
    unsigned int most;
    std::string message;
  } cases[] = {
      {rows(40), 20, ""},
      {rows(41), 19, "column g: has more than 19 distinct values, too many for groups"},
      {rows(40) + "1\n", 19, "column g: has more than 19 distinct values, too many for groups"},
      {rows(9'000), 20, tooMany},
      {rows(9'000) + "1\n", 20, tooMany},
      // Bad rows in front, the first of them in the column that the search does not read.
      {rows(8) + "bad,7\n" + rows(20) + "1\n" + rows(9'000), 20, ":10: column x: not a number: \"bad\""},
      {rows(8) + "1\n" + rows(20) + "bad,7\n" + rows(9'000), 20,
       ":10: row of 1 cells where there are 2 columns"},
      {rows(1'200) + "1,late\nbad,7\n", 5'000, ":1202: column g: not a number: \"late\""},
  };
  for (const unsigned int threads : {1U, 2U, 7U, 16U}) {
    for (const auto& [text, most, message] : cases)
      EXPECT_EQ(FindMessage("x,g\n" + text, threads, most), message) << threads << " threads";
  }
}

TEST(Files, ThatChangeBetweenPassesAreRefused) {
  const TempFile file("x,g\n1,a\n2,b\n");
  const pass::Files files({file.Path()});
  const pass::Columns columns{.variables = {0}, .group = 1};
  const pass::LevelSearch search = Find(files, columns, 2);
  std::ofstream(file.Path()) << "x,g\n1,a\n2,c\n";
  EXPECT_NE(MessageOf([&] {
              pass::Reduce<vexa::MatrixListwise>(
                  *files.Open({}), columns, {}, [] { return std::make_unique<vexa::MatrixListwise>(); },
                  &search.levels);
            }),
            "");
  std::ofstream(file.Path(), std::ios::app) << "3,a\n";
  EXPECT_THROW(files.CheckUnchanged(), table::InputError);
}

}  // namespace
