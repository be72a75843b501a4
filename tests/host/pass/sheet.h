#ifndef TESTS_HOST_PASS_SHEET_H
#define TESTS_HOST_PASS_SHEET_H

#include <fmt/format.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "pass/options.h"

namespace pass_test {

/// NaN, or a group of −1, is a missing cell.
struct Row {
  std::vector<double> values = {};
  double weight;
  double regWeight;
  int group;
};

/// Rows and the lines of the file that holds them: a text with quotes, delimiters and a newline in it, the case weight,
/// the variables, the regression weight, and the group as text ("g 0") and as a number (10, now and then 10.0).
struct Sheet {
  std::vector<Row> rows = {};
  std::size_t variables = 0;

  std::vector<std::string> Lines() const {
    std::string header = "id,w";
    for (std::size_t col = 0; col < variables; ++col) header += fmt::format(",x{}", col);
    std::vector<std::string> lines = {header + ",r,g,h\n"};
    const auto cell = [](double value) { return std::isnan(value) ? "NA," : fmt::format("{},", value); };
    for (const Row& row : rows) {
      std::string line = fmt::format("\"row {},\n\"\"text\"\"\",{}", lines.size(), cell(row.weight));
      for (const double value : row.values) line += cell(value);
      line += cell(row.regWeight);
      if (row.group >= 0) line += fmt::format("\"g {}\"", row.group);
      line +=
          ',' + (row.group < 0 ? "" : std::to_string(10 * row.group) + (lines.size() % 3 == 0 ? ".0" : ""));
      lines.push_back(line + '\n');
    }
    return lines;
  }
  std::string Text() const { return fmt::format("{}", fmt::join(Lines(), "")); }

  pass::Columns Columns(bool weights) const {
    pass::Columns columns;
    for (std::size_t col = 0; col < variables; ++col) columns.variables.push_back(2 + col);
    if (weights) {
      columns.weight = 1;
      columns.regWeight = 2 + variables;
    }
    return columns;
  }
  pass::Columns ByGroup(bool weights, bool asText) const {
    pass::Columns columns = Columns(weights);
    columns.group = variables + (asText ? 3 : 4);
    return columns;
  }
};

/// Variable 0 has an origin; of every kind of row that is left out there are some.
inline Sheet MakeSheet(std::mt19937& random, std::size_t rows, std::size_t variables) {
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  Sheet sheet{.variables = variables};
  std::normal_distribution<double> normal;
  const auto rare = [&] { return random() % 25 == 0; };
  const auto weight = [&] {
    return rare() ? kNone : rare() ? 0.0 : 1.0 + static_cast<double>(random() % 5) / 4;
  };
  for (std::size_t at = 0; at < rows; ++at) {
    Row row{.weight = weight(), .regWeight = weight(), .group = rare() ? -1 : static_cast<int>(random() % 3)};
    for (std::size_t col = 0; col < variables; ++col)
      row.values.push_back(rare() ? kNone : normal(random) + (col == 0 ? 1e6 : 0.0));
    sheet.rows.push_back(std::move(row));
  }
  return sheet;
}

}  // namespace pass_test

#endif
