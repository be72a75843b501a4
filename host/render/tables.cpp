#include "render/tables.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

namespace render {
namespace {

std::function<Value(std::size_t)> NameOf(const std::vector<std::string>& names) {
  return [&names](std::size_t row) { return names[row]; };
}

struct Pair {
  std::size_t row;
  std::size_t col;
};

/// The pair at a place of the lower triangle with its diagonal, row by row.
Pair TrianglePair(std::size_t index) {
  auto row = static_cast<std::size_t>((std::sqrt(8.0 * static_cast<double>(index) + 1.0) - 1.0) / 2.0);
  // The root is rounded, and may be so across a row's end.
  while (row * (row + 1) / 2 > index) --row;
  while ((row + 1) * (row + 2) / 2 <= index) ++row;
  return {row, index - row * (row + 1) / 2};
}

Table PairTable(const derive::Sums& sums, const std::vector<std::string>& rows,
                const std::vector<std::string>& cols, WithExtremes extremes) {
  const std::size_t width = sums.Cols();
  const bool isTriangle = sums.IsSymmetric();
  const auto pairAt = [isTriangle, width](std::size_t index) {
    return isTriangle ? TrianglePair(index) : Pair{index / width, index % width};
  };
  const auto sum = [&sums, pairAt](auto member) {
    return [&sums, pairAt, member](std::size_t index) -> Value {
      const Pair pair = pairAt(index);
      return sums.At(pair.row, pair.col).*member;
    };
  };
  Table table{.name = "sums", .keys = 2};
  table.rows = isTriangle ? sums.Rows() * (sums.Rows() + 1) / 2 : sums.Rows() * width;
  table.columns = {{"row", [&rows, pairAt](std::size_t index) { return rows[pairAt(index).row]; }},
                   {"column", [&cols, pairAt](std::size_t index) { return cols[pairAt(index).col]; }},
                   {"n", sum(&derive::Cell::n)},
                   {"weight_sum", sum(&derive::Cell::weightSum)},
                   {"reg_weight_sum", sum(&derive::Cell::regWeightSum)},
                   {"mean_row", sum(&derive::Cell::meanRow)},
                   {"mean_column", sum(&derive::Cell::meanCol)},
                   {"css_row", sum(&derive::Cell::cssRow)},
                   {"css_column", sum(&derive::Cell::cssCol)},
                   {"cscp", sum(&derive::Cell::cscp)}};
  if (extremes == WithExtremes::kNo) return table;
  const auto extreme = [&sums, pairAt](auto range, auto end) {
    return [&sums, pairAt, range, end](std::size_t index) -> Value {
      const Pair pair = pairAt(index);
      return sums.At(pair.row, pair.col).*range.*end;
    };
  };
  using derive::Cell;
  using derive::Range;
  table.columns.push_back({"min_row", extreme(&Cell::rangeRow, &Range::min)});
  table.columns.push_back({"max_row", extreme(&Cell::rangeRow, &Range::max)});
  table.columns.push_back({"min_column", extreme(&Cell::rangeCol, &Range::min)});
  table.columns.push_back({"max_column", extreme(&Cell::rangeCol, &Range::max)});
  return table;
}

/// Columns with the statistics that `of` gives for each row.
void AddDescriptions(Table& table, const std::function<derive::Description(std::size_t)>& of) {
  using derive::Description;
  using derive::Range;
  const auto value = [of](auto member) {
    return [of, member](std::size_t row) -> Value { return of(row).*member; };
  };
  const auto extreme = [of](auto end) {
    return [of, end](std::size_t row) -> Value { return of(row).range.*end; };
  };
  const std::vector<Column> columns = {{"n", value(&Description::n)},
                                       {"missing", value(&Description::missing)},
                                       {"weight_sum", value(&Description::weightSum)},
                                       {"mean", value(&Description::mean)},
                                       {"sd", value(&Description::sd)},
                                       {"variance", value(&Description::variance)},
                                       {"se", value(&Description::standardError)},
                                       {"min", extreme(&Range::min), true},
                                       {"max", extreme(&Range::max), true}};
  table.columns.insert(table.columns.end(), columns.begin(), columns.end());
}

}  // namespace

Table Grid(const std::string& name, const std::string& key, const std::vector<std::string>& rows,
           const std::vector<std::string>& cols, const std::function<Value(std::size_t, std::size_t)>& cell) {
  Table table{.name = name, .rows = rows.size(), .isKeyed = true};
  table.columns.push_back({key, NameOf(rows)});
  for (std::size_t col = 0; col < cols.size(); ++col)
    table.columns.push_back({cols[col], [cell, col](std::size_t row) { return cell(row, col); }});
  return table;
}

Table LongTable(const std::vector<Table>& tables) {
  struct Layout {
    std::vector<Table> tables;
    std::vector<std::size_t> ends;  // the row behind each table's last
  };
  Layout layout{.tables = tables, .ends = {}};
  std::size_t rows = 0;
  for (const Table& table : tables) layout.ends.push_back(rows += table.rows * (table.columns.size() - 1));

  // What a row is about, handed to what is to be told of it.
  const auto about = [shared = std::make_shared<const Layout>(std::move(layout))](auto tell) {
    return [shared, tell](std::size_t index) -> Value {
      const auto end = std::upper_bound(shared->ends.begin(), shared->ends.end(), index);
      const Table& table = shared->tables[static_cast<std::size_t>(end - shared->ends.begin())];
      const std::size_t width = table.columns.size() - 1;
      const std::size_t place = index - (*end - table.rows * width);
      return tell(table, place / width, table.columns[1 + place % width]);
    };
  };
  Table all{.name = "all", .rows = rows, .keys = 3, .audience = Audience::kCsv};
  all.columns = {
      {"table", about([](const Table& table, std::size_t, const Column&) { return table.name; })},
      {"row",
       about([](const Table& table, std::size_t row, const Column&) { return table.columns[0].cell(row); })},
      {"column", about([](const Table&, std::size_t, const Column& column) { return column.name; })},
      {"value", about([](const Table&, std::size_t row, const Column& column) { return column.cell(row); })}};
  return all;
}

Table MatrixTable(const std::string& name, const derive::Matrix& matrix, const std::vector<std::string>& rows,
                  const std::vector<std::string>& cols) {
  return Grid(name, "variable", rows, cols,
              [&matrix](std::size_t row, std::size_t col) { return matrix.At(row, col); });
}

Table CountsTable(const derive::Sums& sums, const std::vector<std::string>& rows,
                  const std::vector<std::string>& cols) {
  Table table = Grid("counts", "variable", rows, cols,
                     [&sums](std::size_t row, std::size_t col) { return sums.At(row, col).n; });
  table.caption = "Rows behind each cell";
  return table;
}

Table DescriptionsTable(const std::vector<derive::Description>& descriptions,
                        const std::vector<std::string>& variables) {
  Table table{.name = "describe", .rows = variables.size(), .isKeyed = true, .isMixed = true};
  table.columns = {{"variable", NameOf(variables)}};
  AddDescriptions(table, [&descriptions](std::size_t row) { return descriptions[row]; });
  return table;
}

Table GroupDescriptionsTable(const std::vector<derive::Description>& descriptions,
                             const std::vector<std::string>& variables,
                             const std::vector<std::string>& groups) {
  const std::size_t width = groups.size();
  Table table{.name = "describe", .rows = descriptions.size(), .keys = 2, .isMixed = true};
  table.columns = {{"variable", [&variables, width](std::size_t row) { return variables[row / width]; }},
                   {"group", [&groups, width](std::size_t row) { return groups[row % width]; }}};
  AddDescriptions(table, [&descriptions, width, count = variables.size()](std::size_t row) {
    return descriptions[row % width * count + row / width];
  });
  return table;
}

std::vector<Table> WithoutWeightSum(Table descriptions) {
  Table forPeople = descriptions;
  std::erase_if(forPeople.columns, [](const Column& column) { return column.name == "weight_sum"; });
  forPeople.audience = Audience::kPeople;
  descriptions.audience = Audience::kPrograms;
  return {std::move(forPeople), std::move(descriptions)};
}

std::vector<Table> SumsTables(const derive::Sums& sums, const std::vector<std::string>& rows,
                              const std::vector<std::string>& cols, WithExtremes extremes) {
  std::vector<Table> tables = {PairTable(sums, rows, cols, extremes)};
  if (!sums.IsListwise() || !sums.IsSymmetric()) return tables;
  tables[0].audience = Audience::kPrograms;

  Table variables{.name = "variables", .caption = "Means and centred sums of squares", .rows = rows.size()};
  variables.columns = {{"variable", NameOf(rows)},
                       {"mean", [&sums](std::size_t row) { return sums.At(row, row).meanRow; }},
                       {"css", [&sums](std::size_t row) { return sums.At(row, row).cssRow; }}};
  if (extremes == WithExtremes::kYes) {
    variables.columns.push_back(
        {"min", [&sums](std::size_t row) { return sums.At(row, row).rangeRow.min; }, true});
    variables.columns.push_back(
        {"max", [&sums](std::size_t row) { return sums.At(row, row).rangeRow.max; }, true});
  }
  variables.audience = Audience::kPeople;
  tables.push_back(std::move(variables));

  Table products = Grid("cscp", "variable", rows, cols,
                        [&sums](std::size_t row, std::size_t col) { return sums.At(row, col).cscp; });
  products.caption = "Centred sums of squares and cross-products";
  products.audience = Audience::kPeople;
  tables.push_back(std::move(products));
  return tables;
}

}  // namespace render
