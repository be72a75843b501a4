#include "table/head.h"

#include <cstddef>

#include "table/quoting.h"

namespace table {

HeadReader::HeadReader(std::vector<Column>& columns, const Format& format)
    : _columns(columns), _delimiter(format.delimiter), _cells(format), _splitter(format.delimiter) {}

void HeadReader::Read(const Chunk& chunk) {
  LineCounter lines(chunk);
  std::vector<std::size_t> offsets;  // of the cells of a row
  const char* begin = chunk.bytes.data();
  const char* end = begin + chunk.bytes.size();
  for (const char* row = begin; row != end;) {
    offsets.clear();
    bool broken = false;
    const char* at = row;
    for (;; ++at) {
      const RawCell cell = ReadRawCell(at, end, _delimiter);
      offsets.push_back(static_cast<std::size_t>(at - begin));
      broken = broken || cell.broken;
      at = cell.stop;
      if (AtRowEnd(at)) break;
    }
    if (!broken && offsets.size() == _columns.size()) {
      const auto& cells = _splitter.Split({row, static_cast<std::size_t>(at - row)});
      for (std::size_t col = 0; col < cells.size(); ++col) {
        Column& column = _columns[col];
        const std::string_view content = Trim(cells[col]);
        double value = 0.0;
        const CellKind kind = _cells.Read(content, value);
        if (column.kind == Kind::kText) continue;
        // An infinity or a number out of range has the form of a number: it is an error later, not a reason
        // to leave the column out silently.
        if (kind == CellKind::kNumber) column.sample.push_back(value);
        if (kind == CellKind::kText) {
          column.kind = Kind::kText;
          column.sample = {};
          column.firstText = content;
          column.firstTextFile = chunk.file;
          column.firstTextLine = lines.LineAt(offsets[col]);
        }
      }
    }
    row = AfterRow(at);
  }
}

}  // namespace table
