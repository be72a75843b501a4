// accumulators FILE COLUMNS GROUPS BATCHROWS listwise|pairwise|groups: means and centred sums of raw values, by the
// library's accumulators in batches of so many rows.
//
// FILE holds doubles of the machine's byte order, row after row: COLUMNS values, case weight, regression weight, group
// code. The lowest double is a missing value. Prints CSV: row,column,mean_row,mean_column,css_row,css_column,cscp.

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include "vexa/vexa.h"

namespace {

void Print(unsigned int row, unsigned int column, double mean0, double mean1, double css0, double css1,
           double cscp) {
  std::printf("%u,%u,%.17g,%.17g,%.17g,%.17g,%.17g\n", row, column, mean0, mean1, css0, css1, cscp);
}

struct Source {
  const char* file;
  unsigned int columns;
  unsigned int batchRows;

  /// Groups know no regression weights.
  template <class Accumulator>
  void AddTo(Accumulator& accumulator, bool hasRegWeights) const {
    std::vector<double> row(columns + 3);
    unsigned int group = 0;
    const double* const weight = &row[columns];
    vexa::DataBatch batch(columns, batchRows, weight, hasRegWeights ? weight + 1 : nullptr, &group);
    std::ifstream stream(file, std::ios::binary);
    while (stream.read(reinterpret_cast<char*>(row.data()), std::streamsize{8} * (columns + 3))) {
      group = static_cast<unsigned int>(row.back());
      batch.AddRow(row.data());
      if (batch.NRows() < batchRows) continue;
      accumulator += batch;
      batch.Clear();
    }
    accumulator += batch;
  }
};

void PrintListwise(const Source& source) {
  vexa::MatrixListwise sums;
  source.AddTo(sums, true);
  for (unsigned int i = 0; i < source.columns; ++i) {
    for (unsigned int j = 0; j <= i; ++j)
      Print(i, j, sums.Mean(i), sums.Mean(j), sums.CCP(i, i), sums.CCP(j, j), sums.CCP(i, j));
  }
}

void PrintPairwise(const Source& source) {
  vexa::MatrixPairwise sums(std::numeric_limits<double>::lowest());
  source.AddTo(sums, true);
  for (unsigned int i = 0; i < source.columns; ++i) {
    const vexa::VarStats own = sums.Var(i);
    Print(i, i, own.Mean(), own.Mean(), own.CSS(), own.CSS(), own.CSS());
    for (unsigned int j = 0; j < i; ++j) {
      const vexa::PairStats pair = sums.Pair(i, j);
      Print(i, j, pair.Mean0(), pair.Mean1(), pair.CSS0(), pair.CSS1(), pair.CSCP());
    }
  }
}

/// Within groups: the centred sums of all groups together; the means are the first group's.
void PrintGroups(const Source& source, int groups) {
  vexa::DiscriminantMatrix sums(groups, static_cast<int>(source.columns));
  source.AddTo(sums, false);
  const auto within = [&sums](int i, int j) {
    double sum = i == j ? 0.0 : sums.TSSP(i, j);
    for (int g = 0; g < sums.NGroup(); ++g) {
      if (i == j) sum += sums.sumX2(g, i);
      sum -= sums.sumX1(g, i) * sums.sumX1(g, j) / sums.sumW(g);
    }
    return sum;
  };
  const auto mean = [&sums](int i) { return sums.sumX1(0, i) / sums.sumW(0); };
  for (int i = 0; i < sums.NVar(); ++i) {
    for (int j = 0; j <= i; ++j) {
      Print(static_cast<unsigned int>(i), static_cast<unsigned int>(j), mean(i), mean(j), within(i, i),
            within(j, j), within(i, j));
    }
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 6) return 2;
  const auto number = [&](int at) { return static_cast<unsigned int>(std::atoi(arguments[at])); };
  const Source source{arguments[1], number(2), number(4)};
  const std::string kind = arguments[5];
  std::printf("row,column,mean_row,mean_column,css_row,css_column,cscp\n");
  if (kind == "listwise") PrintListwise(source);
  if (kind == "pairwise") PrintPairwise(source);
  if (kind == "groups") PrintGroups(source, static_cast<int>(number(3)));
}
