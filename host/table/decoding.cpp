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
constexpr std::string_view kZstdSkippedMagic = "\x2a\x4d\x18";  // behind a byte from 0x50 to 0x5f
constexpr std::string_view kXzMagic("\xfd\x37\x7a\x58\x5a\x00", 6);
constexpr std::size_t kLongestMagic = 6;

/// One compressed format. The pieces that it is given are whatever has been read.
class Codec {
 public:
  virtual ~Codec() = default;
  virtual const char* Name() const = 0;
  /// Decompresses some of `from` into `to`, and takes what was used off the front of both. `isLast`: nothing comes
  /// behind `from`. Returns what is wrong with the data, null if nothing is.
  virtual const char* Decode(std::span<const char>& from, std::span<char>& to, bool isLast) = 0;
  /// Whether the data may end here.
  virtual bool IsWhole() const = 0;
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
  bool IsWhole() const override { return !_inMember; }

  const char* Decode(std::span<const char>& from, std::span<char>& to, bool /*isLast*/) override {
    if (!_inMember) {
      // Tapes and some tools fill up with zeros.
      from = from.subspan(static_cast<std::size_t>(
          std::find_if(from.begin(), from.end(), [](char byte) { return byte != 0; }) - from.begin()));
      if (from.empty()) return nullptr;
      inflateReset(&_stream);
      _inMember = true;
    }
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
    if (status == Z_STREAM_END) _inMember = false;
    if (status == Z_STREAM_END || status == Z_OK || status == Z_BUF_ERROR) return nullptr;
    return _stream.msg != nullptr ? _stream.msg : "unknown error";
  }

 private:
  z_stream _stream = {};
  bool _inMember = true;
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
  bool IsWhole() const override { return !_inFrame; }

  const char* Decode(std::span<const char>& from, std::span<char>& to, bool /*isLast*/) override {
    // Behind a frame, no bytes at all would count as the beginning of one.
    if (from.empty() && !_inFrame) return nullptr;
    ZSTD_inBuffer in{from.data(), from.size(), 0};
    ZSTD_outBuffer out{to.data(), to.size(), 0};
    const std::size_t status = ZSTD_decompressStream(_stream, &out, &in);
    from = from.subspan(in.pos);
    to = to.subspan(out.pos);
    if (ZSTD_isError(status) != 0) return ZSTD_getErrorName(status);
    _inFrame = status != 0;
    return nullptr;
  }

 private:
  ZSTD_DStream* _stream;
  bool _inFrame = true;
};

class Xz : public Codec {
 public:
  Xz() {
    if (lzma_stream_decoder(&_stream, std::uint64_t{1} << kMostWindowBits, LZMA_CONCATENATED) != LZMA_OK)
      throw std::bad_alloc();
  }
  ~Xz() override { lzma_end(&_stream); }
  Xz(const Xz&) = delete;
  Xz& operator=(const Xz&) = delete;

  const char* Name() const override { return "xz"; }
  bool IsWhole() const override { return _ended; }

  const char* Decode(std::span<const char>& from, std::span<char>& to, bool isLast) override {
    _stream.next_in = reinterpret_cast<const std::uint8_t*>(from.data());
    _stream.avail_in = from.size();
    _stream.next_out = reinterpret_cast<std::uint8_t*>(to.data());
    _stream.avail_out = to.size();
    const lzma_ret status = lzma_code(&_stream, isLast ? LZMA_FINISH : LZMA_RUN);
    from = from.subspan(from.size() - _stream.avail_in);
    to = to.subspan(to.size() - _stream.avail_out);
    switch (status) {
      case LZMA_OK:
      case LZMA_BUF_ERROR:
        return nullptr;
      case LZMA_STREAM_END:
        _ended = true;
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
  bool _ended = false;
};

/// The codec of data that begin with these bytes, null if they are not compressed.
std::unique_ptr<Codec> CodecOf(std::string_view begin) {
  if (begin.starts_with(kGzipMagic)) return std::make_unique<Gzip>();
  if (begin.starts_with(kXzMagic)) return std::make_unique<Xz>();
  const bool isSkipped =
      !begin.empty() && (begin[0] & '\xf0') == '\x50' && begin.substr(1).starts_with(kZstdSkippedMagic);
  if (isSkipped || begin.starts_with(kZstdMagic)) return std::make_unique<Zstd>();
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
    _codec = CodecOf({_magic.data(), size});
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
      if (const char* reason = _codec->Decode(_rest, to, _ended)) {
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
