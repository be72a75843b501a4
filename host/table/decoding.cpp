#include "table/decoding.h"

#include <fmt/format.h>
#include <lzma.h>
#define ZLIB_CONST  // zlib changes no input
#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <new>
#include <span>
#include <string_view>
#include <utility>

#include "table/inputerror.h"

namespace table {
namespace {

constexpr std::size_t kCompressedBytes = std::size_t{1} << 18;
constexpr int kMostWindowBits = 28;  // of memory, 256 MiB
constexpr std::string_view kGzipMagic = "\x1f\x8b";
constexpr std::string_view kZstdMagic = "\x28\xb5\x2f\xfd";
constexpr std::string_view kZstdSkippedMagic = "\x2a\x4d\x18";  // behind one of 16 bytes:
constexpr char kZstdSkipped = '\x50';
constexpr std::string_view kXzMagic("\xfd\x37\x7a\x58\x5a\x00", 6);
constexpr std::size_t kLongestMagic = 10;

/// Formats that are known in order to be named. A level of compression, which any byte may stand for, is a ?.
struct Unread {
  std::string_view magic;
  const char* what;
};
constexpr Unread kUnread[] = {
    {"BZh?1AY&SY", "is compressed with bzip2"},   {"BZh?\x17rE8P\x90", "is compressed with bzip2"},
    {"PK\x03\x04", "is a zip archive"},           {"PK\x05\x06", "is a zip archive"},
    {"7z\xbc\xaf\x27\x1c", "is a 7-Zip archive"}, {"\x04\x22\x4d\x18", "is compressed with lz4"}};

/// One compressed format: pieces of data, each whole by itself, behind each other.
class Codec {
 public:
  virtual ~Codec() = default;
  virtual const char* Name() const = 0;

  /// Decompresses some of `from`, which is whatever has been read, into `to`, and takes what was used off the front of
  /// both. Returns what is wrong with the data, null if nothing is.
  const char* Decode(std::span<const char>& from, std::span<char>& to) {
    if (!_inPiece) {
      // Tapes and some tools fill up with zeros.
      from = from.subspan(static_cast<std::size_t>(
          std::find_if(from.begin(), from.end(), [](char byte) { return byte != 0; }) - from.begin()));
      if (from.empty()) return nullptr;
      if (!CanBegin(from.front())) return "something else stands behind them";
      Begin();
      _inPiece = true;
    }
    return Go(from, to);
  }
  /// Whether the data may end here.
  bool IsWhole() const { return !_inPiece; }

 protected:
  /// Whether a piece can begin with that byte.
  virtual bool CanBegin(char byte) const = 0;
  /// Makes ready for another piece.
  virtual void Begin() = 0;
  virtual const char* Go(std::span<const char>& from, std::span<char>& to) = 0;
  void EndPiece() { _inPiece = false; }

 private:
  bool _inPiece = true;
};

class Gzip : public Codec {
 public:
  Gzip() {
    constexpr int kWithGzipHeader = 16;
    if (inflateInit2(&_stream, MAX_WBITS + kWithGzipHeader) != Z_OK) throw std::bad_alloc();
  }
  ~Gzip() override { inflateEnd(&_stream); }
  Gzip(const Gzip&) = delete;
  Gzip& operator=(const Gzip&) = delete;

  const char* Name() const override { return "gzip"; }

 protected:
  bool CanBegin(char byte) const override { return byte == kGzipMagic.front(); }
  void Begin() override { inflateReset(&_stream); }
  const char* Go(std::span<const char>& from, std::span<char>& to) override {
    constexpr std::size_t kMost = std::numeric_limits<uInt>::max();
    const auto size = static_cast<uInt>(std::min(from.size(), kMost));
    const auto room = static_cast<uInt>(std::min(to.size(), kMost));
    _stream.next_in = reinterpret_cast<const Bytef*>(from.data());
    _stream.avail_in = size;
    _stream.next_out = reinterpret_cast<Bytef*>(to.data());
    _stream.avail_out = room;
    const int status = inflate(&_stream, Z_NO_FLUSH);
    from = from.subspan(size - _stream.avail_in);
    to = to.subspan(room - _stream.avail_out);
    if (status == Z_MEM_ERROR) throw std::bad_alloc();
    if (status == Z_STREAM_END) EndPiece();
    if (status == Z_STREAM_END || status == Z_OK || status == Z_BUF_ERROR) return nullptr;
    return _stream.msg != nullptr ? _stream.msg : "unknown error";
  }

