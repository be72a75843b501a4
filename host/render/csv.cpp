#include <fmt/format.h>

#include <cmath>

#include "render/number.h"
#include "render/page.h"

namespace render {
namespace {

/// A name, in quotes where it would not come back as it is without.
std::string Field(const std::string& name) {
  const bool isPlain = !name.empty() && name.find_first_of(",;|\t\"\r\n") == std::string::npos &&
                       name.front() != ' ' && name.back() != ' ';
  if (isPlain) return name;
  std::string quoted = "\"";
  for (const char byte : name) {
    if (byte == '"') quoted += '"';
    quoted += byte;
  }
  return quoted + '"';
}

std::string Field(const Value& value) {
  if (const auto* name = std::get_if<std::string>(&value)) return Field(*name);
  if (const auto* count = std::get_if<std::uint64_t>(&value)) return fmt::format("{}", *count);
  const double number = std::get<double>(value);
  return std::isfinite(number) ? Shortest(number) : std::string();
}

}  // namespace

void Csv(const Page& page, const Sink& sink) {
  bool isFirst = true;
  for (const Table& table : page.tables) {
    if (!Reads(Audience::kCsv, table.audience)) continue;
    if (!isFirst) sink("\n");
    isFirst = false;
    std::string line;
    const auto writeLine = [&](auto field) {
      for (const Column& column : table.columns) {
        if (&column != table.columns.data()) line += ',';
        line += field(column);
      }
      line += '\n';
      sink(line);
      line.clear();
    };
    writeLine([](const Column& column) { return Field(column.name); });
    for (std::size_t row = 0; row < table.rows; ++row)
      writeLine([&](const Column& column) { return Field(column.cell(row)); });
  }
}

}  // namespace render
