// Any bytes as a file. Two bytes choose how it is read, the rest is its content. The rows and the error must be the
// same from a file and from a pipe, for small and large chunks, for cells read in place and through the CSV library;
// sums must be the same for one thread and for several, and groups and their origins for small and large chunks too.

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/target.h"
#include "pass/files.h"
#include "pass/levelsearch.h"
#include "pass/reduce.h"
#include "support/statistics.h"
#include "table/bytesource.h"
#include "table/decoding.h"
#include "table/table.h"

namespace {

class Descriptor {
 public:
  explicit Descriptor(int number) : _number(number) {
    if (number < 0) std::abort();
  }
  ~Descriptor() { close(_number); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int Number() const { return _number; }
  std::string Path() const { return "/proc/self/fd/" + std::to_string(_number); }

 private:
  int _number;
};

void Put(int descriptor, std::string_view bytes) {
  if (write(descriptor, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) std::abort();
}

/// Compressed to a few bytes, a million lines fit into any input: reading them once tells enough.
constexpr std::size_t kMuch = 1 << 17;

/// Whether `path`, of so many bytes, has more than kMuch to read once it is decompressed.
bool IsMuch(const std::string& path, std::size_t own) {
  std::vector<char> bytes(kMuch + 1);
  std::size_t size = 0;
  try {
    const auto source = table::Decoded(table::OpenFile(path, "input", {}), "input", {});
    for (std::size_t count = 1; count > 0 && size < bytes.size(); size += count)
      count = source->Read(bytes.data() + size, bytes.size() - size);
  } catch (const table::InputError&) {  // what was read before counts
  }
  return size > std::max(kMuch, own);
}

struct Way {
  std::uint32_t chunkRows;
  bool splitEveryRow;
};

std::string Shown(const std::string& path, const table::Format& format, const Way& way) {
  std::string shown;
  try {
    table::Input input({path}, format, {}, {"input"});
    std::vector<std::size_t> numeric;
    std::optional<std::size_t> text;
    for (std::size_t col = 0; col < input.Columns().size(); ++col) {
      const table::Column& column = input.Columns()[col];
      shown += column.name + (column.kind == table::Kind::kNumeric ? "#" : "$");
      if (column.kind == table::Kind::kNumeric) numeric.push_back(col);
      if (column.kind == table::Kind::kText) text = col;
    }
    table::RowParser parser(input, numeric, text);
    if (way.splitEveryRow) parser.SplitEveryRow();
    for (table::Chunk chunk; input.Next(chunk, way.chunkRows);) {
      parser.ForEachRow(chunk, [&](std::span<const double> values, std::optional<std::string_view> cell) {
        shown.append(reinterpret_cast<const char*>(values.data()), values.size_bytes());
        shown += cell ? '[' + std::string(*cell) + ']' : "-";
        ++reached;
      });
    }
    shown += std::to_string(input.BlankLines());
  } catch (const table::InputError& error) {
    shown += error.what();
  }
  return shown;
}

std::string Summed(const std::string& path, const table::Format& format, unsigned int threads) {
  try {
    table::Input input({path}, format, {}, {"input"});
    pass::Columns columns;
    for (std::size_t col = 0; col < std::min<std::size_t>(input.Columns().size(), 6); ++col)
      columns.variables.push_back(col);
    pass::Options options;
    options.missing = pass::Missing::kPairwise;
    options.threads = threads;
    options.chunkRows = 2;
    const auto result = pass::Reduce<vexa::MatrixPairwise>(
        input, columns, options, [] { return std::make_unique<vexa::MatrixPairwise>(table::kMissing); });
    return BytesOf(Statistics(*result.sums)) + std::to_string(result.tally.used);
  } catch (const table::InputError& error) {
    return error.what();
  }
}

struct Groups {
  std::string found;  // the groups and their origins, or the fault
  std::string sums;

  bool operator==(const Groups&) const = default;
};

/// By the last column, of the numeric ones; where these are many, the first is a weight.
Groups Grouped(const std::string& path, const table::Format& format, unsigned int threads,
               unsigned int chunkRows) {
  try {
    const pass::Files files({path});
    const std::unique_ptr<table::Input> input = files.Open(format);
    pass::Columns columns;
    columns.group = input->Columns().size() - 1;
    for (std::size_t col = 0; col < *columns.group && columns.variables.size() < 6; ++col)
      if (input->Columns()[col].kind == table::Kind::kNumeric) columns.variables.push_back(col);
    if (columns.variables.size() > 2) columns.weight = columns.variables[0];
    if (columns.variables.empty()) return {};
    pass::Options options;
    options.threads = threads;
    options.chunkRows = chunkRows;
    options.levelOrigins = true;
    const pass::Levels levels = pass::FindLevels(files, format, columns, options, 1'000).levels;
    if (levels.Size() == 0) return {};
    const auto result = pass::Reduce<vexa::DiscIndividualMatrix, vexa::DataBatchByGroup>(
        *input, columns, options,
        [&] {
          return std::make_unique<vexa::DiscIndividualMatrix>(static_cast<int>(levels.Size()),
                                                              static_cast<int>(columns.variables.size()));
        },
        &levels);
    pass::Levels given = levels;
    given.SetOrigins({});
    Expect(pass::FindOrigins(files, format, columns, options, given), "not stopped");
    Expect(BytesOf(given.Origins()) == BytesOf(levels.Origins()),
           "origins of found levels and of given ones");
    Groups groups{.found = BytesOf(result.origin), .sums = BytesOf(Statistics(*result.sums))};
    for (unsigned int level = 0; level < levels.Size(); ++level)
      groups.found += levels.Label(level) + ' ' + std::to_string(result.tally.groupRows[level]) + '\n';
    return groups;
  } catch (const table::InputError& error) {
    return {.found = error.what(), .sums = ""};
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 2, size - 2);
  table::Format format;
  format.delimiter = "\0\0,;\t| x"[data[0] % 8];
  format.decimal = (data[0] & 8) != 0 && format.delimiter != ',' ? ',' : '.';
  format.header = (data[0] & 16) == 0;
  if ((data[0] & 32) != 0) format.missing = {"", "-99", "na"};

  const Descriptor file(memfd_create("fuzz", MFD_CLOEXEC));
  Put(file.Number(), bytes);
  const std::string shown = Shown(file.Path(), format, {1000, false});
  if (IsMuch(file.Path(), bytes.size())) return 0;
  Expect(shown == Shown(file.Path(), format, {1000, true}), "in place and split");
  constexpr int kRoom = 1 << 16;
  if (bytes.size() <= kRoom) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) std::abort();
    const Descriptor from(ends[0]);
    Put(ends[1], bytes);
    close(ends[1]);
    Expect(shown == Shown(from.Path(), format, {1 + data[1] % 4U, false}),
           "file and pipe, chunks of any size");
  }
  if ((data[1] & 192) == 192)
    Expect(Summed(file.Path(), format, 1) == Summed(file.Path(), format, 3), "one thread and three");
  if ((data[1] & 192) == 128) {
    const Groups groups = Grouped(file.Path(), format, 1, 2);
    Expect(groups == Grouped(file.Path(), format, 3, 2), "groups on one thread and on three");
    Expect(groups.found == Grouped(file.Path(), format, 2, 40).found, "groups in chunks of any size");
  }
  return 0;
}