 private:
  z_stream _stream = {};
};

class Zstd : public Codec {
 public:
  Zstd() : _stream(ZSTD_createDStream()) {
    if (_stream == nullptr) throw std::bad_alloc();
    ZSTD_DCtx_setParameter(_stream, ZSTD_d_windowLogMax, kMostWindowBits);
  }
  ~Zstd() override { ZSTD_freeDStream(_stream); }
  Zstd(const Zstd&) = delete;
  Zstd& operator=(const Zstd&) = delete;

  const char* Name() const override { return "zstd"; }

 protected:
  bool CanBegin(char byte) const override {
    return byte == kZstdMagic.front() || (byte & '\xf0') == kZstdSkipped;
  }
  void Begin() override {}  // of its own accord
  const char* Go(std::span<const char>& from, std::span<char>& to) override {
    ZSTD_inBuffer in{from.data(), from.size(), 0};
    ZSTD_outBuffer out{to.data(), to.size(), 0};
    const std::size_t status = ZSTD_decompressStream(_stream, &out, &in);
    from = from.subspan(in.pos);
    to = to.subspan(out.pos);
    if (ZSTD_isError(status) != 0) return ZSTD_getErrorName(status);
    if (status == 0) EndPiece();
    return nullptr;
  }

 private:
  ZSTD_DStream* _stream;
};

class Xz : public Codec {
 public:
  Xz() { Begin(); }
  ~Xz() override { lzma_end(&_stream); }
  Xz(const Xz&) = delete;
  Xz& operator=(const Xz&) = delete;

  const char* Name() const override { return "xz"; }

 protected:
  bool CanBegin(char byte) const override { return byte == kXzMagic.front(); }
  void Begin() final {
    if (lzma_stream_decoder(&_stream, std::uint64_t{1} << kMostWindowBits, 0) != LZMA_OK)
      throw std::bad_alloc();
  }
  const char* Go(std::span<const char>& from, std::span<char>& to) override {
    _stream.next_in = reinterpret_cast<const std::uint8_t*>(from.data());
    _stream.avail_in = from.size();
    _stream.next_out = reinterpret_cast<std::uint8_t*>(to.data());
    _stream.avail_out = to.size();
    const lzma_ret status = lzma_code(&_stream, LZMA_RUN);
    from = from.subspan(from.size() - _stream.avail_in);
    to = to.subspan(to.size() - _stream.avail_out);
    switch (status) {
      case LZMA_OK:
      case LZMA_BUF_ERROR:
        return nullptr;
      case LZMA_STREAM_END:
        EndPiece();
        return nullptr;
      case LZMA_MEM_ERROR:
        throw std::bad_alloc();
      case LZMA_MEMLIMIT_ERROR:
        return "more than 256 MiB of memory are needed";
      case LZMA_FORMAT_ERROR:
        return "something else stands behind them";
      case LZMA_OPTIONS_ERROR:
        return "this version of liblzma does not know all that they use";
      default:
        return "a block or its checksum is wrong";
    }
  }

