// Means and covariances of a few rows: one batch, one accumulator, no threads.

#include <vexa/vexa.h>

#include <cstdio>

int main() {
  const unsigned int kColumns = 3;
  const unsigned int kRows = 5;
  const double rows[kRows][kColumns] = {// height, weight, age
                                        {1.71, 65.0, 34.0},
                                        {1.83, 81.5, 51.0},
                                        {1.66, 59.0, 28.0},
                                        {1.92, 90.0, 45.0},
                                        {1.78, 74.5, 39.0}};

  // A batch captures whatever the weight variable holds when a row is added: how many people the row stands for.
  double weight = 1.0;
  vexa::DataBatch batch(kColumns, kRows, &weight, nullptr, nullptr);
  for (unsigned int row = 0; row < kRows; ++row) {
    weight = row == 2 ? 2.0 : 1.0;
    batch.AddRow(rows[row]);
  }

  // The accumulator reads every row, and leaves the batch's columns centred: to use the rows again, add them again.
  vexa::MatrixListwise sums;
  sums += batch;

  std::printf("%llu rows, weight %g\n", static_cast<unsigned long long>(sums.NRows()), sums.WeightSum());
  for (unsigned int row = 0; row < kColumns; ++row) {
    std::printf("mean %8.4f  covariances", sums.Mean(row));
    for (unsigned int col = 0; col <= row; ++col) {
      std::printf(" %9.4f", sums.CCP(row, col) / (sums.WeightSum() - 1.0));
    }
    std::printf("\n");
  }
}
