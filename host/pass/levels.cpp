#include "pass/levels.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "table/cell.h"

namespace pass {
namespace {

template <class T>
void SortDistinct(std::vector<T>& values) {
  std::sort(values.begin(), values.end());
  values.erase(std::unique(values.begin(), values.end()), values.end());
}

}  // namespace

Levels::Levels(std::vector<double> values, bool areAll) : _areNumbers(true), _areAll(areAll) {
  SortDistinct(values);
  for (const double value : values) {
    _numbers.emplace(value, Size());
    _labels.push_back(fmt::format("{}", value == 0.0 ? 0.0 : value));
  }
}

Levels::Levels(std::vector<std::string> texts, bool areAll) : _areNumbers(false), _areAll(areAll) {
  SortDistinct(texts);
  _labels = std::move(texts);
  for (unsigned int code = 0; code < Size(); ++code) _texts.emplace(_labels[code], code);
}

std::optional<unsigned int> Levels::CodeOf(double value) const {
  const auto found = _numbers.find(value);
  if (found == _numbers.end()) return {};
  return found->second;
}

std::optional<unsigned int> Levels::CodeOf(std::string_view text) const {
  const auto found = _texts.find(text);
  if (found == _texts.end()) return {};
  return found->second;
}

Levels GivenLevels(const table::Input& input, std::size_t column, const std::vector<std::string>& list) {
  const table::Column& group = input.Columns()[column];
  const table::CellReader cells(input.UsedFormat());
  const auto fail = [&](const char* reason, const std::string& item) {
    throw table::InputError(reason, {.column = group.name}, item);
  };
  std::vector<double> numbers;
  std::vector<std::string> texts;
  for (const std::string& item : list) {
    const std::string text(table::Trim(item));
    if (cells.IsMissing(text)) fail("level stands for a missing value", item);
    if (group.kind == table::Kind::kText) {
      if (std::find(texts.begin(), texts.end(), text) != texts.end()) fail("level given twice", item);
      texts.push_back(text);
      continue;
    }
    double value = 0.0;
    if (cells.Read(text, value) != table::CellKind::kNumber)
      fail("level is not a number, as the column's are", item);
    if (std::find(numbers.begin(), numbers.end(), value) != numbers.end()) fail("level given twice", item);
    numbers.push_back(value);
  }
  return group.kind == table::Kind::kText ? Levels(std::move(texts)) : Levels(std::move(numbers));
}

}  // namespace pass
