#ifndef HOST_TABLE_FORMAT_H
#define HOST_TABLE_FORMAT_H

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
};

}  // namespace table

#endif
