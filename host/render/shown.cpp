#include "render/shown.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "render/number.h"
#include "text/printable.h"

namespace render {
namespace {

constexpr double kLongestWhole = 1e12;

bool HoldsWholeNumbersOnly(const Table& table, const Column& column) {
  for (std::size_t row = 0; row < table.rows; ++row) {
    const Value value = column.cell(row);
    const auto* number = std::get_if<double>(&value);
    if (number == nullptr || !std::isfinite(*number)) continue;
    if (*number != std::floor(*number) || std::abs(*number) >= kLongestWhole) return false;
  }
  return true;
}

std::string WithoutLastZeros(const std::string& number) {
  const std::size_t end = std::min(number.find('e'), number.size());
  std::string digits = number.substr(0, end);
  if (digits.find('.') != std::string::npos) digits.erase(digits.find_last_not_of('0') + 1);
  if (digits.ends_with('.')) digits.pop_back();
  return digits + number.substr(end);
}

}  // namespace

std::vector<NumberForm> FormsOf(const Table& table) {
  std::vector<NumberForm> forms(table.columns.size(), NumberForm::kDecimals);
  if (table.isBounded) return forms;
  for (std::size_t col = 0; col < forms.size(); ++col) {
    const bool isWhole = HoldsWholeNumbersOnly(table, table.columns[col]);
    forms[col] = isWhole ? NumberForm::kWhole : NumberForm::kSignificant;
    if (IsMatrix(table) && !isWhole) {
      std::fill(forms.begin(), forms.end(), NumberForm::kSignificant);
      break;
    }
    if (table.columns[col].isGiven) forms[col] = NumberForm::kGiven;
  }
  for (std::size_t col = 0; col < forms.size(); ++col) {
    if ((IsMatrix(table) ? table.name : table.columns[col].name) == "p")
      forms[col] = NumberForm::kProbability;
  }
  return forms;
}

Shown Show(const Value& value, NumberForm form, int digits) {
  if (const auto* name = std::get_if<std::string>(&value)) return {text::Escaped(*name), "", true};
  if (const auto* count = std::get_if<std::uint64_t>(&value)) return {Grouped(*count), "", false};
  const double number = std::get<double>(value);
  if (!std::isfinite(number)) return {kUndefinedShown, "", false};
  if (form == NumberForm::kProbability && number < std::numeric_limits<double>::min())
    return {"<1e-307", "", false};  // no tail is empty
  const std::string shown = form == NumberForm::kDecimals ? Fixed(number, digits)
                            : form == NumberForm::kWhole  ? Fixed(number, 0)
                            : form == NumberForm::kGiven  ? WithoutLastZeros(Significant(number, digits))
                                                          : Significant(number, digits);
  const std::size_t point = std::min(shown.find('.'), shown.size());
  return {shown.substr(0, point), shown.substr(point), false};
}

}  // namespace render
