#include <fmt/format.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "render/number.h"
#include "render/page.h"
#include "text/printable.h"

// Written piece by piece, because a large matrix should not be held as a tree; and the JSON library's own
// numbers are not always the shortest ones.

namespace render {
namespace {

std::string String(const std::string& name) { return nlohmann::json(text::AsUtf8(name)).dump(); }

std::string Number(double number) { return std::isfinite(number) ? Shortest(number) : std::string("null"); }

std::string Scalar(const Value& value) {
  if (const auto* name = std::get_if<std::string>(&value)) return String(*name);
  if (const auto* count = std::get_if<std::uint64_t>(&value)) return fmt::format("{}", *count);
  return Number(std::get<double>(value));
}

std::string OptionalString(const std::optional<std::string>& name) { return name ? String(*name) : "null"; }

void WriteAccount(const Account& account, const Sink& sink) {
  std::string leftOut;
  for (const LeftOut& reason : account.leftOut)
    leftOut += fmt::format("{}{}: {}", leftOut.empty() ? "" : ", ", String(reason.name), reason.rows);
  sink(fmt::format("  \"complete\": {},\n", account.isComplete));
  sink(fmt::format("  \"missing\": {},\n", String(account.missing)));
  sink(fmt::format("  \"rows_read\": {},\n  \"rows_used\": {},\n", account.read, account.used));
  sink(fmt::format("  \"rows_left_out\": {{{}}},\n  \"blank_lines\": {},\n", leftOut, account.blankLines));
  sink(fmt::format("  \"weight\": {},\n  \"reg_weight\": {},\n", OptionalString(account.weight),
                   OptionalString(account.regWeight)));
  if (account.group) sink(fmt::format("  \"group\": {},\n", String(*account.group)));
  sink(fmt::format("  \"weight_sum\": {},\n  \"reg_weight_sum\": {}", Number(account.weightSum),
                   Number(account.regWeightSum)));
}

void WriteTable(const Table& table, const Sink& sink) {
  sink(fmt::format(",\n  {}: {}", String(table.name), table.isKeyed ? '{' : '['));
  std::vector<std::string> keys;
  for (const Column& column : table.columns) keys.push_back(String(column.name));
  const std::size_t first = table.isKeyed ? 1 : 0;
  for (std::size_t row = 0; row < table.rows; ++row) {
    std::string line = row == 0 ? "\n    " : ",\n    ";
    if (table.isKeyed) line += Scalar(table.columns[0].cell(row)) + ": ";
    line += '{';
    for (std::size_t col = first; col < keys.size(); ++col) {
      if (col > first) line += ", ";
      line += keys[col] + ": " + Scalar(table.columns[col].cell(row));
    }
    sink(line + '}');
  }
  sink(fmt::format("\n  {}", table.isKeyed ? '}' : ']'));
}

}  // namespace

void Json(const Page& page, const Sink& sink) {
  sink(fmt::format("{{\n  \"command\": {},\n", String(page.command)));
  WriteAccount(page.account, sink);
  std::string variables;
  for (const std::string& name : page.variables) variables += (variables.empty() ? "" : ", ") + String(name);
  sink(fmt::format(",\n  \"variables\": [{}]", variables));
  for (const Table& table : page.tables)
    if (Reads(Audience::kJson, table.audience)) WriteTable(table, sink);
  sink("\n}\n");
}

}  // namespace render
