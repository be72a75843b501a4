// Correlations of variables with gaps: each over the rows that have both values.

#include <vexa/vexa.h>

#include <cmath>
#include <cstdio>
#include <limits>

int main() {
  // A code for missing values that no value has. It is compared as a double; a NaN would mark nothing.
  const double kMissing = std::numeric_limits<double>::lowest();
  const unsigned int kColumns = 3;
  const double rows[][kColumns] = {{1.0, 2.1, kMissing}, {2.0, kMissing, 9.0}, {3.0, 6.2, 7.5},
                                   {4.0, 7.8, 8.0},      {kMissing, 9.9, 4.0}, {6.0, 12.5, 3.5},
                                   {7.0, 13.9, 2.0}};

  vexa::DataBatch batch(kColumns, sizeof(rows) / sizeof(rows[0]), nullptr, nullptr, nullptr);
  for (const double* row : rows) batch.AddRow(row);

  vexa::MatrixPairwise sums(kMissing);
  sums += batch;

  for (unsigned int col = 0; col < kColumns; ++col) {
    const vexa::VarStats variable = sums.Var(col);
    std::printf("variable %u: n %llu, mean %.4f\n", col, static_cast<unsigned long long>(variable.NRows()),
                variable.Mean());
  }
  for (unsigned int row = 1; row < kColumns; ++row) {
    for (unsigned int col = 0; col < row; ++col) {
      // Its means and sums of squares are those of the rows that have both, not the variables' own.
      const vexa::PairStats pair = sums.Pair(row, col);
      std::printf("pair %u, %u: n %llu, r %.4f\n", row, col, static_cast<unsigned long long>(pair.NRows()),
                  pair.CSCP() / std::sqrt(pair.CSS0()) / std::sqrt(pair.CSS1()));
    }
  }
}
