#include "table/input.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <cassert>
#include <exception>
#include <limits>
#include <span>
#include <string_view>
#include <utility>

#include "table/bytesource.h"
#include "table/decoding.h"
#include "table/head.h"
#include "table/header.h"
#include "table/quoting.h"

namespace table {
namespace {

constexpr std::size_t kBlockBytes = std::size_t{1} << 20;
constexpr std::size_t kMaxRowBytes = std::size_t{64} << 20;
// Each takes some hundred bytes, so that a first row of nothing but delimiters would take all memory.
constexpr std::ptrdiff_t kMostColumns = 1'000'000;
constexpr std::uint32_t kHeadRows = 1000;
constexpr std::size_t kHeadBytes = std::size_t{64} << 20;
constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

bool IsBlank(std::string_view bytes, char delimiter) {
  return std::all_of(bytes.begin(), bytes.end(), [&](char byte) {
    return byte == '\n' || byte == '\r' || ((byte == ' ' || byte == '\t') && byte != delimiter);
  });
}

/// How many bytes fill a chunk before its rows do: several times what numbers take, so that only long text does it.
/// Every thread holds a chunk.
std::size_t MostBytes(std::size_t rows, std::size_t columns) {
  constexpr std::size_t kCellBytes = 32;
  constexpr std::size_t kLeast = std::size_t{4} << 20;
  constexpr std::size_t kMost = std::size_t{64} << 20;
  return std::clamp(rows * columns * kCellBytes, kLeast, kMost);
}

}  // namespace

void CheckFormat(const Format& format) {
  const auto breaksNumbers = [](char byte) {
    return (byte >= '0' && byte <= '9') || byte == '+' || byte == '-' || byte == 'e' || byte == 'E';
  };
  const auto breaksRows = [](char byte) { return byte == '"' || byte == '\n' || byte == '\r'; };
  const char delimiter = format.delimiter;
  const char decimal = format.decimal;
  if (breaksRows(delimiter) || breaksNumbers(delimiter))
    throw InputError("cannot be the delimiter", {}, {&delimiter, 1});
  if (breaksRows(decimal) || breaksNumbers(decimal) || decimal == ' ' || decimal == '\t' || decimal == 0)
    throw InputError("cannot be the decimal sign", {}, {&decimal, 1});
  if (delimiter == decimal) throw InputError("delimiter and decimal sign are the same", {}, {&decimal, 1});
}

class Input::Reader {
 public:
  Reader(std::vector<std::string> paths, Format format, std::function<bool()> stopped,
         std::vector<std::string> names);

  bool Next(Chunk& chunk, std::uint32_t rows);
  void ReadHead(const std::function<void(const Chunk&)>& take);

  const std::vector<Column>& Columns() const { return _columns; }
  bool HasRows() const { return _hasRows; }
  const Format& UsedFormat() const { return _format; }
  std::size_t Files() const { return _files.size(); }
  const std::string& FileName(std::size_t file) const { return _files[file].name; }
  std::uint64_t BytesRead() const { return _bytesRead.load(std::memory_order_relaxed); }
  std::uint64_t BlankLines() const { return _blankLines.load(std::memory_order_relaxed); }
  std::uint64_t TotalBytes() const { return _totalBytes; }

 private:
  struct File {
    std::string path;
    std::string name;
    std::unique_ptr<ByteSource> source = {};
    bool begun = false;
    bool ended = false;
    // What was read of it while the head was looked at, to be read once more.
    std::string recorded = {};
    std::size_t replayed = 0;
  };

  void AddFiles(std::vector<std::string> paths, std::vector<std::string> names);
  void ReadLayout();
  void Rewind();

  std::uint64_t RowsLeft() const {
    return _format.mostRows > 0 ? _format.mostRows - _rows : std::numeric_limits<std::uint64_t>::max();
  }
  void StartFile();
  void EndFile();
  bool FillFromFile(Chunk& chunk, std::uint32_t rows, std::uint64_t left, bool blankIsRow);
  void AddBlankLine(Chunk& chunk);
  std::string_view ReadBlock();
  std::size_t ReadSource(File& file, std::size_t filled);
  std::string_view WithoutMark(File& file, std::string_view block);
  Place QuotePlace() const;
  InputError TooLong() const;

  Format _format;
  std::function<bool()> _stopped;
  std::vector<File> _files;
  std::uint64_t _totalBytes = 0;
  std::vector<Column> _columns;
  std::vector<std::string> _header;
  bool _hasRows = false;

