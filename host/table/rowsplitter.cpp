#include "table/rowsplitter.h"

#include <new>
#include <stdexcept>

namespace table {
namespace {

struct Cells {
  std::string& text;
  std::vector<std::size_t>& ends;
};

extern "C" {

static void EndCell(void* bytes, std::size_t size, void* cells) {
  auto& [text, ends] = *static_cast<Cells*>(cells);
  text.append(static_cast<const char*>(bytes), size);
  ends.push_back(text.size());
}

static void EndRow(int /*terminator*/, void* /*cells*/) {}

static int IsNever(unsigned char /*byte*/) { return 0; }
}

}  // namespace

RowSplitter::RowSplitter(char delimiter) {
  if (csv_init(&_parser, 0) != 0) throw std::bad_alloc();
  csv_set_delim(&_parser, static_cast<unsigned char>(delimiter));
  // The library would let a quote behind blanks open a cell, and end the row at a lone carriage return.
  csv_set_space_func(&_parser, IsNever);
  csv_set_term_func(&_parser, IsNever);
}

const std::vector<std::string_view>& RowSplitter::Split(std::string_view row) {
  _text.clear();
  _ends.clear();
  _cells.clear();
  // The library's buffer grows by this much at a time: its own 128 bytes would move a long cell over and
  // over.
  csv_set_blk_size(&_parser, row.size() + 1);
  Cells cells{_text, _ends};
  const bool parsed = csv_parse(&_parser, row.data(), row.size(), EndCell, EndRow, &cells) == row.size() &&
                      csv_fini(&_parser, EndCell, EndRow, &cells) == 0;
  if (!parsed) {
    if (csv_error(&_parser) == CSV_ENOMEM) throw std::bad_alloc();
    throw std::runtime_error(csv_strerror(csv_error(&_parser)));
  }
  if (_ends.empty()) _ends.push_back(0);  // a row without bytes is one empty cell
  std::size_t begin = 0;
  for (const std::size_t end : _ends) {
    _cells.push_back(std::string_view(_text).substr(begin, end - begin));
    begin = end;
  }
  return _cells;
}

}  // namespace table
