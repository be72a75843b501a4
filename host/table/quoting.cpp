#include "table/quoting.h"

#include <cstring>

namespace table {

void RowScanner::Feed(std::string_view block) {
  _at = block.data();
  _end = _at + block.size();
  _newline = _quote = nullptr;
}

void RowScanner::StartRow() {
  _state = State::kPlain;
  _cellStart = true;
  _quotedNewlines = 0;
}

const char* RowScanner::Find(char needle) const {
  // Most are near, and then the call of memchr would cost more than its work.
  const char* near = _end - _at < 16 ? _end : _at + 16;
  const char* found = FindEither(_at, near, needle, needle);
  if (found != near) return found;
  const void* far = std::memchr(near, needle, static_cast<std::size_t>(_end - near));
  return far != nullptr ? static_cast<const char*>(far) : _end;
}

const char* RowScanner::NextEnd() {
  while (_at != _end) {
    switch (_state) {
      case State::kQuoted:
        _at = FindEither(_at, _end, '"', '\n');
        if (_at == _end) return nullptr;
        if (*_at++ == '\n') {
          ++_quotedNewlines;
        } else {
          _state = State::kQuoteInQuoted;
        }
        break;
      case State::kQuoteInQuoted:
        if (*_at == '"') {
          ++_at;
          _state = State::kQuoted;
        } else {
          _cellStart = false;
          _state = State::kPlain;
        }
        break;
      case State::kPlain:
        if (_newline < _at) _newline = Find('\n');
        if (_quote < _at) _quote = Find('"');
        if (_quote < _newline) {
          const bool opens = _quote == _at ? _cellStart : IsDelimiter(_quote[-1]);
          _at = _quote + 1;
          _cellStart = false;
          if (opens) {
            _newlinesBeforeQuote = _quotedNewlines;
            _state = State::kQuoted;
          }
        } else if (_newline == _end) {
          _cellStart = IsDelimiter(_end[-1]);
          _at = _end;
        } else {
          _at = _newline + 1;
          return _at;
        }
        break;
    }
  }
  return nullptr;
}

RawCell ReadRawCell(const char* from, const char* to, char delimiter) {
  RawCell cell{from, to, to, false, false};
  const char* at = from;
  if (at != to && *at == '"') {
    cell.begin = ++at;
    for (;; at += 2, cell.doubled = true) {
      const void* quote = std::memchr(at, '"', static_cast<std::size_t>(to - at));
      if (quote == nullptr) {
        cell.broken = true;
        return cell;
      }
      at = static_cast<const char*>(quote);
      if (to - at < 2 || at[1] != '"') break;
    }
    cell.end = at++;
    if (at == to || AtCellEnd(at, delimiter)) {
      cell.stop = at;
      return cell;
    }
    cell.broken = true;
  }
  cell.stop = FindEither(at, to, delimiter, '\n');
  // The newline takes a carriage return before it along.
  if (cell.stop != to && *cell.stop == '\n' && cell.stop != at && cell.stop[-1] == '\r') --cell.stop;
  if (!cell.broken) cell.end = cell.stop;
  return cell;
}

}  // namespace table
