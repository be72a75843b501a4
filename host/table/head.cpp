#include "table/head.h"

#include <cstddef>

#include "table/quoting.h"

namespace table {

HeadReader::HeadReader(std::vector<Column>& columns, const Format& format)
    : _columns(columns), _delimiter(format.delimiter), _cells(format), _splitter(format.delimiter) {}

void HeadReader::Read(const Chunk& chunk) {
  LineCounter lines(chunk);
  std::vector<const char*> starts;
  std::vector<std::string_view> contents;
  const char* end = chunk.bytes.data() + chunk.bytes.size();
  for (const char* row = chunk.bytes.data(); row != end;) {
    starts.clear();
    contents.clear();
    bool broken = false;
    bool doubled = false;
    const char* at = row;
    for (;; ++at) {
      const RawCell cell = ReadRawCell(at, end, _delimiter);
      starts.push_back(at);
      contents.emplace_back(cell.begin, static_cast<std::size_t>(cell.end - cell.begin));
      broken = broken || cell.broken;
      doubled = doubled || cell.doubled;
      at = cell.stop;
      if (AtRowEnd(at)) break;
    }
    if (!broken && starts.size() == _columns.size()) {
      if (doubled) contents = _splitter.Split({row, static_cast<std::size_t>(at - row)});
      for (std::size_t col = 0; col < contents.size(); ++col) {
        if (_columns[col].kind != Kind::kText)
          Read(_columns[col], Trim(contents[col]), chunk, lines, starts[col]);
      }
    }
    row = AfterRow(at);
  }
}

/// Takes in a cell that starts at `at`, of a column that was numeric so far.
void HeadReader::Read(Column& column, std::string_view content, const Chunk& chunk, LineCounter& lines,
                      const char* at) {
  double value = 0.0;
  const CellKind kind = _cells.Read(content, value);
  // An infinity or a number out of range has the form of a number: it is an error later, not a reason to leave the
  // column out silently.
  if (kind == CellKind::kNumber) column.sample.push_back(value);
  if (kind != CellKind::kText) return;
  column.kind = Kind::kText;
  column.sample = {};
  column.firstText = content;
  column.firstTextFile = chunk.file;
  column.firstTextLine = lines.LineAt(static_cast<std::size_t>(at - chunk.bytes.data()));
}

}  // namespace table
