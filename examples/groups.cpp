// Means and standard deviations of groups of rows, in one pass.

#include <vexa/vexa.h>

#include <cmath>
#include <cstdio>

int main() {
  const unsigned int kGroups = 2;
  const int kVariables = 2;
  struct Case {
    unsigned int group;
    double values[kVariables];
  };
  const Case cases[] = {{0, {1000.1, 3.5}}, {1, {1002.4, 2.9}}, {0, {1000.4, 3.1}},
                        {1, {1002.9, 2.4}}, {1, {1002.0, 2.5}}, {0, {1000.3, 3.6}}};

  // These sums are raw ones, Σx² and not Σ(x − mean)²: take an origin near the data off, or the digits that all values
  // share are lost to the spread.
  const double origin[kVariables] = {1000.0, 0.0};

  unsigned int group = 0;
  vexa::DataBatchByGroup batch(kVariables, sizeof(cases) / sizeof(cases[0]), nullptr, nullptr, &group,
                               kGroups);
  for (const Case& one : cases) {
    double* values = batch.NextRow();
    for (int variable = 0; variable < kVariables; ++variable)
      values[variable] = one.values[variable] - origin[variable];
    group = one.group;
    batch.AddRow();
  }
  batch.SortByGroup();

  vexa::DiscIndividualMatrix sums(kGroups, kVariables);
  sums += batch;

  for (unsigned int code = 0; code < kGroups; ++code) {
    const int index = static_cast<int>(code);
    // Row kVariables is the constant 1: the group's weight, and the sums of its variables.
    const double weight = sums.TSSP(kVariables, kVariables, index);
    std::printf("group %u: n %g", code, weight);
    for (int variable = 0; variable < kVariables; ++variable) {
      const double mean = sums.TSSP(kVariables, variable, index) / weight;
      const double squares = sums.TSSP(variable, variable, index) - weight * mean * mean;
      std::printf(", mean %.4f sd %.4f", mean + origin[variable], std::sqrt(squares / (weight - 1.0)));
    }
    std::printf("\n");
  }
}
