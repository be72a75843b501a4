// What the head of an input tells about its columns, and how they are chosen.

#include "host/table/reading.h"

namespace table_test {
namespace {

using table::Column;
using table::Format;
using table::Input;
using table::Kind;

std::string Layout(const std::string& bytes, const Format& format = {}) {
  const TempFile file(bytes);
  Input input({file.Path()}, format);
  std::string shown;
  for (const Column& column : input.Columns()) {
    shown += fmt::format("{}:", column.name);
    if (column.kind == Kind::kText) {
      shown += fmt::format("{}@{} ", column.firstText, column.firstTextLine);
    } else {
      shown += fmt::format("{} ", fmt::join(column.sample, "/"));
    }
  }
  return shown + input.UsedFormat().delimiter;
}

TEST(Columns, KindsAndDelimitersOfTheHead) {
  EXPECT_EQ(Layout("a,b,c,d\n1,x,,1e999\n\n\"-2.5\",NA,NA,inf\n+3,4,.,5\n"), "a:1/-2.5/3 b:x@2 c: d:5 ,");
  EXPECT_EQ(Layout("Weight, kg\tn|m;o\n1\t2\n"), "Weight, kg:1 n|m;o:2 \t");
  EXPECT_EQ(Layout("\"a;b\"|\"c\"\"\t!\"|d\n1|2|3\n"), "a;b:1 c\"\t!:2 d:3 |");
  EXPECT_EQ(Layout("a;b,c\n1,5;2\n", {.decimal = ','}), "a:1.5 b,c:2 ;");
  EXPECT_EQ(Layout("1,5\n2,5\n", {.decimal = ',', .header = false}), "V1:1.5/2.5 ;");
  EXPECT_EQ(Layout("\n1\n\nx\n", {.header = false}), "V1:x@4 ,");
  EXPECT_EQ(Layout("\"1\n2\",\"x\"\"y\"\n3,\"\n\"\n4,z\n", {.header = false}), "V1:1\n2@1 V2:x\"y@2 ,");
  EXPECT_EQ(Layout("5\" tall;b\n1;2\n"), "5\" tall:1 b:2 ;");
  // A row that is no good says nothing.
  EXPECT_EQ(Layout("a,b\n1,2\nx\n\"x\"y,3\n4,5\n"), "a:1/4 b:2/5 ,");
}

TEST(Columns, OnlyTheFirstThousandRowsCount) {
  std::string rows = "a,b\n";
  for (int row = 0; row < 999; ++row) rows += row % 3 == 0 ? "1,\n" : "1,2\n";
  const auto kindOf = [](const std::string& bytes) {
    const TempFile file(bytes);
    Input input({file.Path()});
    EXPECT_EQ(input.Columns()[1].sample.size(), input.Columns()[1].kind == Kind::kText ? 0U : 667U);
    return input.Columns()[1].kind;
  };
  EXPECT_EQ(kindOf(rows + "1,x\n"), Kind::kText);
  EXPECT_EQ(kindOf(rows + "1,3\n1,x\n"), Kind::kNumeric);
}

TEST(Columns, HeaderAloneIsDetected) {
  const TempFile header("a,b\n\n");
  const TempFile rows("a,b\n1,2\n");
  EXPECT_FALSE(Input({header.Path()}).HasRows());
  EXPECT_TRUE(Input({header.Path(), rows.Path()}).HasRows());
}

TEST(Columns, ChosenByNameRangeAndPosition) {
  std::vector<Column> columns;
  for (const char* name : {"a", "b", "c:d", "3", "2019", "2020", "2021", "x, y", "z"})
    columns.push_back({.name = name});
  const auto select = [&](const std::string& list) {
    std::string chosen;
    const auto choose = [&] {
      chosen = fmt::format("{}", fmt::join(table::SelectColumns(columns, list), " "));
    };
    return MessageOf(choose) + chosen;
  };
  EXPECT_EQ(select("z,a"), "8 0");
  EXPECT_EQ(select("a:c:d, z"), "0 1 2 8");
  EXPECT_EQ(select("c:d:3"), "2 3");
  EXPECT_EQ(select("3,2019:2021"), "3 4 5 6");
  EXPECT_EQ(select("1:2,6:6"), "0 1 5");
  EXPECT_EQ(select("\"x, y:z\""), "7 8");
  EXPECT_EQ(select("\"x, y\",1"), "7 0");
  EXPECT_EQ(select("a,q"), "column q: is not among the 9 columns of the input");
  for (const auto& [name, meant] : {std::pair{"A_", "a"}, {"Z_", "z"}, {"X_Y", "x, y"}}) {
    EXPECT_EQ(
        select(name),
        fmt::format("column {}: is not among the 9 columns of the input; did you mean {}?", name, meant));
  }
  EXPECT_EQ(select("1:10"), "column 1:10: is not among the 9 columns of the input");
  EXPECT_EQ(select("0"), "column 0: is not among the 9 columns of the input");
  EXPECT_EQ(select("b:a"), "range of columns runs backwards: \"b:a\"");
  EXPECT_EQ(select("a:b,2"), "column b: is chosen twice");
  EXPECT_EQ(select("a,"), "list of columns with an empty item: \"a,\"");
}

}  // namespace
}  // namespace table_test
