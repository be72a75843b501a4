#ifndef HOST_TABLE_QUOTING_H
#define HOST_TABLE_QUOTING_H

/// Where rows and cells end.
///
/// A quote opens a quoted cell only as the very first byte of the cell; in there, delimiters and newlines are
/// text and two quotes stand for one. Anywhere else a quote is an ordinary byte. After the closing quote only
/// a delimiter or the end of the row may follow; what does follow is read as if unquoted and marks the cell
/// as broken.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace table {

/// Finds the ends of rows in bytes that arrive in blocks. Each byte is looked at a fixed number of times,
/// whatever the length of rows and cells.
class RowScanner {
 public:
  /// `delimiters`: every byte after which a cell starts.
  explicit RowScanner(std::string delimiters) : _delimiters(std::move(delimiters)) {}

  /// The next block; the one before has been used up. It must stay in place until it is used up.
  void Feed(std::string_view block);
  /// Where the scan stands in the block.
  const char* At() const { return _at; }
  const char* BlockEnd() const { return _end; }

  /// Forgets the row in hand: what follows is the start of a row.
  void StartRow();
  /// Goes on to the end of the row in hand, behind its newline; nullptr when the block is used up before it.
  const char* NextEnd();

  /// Whether the row in hand stands within quotes that are still open.
  bool InQuotes() const { return _state == State::kQuoted; }
  /// Newlines of the row in hand that stand within quotes.
  std::uint64_t QuotedNewlines() const { return _quotedNewlines; }
  /// As many of them came before the quote that was opened last.
  std::uint64_t NewlinesBeforeQuote() const { return _newlinesBeforeQuote; }

 private:
  enum class State {
    kPlain,
    kQuoted,
    kQuoteInQuoted,  // it closes the cell unless another one follows, maybe in the next block
  };

  const char* Find(char needle) const;
  bool IsDelimiter(char byte) const { return _delimiters.find(byte) != std::string::npos; }

  std::string _delimiters;
  State _state = State::kPlain;
  bool _cellStart = true;  // what stands at _at is the first byte of a cell
  std::uint64_t _quotedNewlines = 0;
  std::uint64_t _newlinesBeforeQuote = 0;
  const char* _at = nullptr;
  const char* _end = nullptr;
  // The first newline and quote at or behind _at, once looked for: a find is kept until it is passed, or else
  // a long line with many cells would be searched anew for each of them.
  const char* _newline = nullptr;
  const char* _quote = nullptr;
};

/// One cell of a row whose bytes are all there.
struct RawCell {
  const char* begin;  ///< of the content: without the quotes
  const char* end;
  const char* stop;  ///< the delimiter, or the row's "\n" or "\r\n"
  bool doubled;      ///< the content holds doubled quotes
  bool broken;       ///< something stands between closing quote and `stop`, or the quote is never closed
};

/// The first `a` or `b` in [from, to), `to` if there is none.
inline const char* FindEither(const char* from, const char* to, char a, char b) {
#ifdef __SSE2__
  const __m128i allA = _mm_set1_epi8(a);
  const __m128i allB = _mm_set1_epi8(b);
  for (; to - from >= 16; from += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    const __m128i hits = _mm_or_si128(_mm_cmpeq_epi8(bytes, allA), _mm_cmpeq_epi8(bytes, allB));
    const auto mask = static_cast<unsigned>(_mm_movemask_epi8(hits));
    if (mask != 0) return from + std::countr_zero(mask);
  }
#endif
  while (from != to && *from != a && *from != b) ++from;
  return from;
}

/// The cell that starts at `from`, in rows that end at `to` with a newline.
RawCell ReadRawCell(const char* from, const char* to, char delimiter);

/// Whether a row ends at `at`, which is no further than the last newline.
inline bool AtRowEnd(const char* at) { return *at == '\n' || (*at == '\r' && at[1] == '\n'); }
inline bool AtCellEnd(const char* at, char delimiter) { return *at == delimiter || AtRowEnd(at); }
/// Behind the row end at `stop`.
inline const char* AfterRow(const char* stop) { return stop + (*stop == '\r' ? 2 : 1); }

}  // namespace table

#endif
