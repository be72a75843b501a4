#include "render/groups.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "render/plot/centroids.h"
#include "render/tables.h"
#include "text/printable.h"

namespace render {
namespace {

constexpr double kUndefined = std::numeric_limits<double>::quiet_NaN();

/// So many lost ones leave few more digits than people are shown.
constexpr double kManyDigits = 6.0;

const std::vector<std::string> kTests = {"wilks", "box"};
const std::vector<std::string> kTestsInWords = {"Wilks' lambda", "Box's M"};
const std::vector<std::string> kOfGroups = {"n", "weight", "prior", "constant"};
const std::vector<std::string> kOfTests = {"statistic", "f", "df1", "df2", "p"};
const std::vector<std::string> kOfVariables = {"f", "df1", "df2", "p"};
const std::vector<std::string> kOfFunctions = {"eigenvalue", "proportion", "correlation"};
const std::vector<std::string> kNoNames;
const derive::Matrix kNoMatrix;

double Member(const derive::FTest& test, std::size_t at) {
  return std::array{test.f, test.df1, test.df2, test.p}[at];
}

Table ForPeople(Table table, const char* caption) {
  table.caption = caption;
  table.audience = Audience::kPeople;
  return table;
}

Table Mixed(Table table) {
  table.isMixed = true;
  return table;
}

/// In text a table without rows or columns is not worth its caption.
Table ForAll(Table table, const char* caption) {
  const bool isEmpty = table.rows == 0 || table.columns.size() < 2;
  table.caption = caption;
  table.audience = isEmpty ? Audience::kJson : Audience::kAllButCsv;
  return table;
}

Table ForJson(Table table) {
  table.audience = Audience::kJson;
  return table;
}

}  // namespace

GroupReport::GroupReport(const derive::GroupAnalysis& analysis, const std::vector<std::string>& variables,
                         const std::vector<std::string>& levels)
    : _analysis(analysis), _variables(variables), _levels(levels) {
  for (const derive::Group& group : analysis.groups) _groups.push_back(levels[group.level]);
  const std::size_t functions = analysis.canonical ? analysis.canonical->eigenvalues.size() : 0;
  for (std::size_t function = 1; function <= functions; ++function)
    _functions.push_back(fmt::format("{}", function));
  _constantAndVariables = variables;
  _constantAndVariables.insert(_constantAndVariables.begin(), "(constant)");
}

std::vector<Table> GroupReport::Tables() const {
  const auto* canonical = _analysis.canonical ? &*_analysis.canonical : nullptr;
  std::vector<Table> tables = {
      ForJson(Groups()),
      OfGroups("means", "Means", &derive::Group::means),
      OfGroups("sds", "Standard deviations", &derive::Group::deviations),
      Univariate(),
      OfVariables("covariance", "Pooled covariances within groups", _analysis.covariance),
      OfVariables("within", "Sums of squares and cross-products within groups", _analysis.within),
      OfVariables("between", "Sums of squares and cross-products between groups", _analysis.between),
      OfVariables("total", "Total sums of squares and cross-products", _analysis.total),
      ForJson(Tests(kTests)),
      Functions(),
      OfFunctions("standardised", "Standardised coefficients",
                  canonical ? canonical->standardised : kNoMatrix),
      Centroids(),
      OfFunctions("structure", "Correlations of variables and functions within groups",
                  canonical ? canonical->structure : kNoMatrix),
      ForJson(Classification())};
  Table all = LongTable(tables);

  Table groups = Groups();
  groups.columns.pop_back();  // The constants stand with the coefficients.
  tables.insert(tables.begin(), ForPeople(Mixed(std::move(groups)), "Groups"));
  const auto tests =
      std::find_if(tables.begin(), tables.end(), [](const Table& table) { return table.name == "tests"; });
  tables.insert(
      tests, ForPeople(Mixed(Tests(kTestsInWords)), "Differences in means (Wilks) and in covariances (Box)"));
  if (_analysis.classification)
    tables.push_back(ForPeople(ClassificationWithConstants(), "Classification functions"));
  tables.push_back(std::move(all));
  return tables;
}

Table GroupReport::Groups() const {
  return Grid("groups", "group", _groups, kOfGroups, [this](std::size_t at, std::size_t col) -> Value {
    const derive::Group& group = _analysis.groups[at];
    const auto& functions = _analysis.classification;
    if (col == 0) return group.n;
    if (col == 1) return group.weight;
    if (!functions) return kUndefined;
    return col == 2 ? functions->priors[at] : functions->constants[at];
  });
}

Table GroupReport::OfGroups(const char* name, const char* caption,
                            std::vector<double> derive::Group::*values) const {
  return ForAll(Grid(name, "group", _groups, _variables,
                     [this, values](std::size_t group, std::size_t variable) {
                       return (_analysis.groups[group].*values)[variable];
                     }),
                caption);
}

Table GroupReport::Univariate() const {
  return Mixed(ForAll(Grid("univariate", "variable", _variables, kOfVariables,
                           [this](std::size_t variable, std::size_t col) {
                             return Member(_analysis.univariate[variable], col);
                           }),
                      "Each variable by itself"));
}

Table GroupReport::OfVariables(const char* name, const char* caption, const derive::Matrix& matrix) const {
  return ForAll(MatrixTable(name, matrix, _variables, _variables), caption);
}

Table GroupReport::Tests(const std::vector<std::string>& names) const {
  return Grid("tests", "test", names, kOfTests, [this](std::size_t test, std::size_t col) {
    if (test == 0 && !_analysis.wilks) return kUndefined;
    if (test == 0) return col == 0 ? _analysis.wilks->lambda : Member(_analysis.wilks->test, col - 1);
    return col == 0 ? _analysis.box.m : Member(_analysis.box.test, col - 1);
  });
}

Table GroupReport::Functions() const {
  return Mixed(ForAll(Grid("canonical", "function", _functions, kOfFunctions,
                           [this](std::size_t function, std::size_t col) {
                             const derive::CanonicalFunctions& canonical = *_analysis.canonical;
                             const std::vector<double>* of[] = {
                                 &canonical.eigenvalues, &canonical.proportions, &canonical.correlations};
                             return (*of[col])[function];
                           }),
                      "Canonical discriminant functions"));
}

Table GroupReport::Centroids() const {
  return ForAll(Grid("centroids", "group", _analysis.canonical ? _groups : kNoNames, _functions,
                     [this](std::size_t group, std::size_t function) {
                       return _analysis.canonical->centroids.At(group, function);
                     }),
                "Means of the groups on the functions");
}

Table GroupReport::OfFunctions(const char* name, const char* caption, const derive::Matrix& matrix) const {
  Table table =
      ForAll(MatrixTable(name, matrix, _functions.empty() ? kNoNames : _variables, _functions), caption);
  table.isBounded = table.name == "structure";
  return table;
}

Table GroupReport::Classification() const {
  if (!_analysis.classification) return Grid("classification", "variable", kNoNames, kNoNames, {});
  return MatrixTable("classification", _analysis.classification->coefficients, _variables, _groups);
}

Table GroupReport::ClassificationWithConstants() const {
  return Grid("classification", "variable", _constantAndVariables, _groups,
              [&functions = *_analysis.classification](std::size_t row, std::size_t group) {
                return row == 0 ? functions.constants[group] : functions.coefficients.At(row - 1, group);
              });
}

std::optional<Picture> GroupReport::Draw(const Heading& heading) const {
  if (!_analysis.canonical || _groups.size() > kMostPictured) return std::nullopt;
  return DrawCentroids("groups", heading, *_analysis.canonical, _groups);
}

std::string GroupReport::Undrawn() const {
  if (_analysis.singularity.IsThere()) return "the covariance matrix within groups has no inverse";
  return _analysis.canonical ? "" : "there is one group only";
}

std::vector<std::string> GroupReport::Notes() const {
  std::vector<std::string> notes;
  if (!_analysis.emptyLevels.empty()) {
    std::vector<std::string> names;
    for (const std::size_t level : _analysis.emptyLevels) names.push_back(text::Quoted(_levels[level]));
    notes.push_back("No row is used of " + text::ListOf(names) + ".");
  }
  if (_groups.size() == 1)
    notes.push_back("There is one group only, " + text::Quoted(_groups[0]) + ": nothing to compare it with.");
  NoteLostDigits(notes);
  NoteSingularity(notes);
  if (_groups.size() > 1) NoteBox(notes);
  return notes;
}

std::string GroupReport::Named(const std::vector<std::size_t>& variables) const {
  std::vector<std::string> names(variables.size());
  std::transform(variables.begin(), variables.end(), names.begin(),
                 [this](std::size_t variable) { return text::Escaped(_variables[variable]); });
  return text::ListOf(names);
}

void GroupReport::NoteLostDigits(std::vector<std::string>& notes) const {
  std::vector<std::string> names;
  for (std::size_t variable = 0; variable < _variables.size(); ++variable) {
    if (const double lost = _analysis.lostDigits[variable]; lost >= kManyDigits)
      names.push_back(fmt::format("{} ({:.0f})", text::Escaped(_variables[variable]), lost));
  }
  if (names.empty()) return;
  notes.push_back(
      fmt::format("Variables whose variance within a group has lost so many of 16 digits in the rounding of "
                  "its sums: {}.",
                  text::ListOf(names)));
}

void GroupReport::NoteSingularity(std::vector<std::string>& notes) const {
  const derive::Singularity& singularity = _analysis.singularity;
  if (!singularity.IsThere()) return;
  if (singularity.isTooLight) notes.emplace_back("The groups together weigh no more than their number.");
  if (singularity.isTooHeavy) notes.emplace_back("The sum of the weights is beyond the range of a double.");
  const auto name = [&](const char* what, const std::vector<std::size_t>& variables) {
    if (!variables.empty()) notes.push_back(fmt::format("{}: {}.", what, Named(variables)));
  };
  name("Variables whose sums of squares or variances are beyond the range of a double",
       singularity.overflown);
  name("Variables whose sums of squares or variances are below the range of a double", singularity.below);
  name("Variables whose spread within a group is lost in the rounding of its sums", singularity.lost);
  name("Variables that do not vary within any group", singularity.constant);
  name("Variables that those before them determine", singularity.dependent);
  notes.emplace_back(
      "So the covariance matrix within groups has no inverse: Wilks' lambda, the canonical and the "
      "classification functions are undefined.");
}

void GroupReport::NoteBox(std::vector<std::string>& notes) const {
  std::vector<std::string> light;
  std::vector<std::string> spoilt;
  std::vector<std::string> singular;
  for (const derive::WithoutBox& without : _analysis.box.leftOut) {
    const std::string group = text::Quoted(_groups[without.group]);
    if (without.variable && std::isnan(_analysis.groups[without.group].deviations[*without.variable])) {
      spoilt.push_back(fmt::format("{} ({})", group, text::Escaped(_variables[*without.variable])));
    } else if (without.variable) {
      singular.push_back(fmt::format("{} ({})", group, text::Escaped(_variables[*without.variable])));
    } else {
      light.push_back(group);
    }
  }
  const auto leaveOut = [&](const char* why, const std::vector<std::string>& groups) {
    if (groups.empty()) return;
    notes.push_back(fmt::format("Groups {} are left out of Box's test: {}.", why, text::ListOf(groups)));
  };
  leaveOut("without variances, as they weigh no more than 1,", light);
  leaveOut("where a sum or a variance is beyond or below the range of a double, or lost in rounding,",
           spoilt);
  leaveOut("where a variable does not vary or those before it determine it", singular);
  if (std::isnan(_analysis.box.m))
    notes.emplace_back("Box's test is undefined, as fewer than two groups take part.");
}

}  // namespace render
