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

pass::LevelSearch Find(const pass::Files& files, const pass::Columns& columns, unsigned int threads,
                       unsigned int most = 1'000) {
  pass::Options options;
  options.threads = threads;
  options.chunkRows = 5;
  options.levelOrigins = true;
  return pass::FindLevels(files, {}, columns, options, most);
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

// A level's first rows may come late and be of no use; what other chunks hold changes nothing.
TEST(Levels, HaveOriginsByTheFirstChunkThatUsesThem) {
  std::string text = "x,g,w\n";
  for (int row = 0; row < 2'000; ++row)
    text += fmt::format("{},g{},{}\n", 1'000'000 * (row / 400) + row % 7, row / 400, row % 400 < 12 ? 0 : 1);
  const TempFile file(text + "oops,g0,1\n");
  const pass::Files files({file.Path()});
  for (const unsigned int threads : {1U, 2U, 7U}) {
    const pass::LevelSearch search = Find(files, {.variables = {0}, .weight = 2, .group = 1}, threads);
    std::vector<double> expected;
    for (int level = 0; level < 5; ++level) {
      std::vector<double> sample;  // rows 12, 13 and 14 of each level's, in the third chunk
      for (int row = 400 * level + 12; row < 400 * level + 15; ++row) sample.push_back(1e6 * level + row % 7);
      expected.push_back(pass::Origin(sample));
    }
    EXPECT_EQ(search.levels.Origins(), expected);
  }
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
