#ifndef HOST_TABLE_HEAD_H
#define HOST_TABLE_HEAD_H

#include <string_view>
#include <vector>

#include "table/cell.h"
#include "table/chunk.h"
#include "table/column.h"
#include "table/format.h"
#include "table/rowsplitter.h"

namespace table {

/// Learns from the first rows of the input what kind of column each one is.
class HeadReader {
 public:
  /// Fills in kind, sample and first text of `columns`.
  HeadReader(std::vector<Column>& columns, const Format& format);

  /// Takes the rows of `chunk` in. Rows of another width or with a broken cell are passed over: whoever reads
  /// them for good reports them.
  void Read(const Chunk& chunk);

 private:
  void Read(Column& column, std::string_view content, const Chunk& chunk, LineCounter& lines, const char* at);

  std::vector<Column>& _columns;
  char _delimiter;
  CellReader _cells;
  RowSplitter _splitter;
};

}  // namespace table

#endif
