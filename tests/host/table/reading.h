#ifndef TESTS_HOST_TABLE_READING_H
#define TESTS_HOST_TABLE_READING_H

#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "table/table.h"

namespace table_test {

/// A file with the given bytes, gone at the end.
class TempFile {
 public:
  explicit TempFile(std::string_view bytes) : _path(testing::TempDir() + "vexa-table-XXXXXX") {
    const int descriptor = mkstemp(_path.data());
    for (std::string_view rest = bytes; !rest.empty();) {
      const ssize_t count = write(descriptor, rest.data(), rest.size());
      if (count <= 0) break;
      rest.remove_prefix(static_cast<std::size_t>(count));
    }
    close(descriptor);
  }
  ~TempFile() { unlink(_path.c_str()); }
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;
  const std::string& Path() const { return _path; }

 private:
  std::string _path;
};

/// A pipe that somebody else writes the given bytes to, in pieces.
class Feed {
 public:
  Feed(std::string bytes, std::size_t piece) {
    if (pipe2(_ends.data(), O_CLOEXEC) != 0) std::abort();
    _writer = std::thread([this, text = std::move(bytes), piece] {
      for (std::size_t at = 0; at < text.size(); at += piece)
        if (write(_ends[1], text.data() + at, std::min(piece, text.size() - at)) <= 0) break;
      close(_ends[1]);
    });
  }
  ~Feed() {
    _writer.join();
    close(_ends[0]);
  }
  Feed(const Feed&) = delete;
  Feed& operator=(const Feed&) = delete;
  std::string Path() const { return fmt::format("/dev/fd/{}", _ends[0]); }

 private:
  std::array<int, 2> _ends{};
  std::thread _writer;
};

/// What to read of an input.
struct Choice {
  std::vector<std::size_t> numeric;
  std::optional<std::size_t> text = {};
  std::uint32_t chunkRows = 3;
  bool splitEveryRow = false;
};

/// The rows of an input, each as one text that tells all bits apart, and the error that ended it.
struct Outcome {
  std::vector<std::string> rows;
  std::string error;
  bool operator==(const Outcome&) const = default;
};

inline void PrintTo(const Outcome& outcome, std::ostream* out) {
  *out << testing::PrintToString(outcome.rows) << " error: " << outcome.error;
}

inline std::string ShowRow(const std::vector<double>& values, const std::optional<std::string>& text) {
  std::string shown;
  for (const double value : values)
    shown += value == table::kMissing ? std::string("missing ") : fmt::format("{:a} ", value);
  return shown + (text ? '[' + *text + ']' : "-");
}

/// The message of the error that `act` meets in its input; "" if it meets none.
template <class Act>
std::string MessageOf(const Act& act) {
  try {
    act();
  } catch (const table::InputError& error) {
    return error.what();
  }
  return "";
}

inline Outcome ReadRows(table::Input& input, const Choice& choice) {
  Outcome outcome;
  table::RowParser parser(input, choice.numeric, choice.text);
  if (choice.splitEveryRow) parser.SplitEveryRow();
  outcome.error = MessageOf([&] {
    for (table::Chunk chunk; input.Next(chunk, choice.chunkRows);) {
      const std::size_t before = outcome.rows.size();
      parser.ForEachRow(chunk, [&](std::span<const double> values, std::optional<std::string_view> text) {
        outcome.rows.push_back(ShowRow({values.begin(), values.end()}, std::optional<std::string>(text)));
      });
      EXPECT_EQ(outcome.rows.size() - before, chunk.rows);
    }
  });
  return outcome;
}

inline Outcome ReadFiles(const std::vector<std::string>& paths, const Choice& choice,
                         const table::Format& format = {}) {
  Outcome outcome;
  const std::string error = MessageOf([&] {
    table::Input input(paths, format);
    outcome = ReadRows(input, choice);
  });
  if (!error.empty()) outcome.error = error;
  return outcome;
}

/// The texts between bars.
inline std::vector<std::string> Split(std::string_view texts) {
  std::vector<std::string> list;
  for (std::size_t begin = 0; begin <= texts.size();) {
    const std::size_t end = std::min(texts.find('|', begin), texts.size());
    list.emplace_back(texts.substr(begin, end - begin));
    begin = end + 1;
  }
  return list;
}

}  // namespace table_test

#endif
