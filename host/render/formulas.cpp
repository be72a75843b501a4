#include "render/formulas.h"

namespace render {
namespace {

const std::vector<Formula> kSums = {
    {"w, W, R", "w: case × regression weight of a row; W: sum of the case weights; R: sum of w"},
    {"mean of x", "Σ w x ÷ R"},
    {"cscp of x and y", "Σ w (x − mean x)(y − mean y); css of x is its cscp with itself"},
};

const std::vector<Formula> kDescribe = {
    {"variance", "css ÷ (W − 1)"},
    {"sd", "√variance"},
    {"se", "standard error of the mean: sd ÷ √R"},
    {"missing", "rows, of those with weights, in which the variable is missing"},
};

const std::vector<Formula> kCovariance = {
    {"covariance", "cscp ÷ (W − 1)"},
};

const std::vector<Formula> kCorrelation = {
    {"correlation r", "cscp ÷ √css x ÷ √css y"},
    {"p value", "two-sided, t = r √((W − 2) ÷ (1 − r²)) on W − 2 degrees of freedom"},
};

const std::vector<Formula> kRegression = {
    {"coefficients b",
     "C⁻¹c, C being the css and cscp of the p predictors and c their cscp with the response y"},
    {"intercept", "mean of y − m′b, m being the means of the predictors"},
    {"residual sum of squares, df", "css y − b′c; W − p − 1, or W − p without intercept"},
    {"std_error", "s √(C⁻¹)ⱼⱼ, s² being residual sum of squares ÷ df; of the intercept s √(1 ÷ R + m′C⁻¹m)"},
    {"lower, upper", "b ± quantile of Student's t on df × std_error"},
    {"standardised", "bⱼ √(css xⱼ ÷ css y)"},
    {"tolerance, vif", "1 − R² of xⱼ on the other predictors; 1 ÷ tolerance"},
    {"f", "R² ÷ p over (1 − R²) ÷ df"},
    {"condition", "√ of largest ÷ smallest eigenvalue of the predictors' correlation matrix"},
};

const std::vector<Formula> kGroups = {
    {"within, between",
     "Σ Cᵢ; Σ Wᵢ (mᵢ − m)(mᵢ − m)′, Cᵢ being the css and cscp of group i and mᵢ its means"},
    {"covariance S", "within ÷ (N − g) of g groups, N = Σ Wᵢ"},
    {"Wilks' Λ", "|within| ÷ |total|, with the F of Rao (1951)"},
    {"Box's M", "(N − g) ln |S| − Σ (Wᵢ − 1) ln |Sᵢ|, with the F of Box (1949)"},
    {"canonical functions v", "between v = λ within v, v′Sv = 1 (Fisher 1936)"},
    {"classification functions", "S⁻¹mᵢ, and ln prior − ½ mᵢ′S⁻¹mᵢ"},
};

}  // namespace

std::vector<Formula> FormulasOf(std::string_view command) {
  std::vector<Formula> formulas = kSums;
  const auto add = [&formulas](const std::vector<Formula>& more) {
    formulas.insert(formulas.end(), more.begin(), more.end());
  };
  if (command == "describe") add(kDescribe);
  if (command == "cov") add(kCovariance);
  if (command == "corr") add(kCorrelation);
  if (command == "regress") add(kRegression);
  if (command == "groups") add(kGroups);
  return formulas;
}

}  // namespace render