  // Where the reading stands.
  std::size_t _file = 0;
  bool _fileStarted = false;
  bool _fileHasContent = false;
  std::uint64_t _line = 1;  // of the row in hand
  std::uint64_t _chunkNumber = 0;
  std::uint64_t _rows = 0;      // handed out so far
  std::size_t _wholeBytes = 0;  // of the whole rows in the chunk in hand
  bool _givenUp = false;        // asked to stop, or failed
  std::exception_ptr _pending;  // the failure, while rows before it are on their way
  bool _recording = true;
  RowScanner _scanner{""};
  std::unique_ptr<char[]> _block;
  std::atomic<std::uint64_t> _bytesRead = 0;
  std::atomic<std::uint64_t> _blankLines = 0;
};

Input::Reader::Reader(std::vector<std::string> paths, Format format, std::function<bool()> stopped,
                      std::vector<std::string> names)
    : _format(std::move(format)),
      _stopped(std::move(stopped)),
      _block(std::make_unique_for_overwrite<char[]>(kBlockBytes)) {
  CheckFormat(_format);
  AddFiles(std::move(paths), std::move(names));
  ReadLayout();
  HeadReader head(_columns, _format);
  ReadHead([&](const Chunk& rows) { head.Read(rows); });
}

void Input::Reader::AddFiles(std::vector<std::string> paths, std::vector<std::string> names) {
  if (paths.empty()) paths.emplace_back(kStandardInput);
  if (std::count(paths.begin(), paths.end(), kStandardInput) > 1)
    throw InputError("standard input can be read only once", {});
  bool sizeKnown = true;
  assert(names.empty() || names.size() == paths.size());
  for (std::size_t file = 0; file < paths.size(); ++file) {
    std::string& path = paths[file];
    std::string name(path == kStandardInput ? std::string_view("<stdin>") : path);
    if (!names.empty()) name = names[file];
    const FileFacts facts = CheckFile(path, name);
    sizeKnown = sizeKnown && facts.regular;
    _totalBytes += facts.size;
    _files.push_back({.path = std::move(path), .name = std::move(name)});
  }
  if (!sizeKnown || _format.mostRows > 0) _totalBytes = 0;
}

/// Learns delimiter and columns from the first row.
void Input::Reader::ReadLayout() {
  Chunk row;
  const auto readFirstRow = [&] {
    row = {};
    FillFromFile(row, 1, 1, false);
    if (row.rows == 0)
      throw InputError(_givenUp ? "was given up before its first row" : "is empty", {.file = _files[0].name});
    Rewind();
  };
  if (_format.delimiter == 0) {
    const std::string candidates = DelimiterCandidates(_format);
    _scanner = RowScanner(candidates);
    readFirstRow();
    _format.delimiter = DetectDelimiter(row.bytes, candidates);
    // A file of one column has none: then one that makes a row of several cells stand out.
    if (_format.delimiter == 0) _format.delimiter = _format.decimal == ',' ? ';' : ',';
  }
  _scanner = RowScanner(std::string(1, _format.delimiter));
  readFirstRow();
  if (std::count(row.bytes.begin(), row.bytes.end(), _format.delimiter) >= kMostColumns) {
    throw InputError(fmt::format("more than {} columns", kMostColumns),
                     {.file = _files[0].name, .line = row.firstLine});
  }

  if (_format.header) {
    _header = ReadHeader(row, _files[0].name, _format.delimiter);
    for (const std::string& name : _header) {
      const bool isNamed = !name.empty();
      _columns.push_back({.name = isNamed ? name : StandInName(_columns.size() + 1), .isNamed = isNamed});
    }
  } else {
    const char* end = row.bytes.data() + row.bytes.size();
    const char* at = row.bytes.data() - 1;
    do {
      at = ReadRawCell(at + 1, end, _format.delimiter).stop;
      _columns.push_back({.name = StandInName(_columns.size() + 1)});
    } while (!AtRowEnd(at));
  }
}

void Input::Reader::ReadHead(const std::function<void(const Chunk&)>& take) {
  assert(_rows == 0);
  _recording = true;
  Chunk chunk;
  std::uint32_t rows = 0;
  std::size_t bytes = 0;
  try {
    while (rows < kHeadRows && bytes < kHeadBytes && Next(chunk, kHeadRows - rows)) {
      take(chunk);
      rows += chunk.rows;
      bytes += chunk.bytes.size();
    }
    _hasRows = rows > 0;
  } catch (const InputError&) {
    // It will come up again when the rows are read for good, behind bad cells that stand before it.
    _hasRows = true;
  }
  Rewind();
  _recording = false;
}

/// Goes back to the start of the first file; what was read of the files so far is recorded.
void Input::Reader::Rewind() {
  for (File& file : _files) file.replayed = 0;
  _scanner.Feed({});
  _file = 0;
  _fileStarted = false;
  _line = 1;
  _chunkNumber = 0;
  _rows = 0;
  _blankLines = 0;
  _givenUp = false;
  _pending = nullptr;
}

bool Input::Reader::Next(Chunk& chunk, std::uint32_t rows) {
  chunk.rows = 0;
  chunk.bytes.clear();
  chunk.gaps.clear();
  if (_pending) std::rethrow_exception(std::exchange(_pending, nullptr));
  try {
    while (chunk.rows == 0 && !_givenUp && RowsLeft() > 0 && _file < _files.size()) {
      if (!_fileStarted) StartFile();
      chunk.file = _file;
      const bool ended = FillFromFile(chunk, rows, RowsLeft(), _columns.size() == 1);
      _fileHasContent = _fileHasContent || chunk.rows > 0;
      if (ended) EndFile();
    }
  } catch (const InputError&) {
    _givenUp = true;
    if (chunk.rows == 0) throw;
    // The rows before the fault come first: one of them may hold an earlier one.
    chunk.bytes.erase(_wholeBytes);
    _pending = std::current_exception();
  } catch (...) {
    // Without memory the rows found so far are not all in the chunk.
    _givenUp = true;
    throw;
  }
  if (chunk.rows == 0) return false;
  chunk.number = _chunkNumber++;
  _rows += chunk.rows;
  return true;
}

void Input::Reader::StartFile() {
  _fileStarted = true;
  _fileHasContent = false;
  _line = 1;
  if (!_format.header) return;
  Chunk row;
  FillFromFile(row, 1, 1, false);
  _fileHasContent = row.rows > 0;
  if (_fileHasContent && _file > 0) {
    const std::string& name = _files[_file].name;
    CheckSameHeader(ReadHeader(row, name, _format.delimiter), row, name, _header, _files[0].name);
  }
}

void Input::Reader::EndFile() {
  if (_givenUp) return;
  if (!_fileHasContent) throw InputError("is empty", {.file = _files[_file].name});
  ++_file;
  _fileStarted = false;
}

/// Adds rows of the file in hand until the chunk is full or has `left` rows (false), or there are no more (true).
bool Input::Reader::FillFromFile(Chunk& chunk, std::uint32_t rows, std::uint64_t left, bool blankIsRow) {
  std::size_t rowBytes = 0;  // of the row in hand
  bool blank = true;
  const char* copied = _scanner.At();  // what stands before it is in the chunk
  const auto copyTo = [&](const char* to) {
    chunk.bytes.append(copied, static_cast<std::size_t>(to - copied));
    copied = to;
  };
  const auto endRow = [&](const char* end) {
    if (blank && !blankIsRow) {
      copyTo(end);
      chunk.bytes.erase(chunk.bytes.size() - rowBytes);
      AddBlankLine(chunk);
    } else {
      if (chunk.rows++ == 0) chunk.firstLine = _line;
      _wholeBytes = chunk.bytes.size() + static_cast<std::size_t>(end - copied);
    }
    _line += 1 + _scanner.QuotedNewlines();
    _scanner.StartRow();
    rowBytes = 0;
    blank = true;
  };

  const std::size_t mostBytes = MostBytes(rows, _columns.size());
  _wholeBytes = 0;
  _scanner.StartRow();
  while (chunk.rows < rows && chunk.rows < left && _wholeBytes < mostBytes) {
    const char* begin = _scanner.At();
    const char* end = _scanner.NextEnd();
    const std::string_view piece(
        begin, static_cast<std::size_t>((end != nullptr ? end : _scanner.BlockEnd()) - begin));
    blank = blank && IsBlank(piece, _format.delimiter);
    rowBytes += piece.size();
    if (rowBytes > kMaxRowBytes) {
      copyTo(piece.data() + piece.size());
      throw TooLong();
    }
    if (end != nullptr) {
      endRow(end);
      continue;
    }
    copyTo(_scanner.BlockEnd());
    const std::string_view block = ReadBlock();
    if (block.empty()) {
      if (_givenUp) {
        chunk.bytes.erase(_wholeBytes);
      } else if (rowBytes > 0) {
        if (_scanner.InQuotes()) throw InputError("quote is never closed", QuotePlace());
        chunk.bytes += '\n';
        ++rowBytes;
        endRow(copied);
      }
      return true;
    }
    _scanner.Feed(block);
    copied = block.data();
  }
  copyTo(_scanner.At());
  return false;
}

void Input::Reader::AddBlankLine(Chunk& chunk) {
  _blankLines.fetch_add(1, std::memory_order_relaxed);
  if (chunk.rows == 0) return;
  if (chunk.gaps.empty() || chunk.gaps.back().offset != chunk.bytes.size())
    chunk.gaps.push_back({.offset = chunk.bytes.size(), .lines = 0});
  ++chunk.gaps.back().lines;
}

/// The next bytes of the file in hand, none at its end or when the reading was given up.
std::string_view Input::Reader::ReadBlock() {
  File& file = _files[_file];
  if (file.replayed < file.recorded.size()) {
    const std::string_view rest = std::string_view(file.recorded).substr(file.replayed);
    file.replayed = file.recorded.size();
    return rest;
  }
  if (!_recording) file.recorded = std::string();
  if (file.ended) return {};

  std::string_view block(_block.get(), ReadSource(file, 0));
  if (!file.begun) {
    file.begun = true;
    block = WithoutMark(file, block);
  }
  if (block.empty()) {
    _givenUp = _stopped && _stopped();
    file.ended = !_givenUp;
    if (file.ended) file.source.reset();
  } else if (_recording) {
    file.recorded.append(block);
    file.replayed = file.recorded.size();
  }
  return block;
}

/// Reads into the block behind its first `filled` bytes.
std::size_t Input::Reader::ReadSource(File& file, std::size_t filled) {
  if (!file.source) file.source = Decoded(OpenFile(file.path, file.name, _stopped), file.name, _stopped);
  const std::uint64_t before = file.source->Taken();
  const std::span<char> room = std::span(_block.get(), kBlockBytes).subspan(filled);
  const std::size_t count = file.source->Read(room.data(), room.size());
  _bytesRead.fetch_add(file.source->Taken() - before, std::memory_order_relaxed);
  return count;
}

/// The first block of a file without a byte-order mark, which may come in pieces.
std::string_view Input::Reader::WithoutMark(File& file, std::string_view block) {
  while (!block.empty() && block.size() < kByteOrderMark.size() && kByteOrderMark.starts_with(block)) {
    const std::size_t more = ReadSource(file, block.size());
    if (more == 0) break;
    block = {block.data(), block.size() + more};
  }
  if (block.starts_with("\xff\xfe") || block.starts_with("\xfe\xff"))
    throw InputError("is UTF-16 text: convert it to UTF-8 first", {.file = file.name});
  if (!block.starts_with(kByteOrderMark)) return block;
  block.remove_prefix(kByteOrderMark.size());
  // Nothing left of this block does not mean the end of the file.
  return block.empty() ? std::string_view(_block.get(), ReadSource(file, 0)) : block;
}

Place Input::Reader::QuotePlace() const {
  return {.file = _files[_file].name, .line = _line + _scanner.NewlinesBeforeQuote()};
}

InputError Input::Reader::TooLong() const {
  constexpr std::size_t kMebibytes = kMaxRowBytes >> 20;
  if (_scanner.InQuotes()) {
    return InputError(fmt::format("quote is not closed before the row reaches {} MiB", kMebibytes),
                      QuotePlace());
  }
  return InputError(fmt::format("row is longer than {} MiB", kMebibytes),
                    {.file = _files[_file].name, .line = _line});
}

Input::Input(std::vector<std::string> paths, Format format, std::function<bool()> stopped,
             std::vector<std::string> names)
    : _reader(std::make_unique<Reader>(std::move(paths), std::move(format), std::move(stopped),
                                       std::move(names))) {}
Input::~Input() = default;

const std::vector<Column>& Input::Columns() const { return _reader->Columns(); }
bool Input::HasRows() const { return _reader->HasRows(); }
const Format& Input::UsedFormat() const { return _reader->UsedFormat(); }
std::size_t Input::Files() const { return _reader->Files(); }
const std::string& Input::FileName(std::size_t file) const { return _reader->FileName(file); }
void Input::ReadHead(const std::function<void(const Chunk&)>& take) { _reader->ReadHead(take); }
bool Input::Next(Chunk& chunk, std::uint32_t rows) { return _reader->Next(chunk, rows); }
std::uint64_t Input::BytesRead() const { return _reader->BytesRead(); }
std::uint64_t Input::BlankLines() const { return _reader->BlankLines(); }
std::uint64_t Input::TotalBytes() const { return _reader->TotalBytes(); }

}  // namespace table
