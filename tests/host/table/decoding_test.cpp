#include <gtest/gtest.h>
#include <lzma.h>
#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <functional>
#include <string>
#include <string_view>

#include "reading.h"

namespace table_test {
namespace {

std::string Gzip(std::string_view text) {
  z_stream stream{};
  deflateInit2(&stream, 9, Z_DEFLATED, MAX_WBITS + 16, 8, Z_DEFAULT_STRATEGY);
  std::string made(deflateBound(&stream, text.size()), 0);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(made.data());
  stream.avail_out = static_cast<uInt>(made.size());
  EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
  made.resize(stream.total_out);
  deflateEnd(&stream);
  return made;
}

std::string Zstd(std::string_view text) {
  ZSTD_CCtx* context = ZSTD_createCCtx();
  ZSTD_CCtx_setParameter(context, ZSTD_c_checksumFlag, 1);
  std::string made(ZSTD_compressBound(text.size()), 0);
  made.resize(ZSTD_compress2(context, made.data(), made.size(), text.data(), text.size()));
  ZSTD_freeCCtx(context);
  return made;
}

std::string Xz(std::string_view text) {
  std::string made(lzma_stream_buffer_bound(text.size()), 0);
  std::size_t size = 0;
  EXPECT_EQ(lzma_easy_buffer_encode(0, LZMA_CHECK_CRC32, nullptr,
                                    reinterpret_cast<const std::uint8_t*>(text.data()), text.size(),
                                    reinterpret_cast<std::uint8_t*>(made.data()), &size, made.size()),
            LZMA_OK);
  made.resize(size);
  return made;
}

const Choice kBoth{.numeric = {0, 1}};
const std::function<std::string(std::string_view)> kFormats[] = {Gzip, Zstd, Xz};

std::string Text() {
  std::string text = "x,y\n";
  for (int row = 0; row < 60; ++row) text += fmt::format("{},{}\n", row * 7919 % 101, row / 8.0);
  return text;
}

Outcome ReadBytes(std::string_view bytes) { return ReadFiles({TempFile(bytes).Path()}, kBoth); }

TEST(Decoding, JoinedPiecesAreTheTextHoweverTheyArrive) {
  std::string text = Text();
  while (text.size() < std::size_t{3} << 20) text += text.substr(4);
  const Outcome plain = ReadBytes(text);
  ASSERT_EQ(plain.error, "");
  text.insert(0, "\xef\xbb\xbf");  // which then arrives in two pieces
  for (const auto& compress : kFormats) {
    const std::size_t inRow = text.size() / 2;
    const std::string joined = compress(text.substr(0, 1)) + compress(text.substr(1, inRow)) + compress("") +
                               compress(text.substr(1 + inRow));
    EXPECT_TRUE(ReadBytes(joined) == plain);
    for (const std::size_t piece : {1, 4096}) {
      const Feed feed(joined, piece);
      EXPECT_TRUE(ReadFiles({feed.Path()}, kBoth) == plain);
    }
  }
  const std::string skippable("\x5a\x2a\x4d\x18\x02\0\0\0ab", 10);
  EXPECT_TRUE(ReadBytes(skippable + Zstd(text)) == plain);
  EXPECT_TRUE(ReadBytes(Gzip(text) + std::string(1000, '\0')) == plain);
}

TEST(Decoding, NeverTakesDamagedDataForWholeOnes) {
  const std::string text = Text();
  const Outcome plain = ReadBytes(text);
  for (const auto& compress : kFormats) {
    const std::string first = compress(text.substr(0, 400));
    const std::string whole = first + compress(text.substr(400));
    for (std::size_t size = 2; size < whole.size(); ++size) {
      const Outcome outcome = ReadBytes(whole.substr(0, size));
      if (size == first.size()) {
        EXPECT_EQ(outcome, ReadBytes(text.substr(0, 400)));
        continue;
      }
      EXPECT_TRUE(outcome.error.ends_with("data end too early")) << size << ' ' << outcome.error;
      ASSERT_LE(outcome.rows.size(), plain.rows.size());
      EXPECT_TRUE(std::equal(outcome.rows.begin(), outcome.rows.end(), plain.rows.begin())) << size;
    }
    for (std::size_t at = 0; at < whole.size(); ++at) {
      std::string damaged = whole;
      damaged[at] = static_cast<char>(damaged[at] ^ 0x11);
      const Outcome outcome = ReadBytes(damaged);
      EXPECT_TRUE(!outcome.error.empty() || outcome == plain) << at;
    }
    for (const char* behind : {"a", "something that is not compressed"})
      EXPECT_TRUE(ReadBytes(whole + behind).error.ends_with(": something else stands behind them"));
  }
  EXPECT_TRUE(ReadBytes("BZh21AY&SY\x8c").error.ends_with("bzip2, which is not read; gzip, zstd and xz are"));
}

}  // namespace
}  // namespace table_test
