// Any command line, its arguments separated by newlines: values, lists, ranges and tokens. Only messages may come out,
// and a selection of columns names each of them once.

#include "command/options.h"

#include <algorithm>
#include <set>

#include "command/failure.h"
#include "fuzz/target.h"
#include "table/table.h"

namespace {

std::vector<table::Column> Columns() {
  std::vector<table::Column> columns;
  for (const char* name : {"a", "b", "a:b", "3", "x,y", "\"q\"", "é", "", "b c", "7"})
    columns.push_back({.name = name});
  return columns;
}

void Select(const std::string& list) {
  static const std::vector<table::Column> columns = Columns();
  try {
    const std::vector<std::size_t> selected = table::SelectColumns(columns, list);
    const std::set<std::size_t> distinct(selected.begin(), selected.end());
    Expect(distinct.size() == selected.size() && !distinct.empty(), "each column once");
    Expect(*distinct.rbegin() < columns.size(), "columns that exist");
  } catch (const table::InputError&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::vector<std::string> args;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    args.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  command::Options options;
  CLI::App program("", "vexa-stats");
  CLI::App& app = command::AddCommand(program, "cov", "", "", options);
  command::AddMissingOption(app, options);
  args.insert(args.begin(), "cov");
  std::reverse(args.begin(), args.end());
  try {
    program.parse(args);
    if (options.columns) Select(*options.columns);
    if (options.weight) Select(*options.weight);
    const table::Format format = options.InputFormat();
    ++reached;
    Expect(!format.missing.empty() && format.missing[0].empty(), "an empty cell is missing");
  } catch (const CLI::Error&) {
  } catch (const command::UsageError&) {
  }
  return 0;
}