 private:
  lzma_stream _stream = LZMA_STREAM_INIT;
};

/// Whether data that begin with `begin` have that magic, or end within it.
bool HasMagic(std::string_view begin, std::string_view magic) {
  // A single byte may be a letter.
  return begin.starts_with(magic) || (begin.size() > 1 && magic.starts_with(begin));
}

/// The codec of data that begin with these bytes, as many as the longest magic unless there are no more; null if they
/// are not compressed.
std::unique_ptr<Codec> CodecOf(std::string_view begin) {
  if (HasMagic(begin, kGzipMagic)) return std::make_unique<Gzip>();
  if (HasMagic(begin, kXzMagic)) return std::make_unique<Xz>();
  const bool isSkipped =
      !begin.empty() && (begin[0] & '\xf0') == kZstdSkipped && begin.substr(1).starts_with(kZstdSkippedMagic);
  if (isSkipped || HasMagic(begin, kZstdMagic)) return std::make_unique<Zstd>();
  return nullptr;
}

class DecodedSource : public ByteSource {
 public:
  DecodedSource(std::unique_ptr<ByteSource> source, std::string name, std::function<bool()> stopped)
      : _source(std::move(source)), _name(std::move(name)), _stopped(std::move(stopped)) {}

  std::size_t Read(char* to, std::size_t room) override {
    if (!_looked) Look();
    if (_codec != nullptr) return Decode({to, room});
    if (_rest.empty()) return _source->Read(to, room);
    const std::size_t count = std::min(room, _rest.size());
    std::copy_n(_rest.data(), count, to);
    _rest = _rest.subspan(count);
    return count;
  }

  std::uint64_t Taken() const override { return _source->Taken(); }

 private:
  /// Waits for the bytes that tell a compressed format. When waiting is given up before, nothing will be read.
  void Look() {
    std::size_t size = 0;
    while (size < kLongestMagic) {
      const std::size_t count = _source->Read(_magic.data() + size, kLongestMagic - size);
      if (count == 0) break;
      size += count;
    }
    _looked = true;
    _rest = {_magic.data(), size};
    const std::string_view begin(_magic.data(), size);
    for (const auto& [magic, what] : kUnread) {
      const auto fits = [](char expected, char found) { return expected == '?' || expected == found; };
      if (begin.size() >= magic.size() && std::equal(magic.begin(), magic.end(), begin.begin(), fits))
        throw InputError(fmt::format("{}, which is not read; gzip, zstd and xz are", what), {.file = _name});
    }
    _codec = CodecOf(begin);
    if (_codec != nullptr) _compressed = std::make_unique_for_overwrite<char[]>(kCompressedBytes);
  }

  std::size_t Decode(std::span<char> to) {
    const std::size_t room = to.size();
    // What was made before a fault comes first: its rows may hold an earlier one.
    while (to.size() == room && _fault.empty()) {
      if (_rest.empty() && !_ended) {
        const std::size_t count = _source->Read(_compressed.get(), kCompressedBytes);
        if (count == 0 && _stopped && _stopped()) return 0;
        _ended = count == 0;
        _rest = {_compressed.get(), count};
      }
      const bool nothingLeft = _ended && _rest.empty();
      if (const char* reason = _codec->Decode(_rest, to)) {
        _fault = fmt::format("its {} data cannot be decompressed: {}", _codec->Name(), reason);
      } else if (nothingLeft && to.size() == room) {
        if (_codec->IsWhole()) return 0;
        _fault = fmt::format("is cut off: its {} data end too early", _codec->Name());
      }
    }
    if (to.size() == room) throw InputError(_fault, {.file = _name});
    return room - to.size();
  }

  std::unique_ptr<ByteSource> _source;
  std::string _name;
  std::function<bool()> _stopped;
  std::array<char, kLongestMagic> _magic = {};
  bool _looked = false;
  std::unique_ptr<Codec> _codec;  // null: the bytes are the file's own
  std::unique_ptr<char[]> _compressed;
  std::span<const char> _rest;  // read, and not yet handed on
  bool _ended = false;
  std::string _fault;
};

}  // namespace

std::unique_ptr<ByteSource> Decoded(std::unique_ptr<ByteSource> source, std::string name,
                                    std::function<bool()> stopped) {
  return std::make_unique<DecodedSource>(std::move(source), std::move(name), std::move(stopped));
}

}  // namespace table
