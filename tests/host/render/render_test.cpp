// Pages as text, CSV and JSON: layouts to the byte, numbers that read back, names from hostile files.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>

#include "derive/matrix.h"
#include "host/derive/cells.h"
#include "render/number.h"
#include "render/page.h"
#include "render/tables.h"

namespace render_test {
namespace {

using render::Page;
using render::Table;
using render::Value;

std::string Written(const std::function<void(const render::Sink&)>& write) {
  std::string all;
  write([&](std::string_view piece) { all += piece; });
  return all;
}
std::string AsText(const Page& page, std::size_t width = 80, int digits = 6) {
  return Written([&](const render::Sink& sink) { render::Text(page, {width, digits}, sink); });
}
std::string AsCsv(const Page& page) {
  return Written([&](const render::Sink& sink) { render::Csv(page, sink); });
}
std::string AsJson(const Page& page) {
  return Written([&](const render::Sink& sink) { render::Json(page, sink); });
}

/// A table of the given columns, each cell in its place.
Table TableOf(const std::vector<std::string>& names, const std::vector<std::vector<Value>>& columns) {
  Table table{.name = "table", .rows = columns[0].size()};
  for (std::size_t col = 0; col < names.size(); ++col)
    table.columns.push_back({names[col], [cells = columns[col]](std::size_t row) { return cells[row]; }});
  return table;
}

Page PageOf(Table table) {
  return {.command = "test",
          .title = "Title",
          .account = {.missing = "listwise", .read = 3, .used = 3},
          .tables = {std::move(table)}};
}

std::string TextOf(const Table& table, std::size_t width = 80, int digits = 6) {
  const std::string all = AsText(PageOf(table), width, digits);
  return all.substr(all.find("\n\n") + 1);
}

TEST(Numbers, ShortestReadsBack) {
  std::mt19937_64 random(11);
  for (int count = 0; count < 100000; ++count) {
    const auto value = std::bit_cast<double>(random());
    if (!std::isfinite(value)) continue;
    const std::string shown = render::Shortest(value);
    ASSERT_EQ(std::strtod(shown.c_str(), nullptr), value) << shown;
    ASSERT_TRUE(nlohmann::json::parse(shown).is_number()) << shown;
  }
  // One digit more is what the library for JSON would have written.
  EXPECT_EQ(render::Shortest(4.1752050594835e78), "4.1752050594835e+78");
  EXPECT_EQ(render::Shortest(0.1), "0.1");
  EXPECT_EQ(render::Shortest(-0.0), "-0");
}

TEST(Numbers, ForPeople) {
  const auto all = [](const auto& show, const auto&... numbers) {
    std::string shown;
    ((shown += show(numbers) + ' '), ...);
    return shown;
  };
  const auto three = [](double value) { return render::Significant(value, 3); };
  const auto six = [](double value) { return render::Significant(value, 6); };
  EXPECT_EQ(all(six, 123456.7, 1234567890123.0, 1e9), "123457 1.23457e+12 1000000000 ");
  EXPECT_EQ(all(three, 9.999e-6, 9.99e-6, 0.1, -0.0, -5.0), "0.0000100 9.99e-06 0.100 0.00 -5.00 ");
  EXPECT_EQ(render::Significant(-5, 1) + ' ' + render::Significant(0.1, 17), "-5 0.10000000000000001");
  EXPECT_EQ(render::Fixed(-0.0000004, 6) + ' ' + render::Fixed(-0.04, 1) + ' ' + render::Fixed(-1, 0),
            "0.000000 0.0 -1");
  EXPECT_EQ(all(render::Grouped, 0U, 999U, 1234567U), "0 999 1,234,567 ");
  EXPECT_EQ(all([](double sum) { return render::WeightSum(sum, 6); }, 300000, 1234.25, 1e300, INFINITY),
            "300,000 1234.25 1.00000e+300 more than a double holds ");
}

TEST(Text, AlignsAtThePoint) {
  EXPECT_EQ(TextOf(TableOf({"name", "mixed", "whole", "n"},
                           {{"a", "längeres", "漢字"},
                            {1234.5, -0.001234567, NAN},
                            {1947.0, 12.0, -3.0},
                            {std::uint64_t{1234567}, std::uint64_t{0}, INFINITY}})),
            "\n"
            "name              mixed  whole          n\n"
            "a         1234.50         1947  1,234,567\n"
            "längeres    -0.00123457     12          0\n"
            "漢字        NA              -3         NA\n");
  Table bounded = TableOf({"r", "wide heading"}, {{"x", "y"}, {1.0, -0.1234}});
  bounded.isBounded = true;
  EXPECT_EQ(TextOf(bounded, 80, 3), "\nr  wide heading\nx         1.000\ny        -0.123\n");
}

TEST(Text, ShowsAValueOfAMatrixAlikeInBothPlaces) {
  const std::vector<std::string> names = {"x", "y"};
  derive::Matrix matrix{.rows = 2, .cols = 2, .cells = {2.5, 4, 4, 7}};
  EXPECT_EQ(TextOf(render::MatrixTable("cov", matrix, names, names), 80, 2),
            "\n     x    y\nx  2.5  4.0\ny  4.0  7.0\n");
  matrix.At(0, 0) = 2;
  EXPECT_EQ(TextOf(render::MatrixTable("cov", matrix, names, names), 80, 2), "\n   x  y\nx  2  4\ny  4  7\n");
}

TEST(Text, FoldsWideTables) {
  Table table = TableOf({"k", "aaaa", "bbbb", "cccc"}, {{"x"}, {1.0}, {2.0}, {3.0}});
  EXPECT_EQ(TextOf(table, 13), "\nk  aaaa  bbbb\nx     1     2\n\nk  cccc\nx     3\n");
  EXPECT_EQ(TextOf(table, 1), "\nk  aaaa\nx     1\n\nk  bbbb\nx     2\n\nk  cccc\nx     3\n")
      << "no narrower";
  table.keys = 2;
  EXPECT_EQ(TextOf(table, 13), "\nk  aaaa  bbbb\nx     1     2\n\nk  aaaa  cccc\nx     1     3\n");
}

TEST(Text, TellsWhatBecameOfTheRows) {
  Page page = PageOf(TableOf({"k", "v"}, {{"x"}, {1.5}}));
  page.account = {
      .isComplete = false,
      .missing = "listwise",
      .read = 12345,
      .used = 1,
      .leftOut = {{"zero_weight", "of weight 0", 0}, {"missing_value", "with a missing value", 12344}},
      .regWeight = "\x1b[31mr",
      .weightSum = 2,
      .regWeightSum = 0.25};
  page.notes = {"A note."};
  EXPECT_EQ(AsText(page, 80, 3),
            "Title\nINTERRUPTED: this is the result of the first rows only\n"
            "12,345 rows read, 1 used, 12,344 left out: 12,344 with a missing value\n"
            "Regression weight \\x1b[31mr: with it they weigh 0.250\n"
            "\nk     v\nx  1.50\n\nA note.\n");
}

const std::vector<std::string> kHostile = {"plain",  "a,b", "say \"x\"", "line\nbreak",
                                           " blank", "",    "\xf6\xdf",  "é"};

/// A matrix over these names.
Page HostilePage() {
  static const derive::Matrix matrix = [] {
    derive::Matrix cells{.rows = 8, .cols = 8, .cells = std::vector<double>(64, 0.1)};
    cells.At(0, 1) = NAN;
    cells.At(0, 2) = -INFINITY;
    cells.At(0, 3) = 1e300;
    return cells;
  }();
  return PageOf(render::MatrixTable("cov", matrix, kHostile, kHostile));
}

TEST(Csv, QuotesWhatWouldNotComeBack) {
  const std::string csv = AsCsv(HostilePage());
  const std::string header = R"(variable,plain,"a,b","say ""x""","line)"
                             "\nbreak\",\" blank\",\"\",\xf6\xdf,é\n";
  EXPECT_TRUE(csv.starts_with(header + "plain,0.1,,,1e+300,0.1,")) << csv;
}

TEST(Json, HoldsEverythingUnderItsName) {
  Page page = HostilePage();
  page.account.weight = "w\"";
  page.variables = kHostile;
  page.tables.push_back(
      TableOf({"row", "n", "x"}, {{"a", "b"}, {std::uint64_t{1}, std::uint64_t{2}}, {0.5, INFINITY}}));
  const nlohmann::json json = nlohmann::json::parse(AsJson(page));
  EXPECT_EQ(json["cov"].size(), 8U) << "names that are no UTF-8 stay apart";
  EXPECT_EQ(json["cov"]["say \"x\""]["line\nbreak"], 0.1);
  EXPECT_EQ(json["cov"]["öß"]["é"], 0.1);
  EXPECT_TRUE(json["cov"]["plain"]["a,b"].is_null());
  EXPECT_EQ(json["table"].dump(), R"([{"n":1,"row":"a","x":0.5},{"n":2,"row":"b","x":null}])");
  EXPECT_EQ(json["variables"][6], "öß");
  EXPECT_EQ(json["weight"], "w\"");
}

TEST(Sums, EveryPairOnceInWideTriangles) {
  const std::size_t variables = 3000;
  const std::vector<std::string> names(variables, "x");
  const auto cell = [](std::size_t row, std::size_t col) {
    return derive::Cell{.n = 9, .cscp = static_cast<double>(100 * row + col)};
  };
  const derive_test::Cells sums(variables, variables, true, cell, true);
  const Table table = render::SumsTables(sums, names, names)[0];
  ASSERT_EQ(table.rows, variables * (variables + 1) / 2);
  for (std::size_t row = 0; row < variables; row += row < 10 ? 1 : 331) {
    for (const std::size_t col : {std::size_t{0}, row}) {
      const Value cscp = table.columns[9].cell(row * (row + 1) / 2 + col);
      EXPECT_EQ(std::get<double>(cscp), static_cast<double>(100 * row + col));
    }
  }
  // Only pairs over different rows have counts of their own in text.
  for (const bool isListwise : {false, true}) {
    const derive_test::Cells two(2, 2, true, cell, isListwise);
    Page page;
    const std::vector<std::string> both = {"a", "b"};
    page.tables = render::SumsTables(two, both, both);
    EXPECT_EQ(AsText(page).find("weight_sum") == std::string::npos, isListwise);
  }
}

}  // namespace
}  // namespace render_test
