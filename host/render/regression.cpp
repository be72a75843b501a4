#include "render/regression.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "render/number.h"
#include "render/tables.h"
#include "text/printable.h"

namespace render {
namespace {

using derive::Coefficient;

/// With this condition 6 of the 16 digits of a double are lost between the sums and the coefficients.
constexpr double kLargeCondition = 1e3;

const std::vector<std::string> kSources = {"regression", "residual", "total"};
const std::vector<std::string> kOfFit = {
    "r_squared",   "adjusted_r_squared", "residual_se", "residual_df", "model_ss",
    "residual_ss", "total_ss",           "f",           "df1",         "df2",
    "p",           "condition"};
const std::vector<std::string> kOfFitInWords = {"R squared", "adjusted R squared", "residual std. error",
                                                "condition"};

}  // namespace

RegressionReport::RegressionReport(const derive::Regression& regression, const derive::RegressionModel& model,
                                   const std::vector<std::string>& variables)
    : _regression(regression), _model(model), _variables(variables), _response{variables.back()} {
  for (const Coefficient& term : regression.coefficients)
    _terms.push_back(term.variable ? variables[*term.variable] : "(intercept)");
}

std::vector<Table> RegressionReport::Tables() const {
  Table programs = Coefficients();
  Table csv = programs;
  csv.columns.resize(csv.columns.size() - 2);
  csv.audience = Audience::kCsv;
  programs.audience = Audience::kJsonAndHtml;
  const std::string limits =
      fmt::format("Coefficients, with {} % confidence limits", Shortest(100.0 * _model.level));
  programs.caption = limits;
  return {FitForPeople(),
          Variance(),
          ForPeople(limits, {0, 1, 2, 5, 6}),
          ForPeople("Tests, and what the predictors share", {0, 3, 4, 9, 7, 8}),
          std::move(csv),
          std::move(programs),
          Fit(),
          LeftOut()};
}

Table RegressionReport::Coefficients() const {
  Table table{.name = "regress", .rows = _terms.size(), .isMixed = true};
  const auto add = [&](const char* name, auto value) {
    table.columns.push_back(
        {name, [this, value](std::size_t row) { return Value(value(_regression.coefficients[row])); }});
  };
  table.columns.push_back({"term", [this](std::size_t row) { return Value(_terms[row]); }});
  add("estimate", [](const Coefficient& term) { return term.estimate; });
  add("std_error", [](const Coefficient& term) { return term.standardError; });
  add("t", [](const Coefficient& term) { return term.test.t; });
  add("p", [](const Coefficient& term) { return term.test.p; });
  add("lower", [](const Coefficient& term) { return term.lower; });
  add("upper", [](const Coefficient& term) { return term.upper; });
  add("tolerance", [](const Coefficient& term) { return term.tolerance; });
  add("vif", [](const Coefficient& term) { return 1.0 / term.tolerance; });
  add("standardised", [](const Coefficient& term) { return term.standardised; });
  return table;
}

Table RegressionReport::ForPeople(const std::string& caption, const std::vector<std::size_t>& columns) const {
  const Table coefficients = Coefficients();
  Table table{.caption = caption, .rows = coefficients.rows, .isMixed = true, .audience = Audience::kText};
  for (const std::size_t col : columns) table.columns.push_back(coefficients.columns[col]);
  return table;
}

Table RegressionReport::Fit() const {
  Table table = Grid("fit", "response", _response, kOfFit, [this](std::size_t, std::size_t col) {
    const derive::Regression& r = _regression;
    const double values[] = {r.rSquared,     r.adjustedRSquared, r.residualError, r.residualDf,
                             r.modelSquares, r.residualSquares,  r.totalSquares,  r.test.f,
                             r.test.df1,     r.test.df2,         r.test.p,        r.condition};
    return values[col];
  });
  table.audience = Audience::kJson;
  return table;
}

Table RegressionReport::FitForPeople() const {
  Table table = Grid("fit", "response", _response, kOfFitInWords, [this](std::size_t, std::size_t col) {
    const derive::Regression& r = _regression;
    const double values[] = {r.rSquared, r.adjustedRSquared, r.residualError, r.condition};
    return values[col];
  });
  table.caption = "Fit";
  table.isMixed = true;
  table.audience = Audience::kPeople;
  return table;
}

Table RegressionReport::Variance() const {
  Table table{
      .name = "variance", .caption = "Analysis of variance", .rows = kSources.size(), .isMixed = true};
  const derive::Regression& r = _regression;
  const std::vector<double> df = {r.test.df1, r.residualDf, r.test.df1 + r.residualDf};
  const std::vector<double> squares = {r.modelSquares, r.residualSquares, r.totalSquares};
  const auto add = [&table](const char* name, std::vector<double> values) {
    // What a source does not have is left blank; undefined it is not.
    table.columns.push_back({name, [values = std::move(values)](std::size_t row) {
                               return row < values.size() ? Value(values[row]) : Value(std::string());
                             }});
  };
  table.columns.push_back({"source", [](std::size_t row) { return Value(kSources[row]); }});
  add("df", df);
  add("sum of squares", squares);
  add("mean square", {squares[0] / df[0], squares[1] / df[1]});
  add("f", {r.test.f});
  add("p", {r.test.p});
  table.audience = Audience::kPeople;
  return table;
}

Table RegressionReport::LeftOut() const {
  const derive::LeftOutPredictors& out = _regression.leftOut;
  std::vector<std::pair<std::string, const char*>> reasons;
  for (const std::size_t variable : out.overflown) reasons.emplace_back(_variables[variable], "overflow");
  for (const std::size_t variable : out.below) reasons.emplace_back(_variables[variable], "underflow");
  for (const std::size_t variable : out.constant) reasons.emplace_back(_variables[variable], "constant");
  for (const std::size_t variable : out.dependent) reasons.emplace_back(_variables[variable], "collinear");
  Table table{.name = "left_out", .rows = reasons.size(), .audience = Audience::kJson};
  table.columns = {{"term", [reasons](std::size_t row) { return reasons[row].first; }},
                   {"reason", [reasons](std::size_t row) { return std::string(reasons[row].second); }}};
  return table;
}

std::vector<std::string> RegressionReport::Notes() const {
  std::vector<std::string> notes;
  if (_regression.isTooHeavy)
    return {"The sum of the weights is beyond the range of a double: nothing is defined."};
  NoteLeftOut(notes);
  NoteUndefined(notes);
  if (_regression.condition >= kLargeCondition) {
    notes.push_back(fmt::format(
        "The predictors are nearly collinear: their condition number {} costs the coefficients about {:.0f} "
        "of the 16 digits of the sums.",
        Significant(_regression.condition, 3), 2.0 * std::log10(_regression.condition)));
  }
  return notes;
}

std::string RegressionReport::Named(const std::vector<std::size_t>& variables) const {
  std::vector<std::string> names(variables.size());
  std::transform(variables.begin(), variables.end(), names.begin(),
                 [this](std::size_t variable) { return text::Escaped(_variables[variable]); });
  return text::ListOf(names);
}

void RegressionReport::NoteLeftOut(std::vector<std::string>& notes) const {
  const derive::LeftOutPredictors& out = _regression.leftOut;
  const auto name = [&](const char* why, const std::vector<std::size_t>& variables) {
    if (!variables.empty()) notes.push_back(fmt::format("Left out, as {}: {}.", why, Named(variables)));
  };
  name("the sum of squares is beyond the range of a double", out.overflown);
  name("the sum of squares is below the range of a double", out.below);
  name(_model.hasIntercept ? "it does not vary" : "it is 0 in all rows", out.constant);
  name("those before it determine it", out.dependent);
}

void RegressionReport::NoteUndefined(std::vector<std::string>& notes) const {
  const derive::Regression& r = _regression;
  const std::string response = text::Escaped(_response[0]);
  if (!std::isfinite(r.totalSquares)) {
    notes.push_back(fmt::format("The sum of squares of {} is {} the range of a double.", response,
                                r.isBelow ? "below" : "beyond"));
  } else if (!(r.totalSquares > 0.0)) {
    notes.push_back(fmt::format("{} {}: nothing to explain.", response,
                                _model.hasIntercept ? "does not vary" : "is 0 in all rows"));
  } else if (r.isExact) {
    notes.push_back(
        fmt::format("The predictors determine {}: its residuals are no more than rounding.", response));
  }
  if (!(r.residualDf > 0.0)) {
    notes.push_back(
        fmt::format("The cases weigh {}, no more than there are coefficients: no errors and no tests.",
                    WeightSum(r.weight, 6)));
  }
}

std::string ContradictionSentence(const derive::Contradiction& contradiction,
                                  const std::vector<std::string>& variables) {
  if (contradiction.undefined) {
    return fmt::format(
        "{} and {} have no correlation, as one of them does not vary in the rows where both are present, if "
        "any, or a sum is beyond or below the range of a double",
        text::Escaped(variables[contradiction.undefined->first]),
        text::Escaped(variables[contradiction.undefined->second]));
  }
  return fmt::format(
      "no data could have these correlations, each over its own rows: their smallest eigenvalue is {}; "
      "--missing listwise takes the rows where all are present",
      Significant(contradiction.smallestEigenvalue, 6));
}

}  // namespace render
