#ifndef HOST_RENDER_TABLES_H
#define HOST_RENDER_TABLES_H

#include <functional>
#include <string>
#include <vector>

#include "derive/describe.h"
#include "derive/matrix.h"
#include "derive/sums.h"
#include "render/page.h"

/// Results of derive/ as tables. A table refers to what it was made of, which must outlive it.
namespace render {

/// A grid of values with a name for each row and column; `key` says what a row is about.
Table Grid(const std::string& name, const std::string& key, const std::vector<std::string>& rows,
           const std::vector<std::string>& cols, const std::function<Value(std::size_t, std::size_t)>& cell);

/// All cells of keyed tables as one table for CSV, a row for each: the table's name, the row's key, the column's
/// name, the value.
Table LongTable(const std::vector<Table>& tables);

/// A matrix with a name for each row and column.
Table MatrixTable(const std::string& name, const derive::Matrix& matrix, const std::vector<std::string>& rows,
                  const std::vector<std::string>& cols);

/// How many rows are behind each cell.
Table CountsTable(const derive::Sums& sums, const std::vector<std::string>& rows,
                  const std::vector<std::string>& cols);

/// Descriptions of variables, a row for each.
Table DescriptionsTable(const std::vector<derive::Description>& descriptions,
                        const std::vector<std::string>& variables);

/// The same by group, `descriptions` being those of the first group, then those of the next: a row for each variable and
/// group, of one variable those of its groups next to each other.
Table GroupDescriptionsTable(const std::vector<derive::Description>& descriptions,
                             const std::vector<std::string>& variables,
                             const std::vector<std::string>& groups);

/// Descriptions of rows that all weigh the same: people are not told the sum of the weights, which is n.
std::vector<Table> WithoutWeightSum(Table descriptions);

enum class WithExtremes { kNo, kYes };

/// The sums themselves: one row per pair of variables for programs; where every pair is over the same rows, a
/// table of the variables and a matrix of the cross-products for people.
std::vector<Table> SumsTables(const derive::Sums& sums, const std::vector<std::string>& rows,
                              const std::vector<std::string>& cols,
                              WithExtremes extremes = WithExtremes::kNo);

}  // namespace render

#endif
