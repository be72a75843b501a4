#ifndef HOST_TABLE_FORMAT_H
#define HOST_TABLE_FORMAT_H

#include <cstdint>
#include <string>
#include <vector>

namespace table {

/// How the bytes of the input are to be read.
struct Format {
  /// 0: detected from the first line, the first of tab, semicolon, comma and pipe that stands in it outside
  /// quotes (a comma only where it is not the decimal sign); none of them: one column.
  char delimiter = 0;
  char decimal = '.';
  /// Without a header the columns are named V1, V2, …
  bool header = true;
  /// What stands for a missing value, compared in any case. A token that is a number stands for that number
  /// however it is written: "-99" covers "-99.0" too.
  std::vector<std::string> missing = {"", "NA", "NaN", ".", "null"};
  /// Rows of all files together behind which nothing is read, as if the input ended there; 0: all.
  std::uint64_t mostRows = 0;
};

/// Throws InputError for a delimiter or decimal sign that would break rows or numbers, or both the same.
void CheckFormat(const Format& format);

}  // namespace table

#endif
