#ifndef HOST_RENDER_REGRESSION_H
#define HOST_RENDER_REGRESSION_H

#include <string>
#include <vector>

#include "derive/regression.h"
#include "render/page.h"

namespace render {

/// A regression for a page. In CSV it is the table of the coefficients alone.
class RegressionReport {
 public:
  /// `variables` are the names of the predictors and then of the response. They and the regression, which must be free
  /// of contradictions, must outlive the report, and the report its tables.
  RegressionReport(const derive::Regression& regression, const derive::RegressionModel& model,
                   const std::vector<std::string>& variables);

  std::vector<Table> Tables() const;
  /// Which predictors are left out, what is undefined and what has lost its digits: a sentence each.
  std::vector<std::string> Notes() const;

 private:
  Table Coefficients() const;
  /// Some columns of Coefficients(), by their number.
  Table ForPeople(const std::string& caption, const std::vector<std::size_t>& columns) const;
  Table Fit() const;
  Table FitForPeople() const;
  Table Variance() const;
  Table LeftOut() const;

  void NoteLeftOut(std::vector<std::string>& notes) const;
  void NoteUndefined(std::vector<std::string>& notes) const;
  std::string Named(const std::vector<std::size_t>& variables) const;

  const derive::Regression& _regression;
  const derive::RegressionModel& _model;
  const std::vector<std::string>& _variables;
  std::vector<std::string> _terms;
  std::vector<std::string> _response;
};

/// Why there is no regression: a sentence without a full stop.
std::string ContradictionSentence(const derive::Contradiction& contradiction,
                                  const std::vector<std::string>& variables);

}  // namespace render

#endif
