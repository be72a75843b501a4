#ifndef HOST_TABLE_COLUMN_H
#define HOST_TABLE_COLUMN_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace table {

/// Stands for a missing value among the numbers; a cell that parses to it is an error, out of range.
inline constexpr double kMissing = -1.7976931348623157e308;

enum class Kind { kNumeric, kText };

/// What the head of the input (its first 1,000 rows, or those of its first 64 MiB) tells about a column.
struct Column {
  std::string name;
  /// False where the header says nothing, as above the row names of a saved data frame; `name` stands in then.
  bool isNamed = true;
  /// Numeric when every present value of the head has the form of a number, also when there is none.
  Kind kind = Kind::kNumeric;
  /// The present values of the head in file order (numeric columns).
  std::vector<double> sample = {};
  /// For a text column the first value that is no number, and where it stands.
  std::string firstText = {};
  std::size_t firstTextFile = 0;
  std::uint64_t firstTextLine = 0;
};

/// Column numbers, from 0, for a list such as `a,b:d,3:7`: names, ranges in file order, positions from 1.
///
/// A name comes before a position of the same spelling. Names with commas are put in double quotes. Throws
/// InputError that names what is unknown, chosen twice, or a range that runs backwards.
std::vector<std::size_t> SelectColumns(const std::vector<Column>& columns, const std::string& list);

}  // namespace table

#endif
