#include "table/rowparser.h"

#include <fmt/format.h>

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <utility>

#include "table/cell.h"
#include "table/quoting.h"
#include "table/rowsplitter.h"

namespace table {

class RowParser::State {
 public:
  State(const Input& input, std::vector<std::size_t> numeric, std::optional<std::size_t> text);

  void Begin(const Chunk& chunk);
  bool ReadRow(std::vector<double>& values, std::optional<std::string_view>& text);
  void SplitEveryRow() { _splitEveryRow = true; }
  InputError ErrorAt(std::size_t col, const std::string& reason) const;
  std::size_t NumericColumn(std::size_t numeric) const { return _numeric[numeric]; }
  std::size_t TextColumn() const { return *_text; }

 private:
  /// A chosen column; they are visited in file order.
  struct Step {
    std::size_t col;
    std::size_t skipped;  // columns between the one before and this one
    bool isNumeric;
    bool isText;
    std::size_t slot;  // of the number among the values
  };
  /// A number chosen more than once is read into the first of its slots and copied from there.
  struct Copy {
    std::size_t from;
    std::size_t to;
  };

  const char* ReadInPlace(double* values, std::optional<std::string_view>& text);
  const char* ReadThroughSplitter(double* values, std::optional<std::string_view>& text);
  const char* SkipCells(const char* at, std::size_t count) const;
  double Number(std::size_t col, std::string_view content) const;
  std::optional<std::string_view> Text(std::string_view content) const;
  const char* CheckRow() const;
  const char* FindCell(std::size_t col) const;
  Place PlaceOf(const char* at) const;
  [[noreturn]] void Reject(std::size_t col, const std::string& reason, std::string_view content) const;

  const Input& _input;
  const char _delimiter;
  const std::size_t _width;
  const std::vector<std::size_t> _numeric;
  const std::optional<std::size_t> _text;
  std::vector<Step> _steps;
  std::size_t _tail = 0;  // columns behind the last step
  std::vector<Copy> _copies;
  CellReader _cells;
  RowSplitter _splitter;
  bool _splitEveryRow = false;

  const Chunk* _chunk = nullptr;
  const char* _row = nullptr;   // the row in hand
  const char* _next = nullptr;  // the one behind it
  const char* _end = nullptr;
};

RowParser::State::State(const Input& input, std::vector<std::size_t> numeric, std::optional<std::size_t> text)
    : _input(input),
      _delimiter(input.UsedFormat().delimiter),
      _width(input.Columns().size()),
      _numeric(std::move(numeric)),
      _text(text),
      _cells(input.UsedFormat()),
      _splitter(_delimiter) {
  std::vector<std::pair<std::size_t, std::size_t>> chosen;  // column, slot
  for (std::size_t slot = 0; slot < _numeric.size(); ++slot) chosen.emplace_back(_numeric[slot], slot);
  std::sort(chosen.begin(), chosen.end());
  for (const auto& [col, slot] : chosen) {
    if (!_steps.empty() && _steps.back().col == col) {
      _copies.push_back({_steps.back().slot, slot});
    } else {
      _steps.push_back({col, 0, true, col == _text, slot});
    }
  }
  if (_text) {
    const auto place = std::lower_bound(_steps.begin(), _steps.end(), *_text,
                                        [](const Step& step, std::size_t col) { return step.col < col; });
    if (place == _steps.end() || place->col != *_text) _steps.insert(place, {*_text, 0, false, true, 0});
  }
  std::size_t next = 0;
  for (Step& step : _steps) {
    assert(step.col < _width);
    step.skipped = step.col - next;
    next = step.col + 1;
  }
  _tail = _width - next;
}

void RowParser::State::Begin(const Chunk& chunk) {
  assert(chunk.bytes.empty() || chunk.bytes.back() == '\n');
  _chunk = &chunk;
  _row = _next = chunk.bytes.data();
  _end = _next + chunk.bytes.size();
}

bool RowParser::State::ReadRow(std::vector<double>& values, std::optional<std::string_view>& text) {
  if (_next == _end) return false;
  _row = _next;
  const char* stop = _splitEveryRow ? nullptr : ReadInPlace(values.data(), text);
  if (stop == nullptr) stop = ReadThroughSplitter(values.data(), text);
  for (const Copy& copy : _copies) values[copy.to] = values[copy.from];
  _next = AfterRow(stop);
  return true;
}

/// Reads the cells straight from the row's bytes and returns where the row stops; nullptr when there is a
/// cell that cannot be read where it stands.
const char* RowParser::State::ReadInPlace(double* values, std::optional<std::string_view>& text) {
  const char* const end = _end;
  const char delimiter = _delimiter;
  const char* at = _row;
  bool first = true;
  for (const Step& step : _steps) {
    if (!first && *at++ != delimiter) return nullptr;
    first = false;
    if (step.skipped > 0) {
      at = SkipCells(at, step.skipped);
      if (at == nullptr) return nullptr;
    }
    if (!step.isText) {
      const char* stop = _cells.ReadPlain(at, end, delimiter, values[step.slot]);
      if (stop != nullptr) {
        at = stop;
        continue;
      }
    }
    const RawCell cell = ReadRawCell(at, end, delimiter);
    if (cell.broken || cell.doubled) return nullptr;
    const std::string_view content = Trim({cell.begin, static_cast<std::size_t>(cell.end - cell.begin)});
    if (step.isNumeric) values[step.slot] = Number(step.col, content);
    if (step.isText) text = Text(content);
    at = cell.stop;
  }
  if (_tail > 0) {
    if (!first && *at++ != delimiter) return nullptr;
    at = SkipCells(at, _tail - 1);
    if (at == nullptr) return nullptr;
    const RawCell last = ReadRawCell(at, end, delimiter);
    if (last.broken) return nullptr;
    at = last.stop;
  }
  return AtRowEnd(at) ? at : nullptr;
}

/// Passes over `count` cells and the delimiter behind each; nullptr if they are not there or broken.
const char* RowParser::State::SkipCells(const char* at, std::size_t count) const {
  for (; count > 0; --count) {
    const RawCell cell = ReadRawCell(at, _end, _delimiter);
    if (cell.broken || *cell.stop != _delimiter) return nullptr;
    at = cell.stop + 1;
  }
  return at;
}

/// Reads any row, and throws if it has another width or broken cells.
const char* RowParser::State::ReadThroughSplitter(double* values, std::optional<std::string_view>& text) {
  const char* stop = CheckRow();
  const auto& cells = _splitter.Split({_row, static_cast<std::size_t>(stop - _row)});
  for (const Step& step : _steps) {
    const std::string_view content = Trim(cells[step.col]);
    if (step.isNumeric) values[step.slot] = Number(step.col, content);
    if (step.isText) text = Text(content);
  }
  return stop;
}

double RowParser::State::Number(std::size_t col, std::string_view content) const {
  double value = kMissing;
  switch (_cells.Read(content, value)) {
    case CellKind::kNumber:
      return value;
    case CellKind::kAbsent:
      return kMissing;
    case CellKind::kText:
      Reject(col, content.empty() ? "empty cell" : "not a number", content);
    case CellKind::kOutOfRange:
      Reject(col, "number out of range", content);
    case CellKind::kNotFinite:
      Reject(col, "not a finite number", content);
  }
  return value;
}

std::optional<std::string_view> RowParser::State::Text(std::string_view content) const {
  if (_cells.IsMissing(content)) return {};
  return content;
}

/// Throws unless the row in hand has sound cells in the right number; returns where it stops.
const char* RowParser::State::CheckRow() const {
  std::size_t count = 0;
  for (const char* at = _row;; ++at) {
    const RawCell cell = ReadRawCell(at, _end, _delimiter);
    if (cell.broken) {
      Place place = PlaceOf(at);
      if (count < _width) place.column = _input.Columns()[count].name;
      throw InputError("text after the closing quote", place, {at, static_cast<std::size_t>(cell.stop - at)});
    }
    ++count;
    at = cell.stop;
    if (!AtRowEnd(at)) continue;
    if (count == _width) return at;
    throw InputError(fmt::format("row of {} cells where there are {} columns", count, _width), PlaceOf(_row));
  }
}

/// Where the cell of a column starts in the row in hand.
const char* RowParser::State::FindCell(std::size_t col) const {
  const char* at = _row;
  for (; col > 0; --col) at = ReadRawCell(at, _end, _delimiter).stop + 1;
  return at;
}

Place RowParser::State::PlaceOf(const char* at) const {
  return {.file = _input.FileName(_chunk->file),
          .line = _chunk->LineAt(static_cast<std::size_t>(at - _chunk->bytes.data()))};
}

void RowParser::State::Reject(std::size_t col, const std::string& reason, std::string_view content) const {
  // In a row of the wrong width the cells are not what they seem: then that is the fault to tell.
  CheckRow();
  Place place = PlaceOf(FindCell(col));
  place.column = _input.Columns()[col].name;
  throw InputError(reason, place, content);
}

InputError RowParser::State::ErrorAt(std::size_t col, const std::string& reason) const {
  const char* at = FindCell(col);
  const RawCell cell = ReadRawCell(at, _end, _delimiter);
  Place place = PlaceOf(at);
  place.column = _input.Columns()[col].name;
  return InputError(reason, place, Trim({cell.begin, static_cast<std::size_t>(cell.end - cell.begin)}));
}

RowParser::RowParser(const Input& input, std::vector<std::size_t> numeric, std::optional<std::size_t> text)
    : _values(numeric.size(), kMissing), _state(std::make_unique<State>(input, std::move(numeric), text)) {}
RowParser::~RowParser() = default;

void RowParser::Begin(const Chunk& chunk) { _state->Begin(chunk); }
bool RowParser::ReadRow() { return _state->ReadRow(_values, _text); }
void RowParser::SplitEveryRow() { _state->SplitEveryRow(); }

InputError RowParser::ErrorAt(std::size_t numeric, const std::string& reason) const {
  return _state->ErrorAt(_state->NumericColumn(numeric), reason);
}
InputError RowParser::ErrorAtText(const std::string& reason) const {
  return _state->ErrorAt(_state->TextColumn(), reason);
}

}  // namespace table
