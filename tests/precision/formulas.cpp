// formulas FILE COLUMNS BATCHROWS listwise|pairwise|groups: means and centred sums of raw values, by the library's
// accumulators in batches of so many rows and by the two formulas that programs without a library write.
//
// FILE holds doubles of the machine's byte order, row after row: COLUMNS values, case weight, regression weight, group
// code. The lowest double is a missing value. Prints CSV: formula,row,column,mean_row,mean_column,css_row,css_column,cscp.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <vector>

#include "vexa/vexa.h"

namespace {

const double kMissing = std::numeric_limits<double>::lowest();

struct Pair {
  double weight = 0.0, mean0 = 0.0, mean1 = 0.0, css0 = 0.0, css1 = 0.0, cscp = 0.0;
};

void Print(const char* formula, unsigned int row, unsigned int column, const Pair& pair) {
  std::printf("%s,%u,%u,%.17g,%.17g,%.17g,%.17g,%.17g\n", formula, row, column, pair.mean0, pair.mean1,
              pair.css0, pair.css1, pair.cscp);
}

/// Σw, Σwx, Σwxy, and the difference of large numbers at the end.
class RawSums {
 public:
  void Add(double x, double y, double w) {
    _w += w;
    _x += w * x;
    _y += w * y;
    _xx += w * x * x;
    _yy += w * y * y;
    _xy += w * x * y;
  }
  Pair Result() const {
    return {_w, _x / _w, _y / _w, _xx - _x * _x / _w, _yy - _y * _y / _w, _xy - _x * _y / _w};
  }

 private:
  double _w = 0.0, _x = 0.0, _y = 0.0, _xx = 0.0, _yy = 0.0, _xy = 0.0;
};

/// One row at a time about the mean so far (Welford 1962, with weights by West 1979).
class Welford {
 public:
  void Add(double x, double y, double w) {
    _pair.weight += w;
    const double dx = x - _pair.mean0;
    const double dy = y - _pair.mean1;
    _pair.mean0 += w / _pair.weight * dx;
    _pair.mean1 += w / _pair.weight * dy;
    _pair.css0 += w * dx * (x - _pair.mean0);
    _pair.css1 += w * dy * (y - _pair.mean1);
    _pair.cscp += w * dx * (y - _pair.mean1);
  }
  Pair Result() const { return _pair; }

 private:
  Pair _pair;
};

struct Table {
  unsigned int columns;
  std::size_t rows;
  std::vector<double> values;

  const double* Row(std::size_t row) const { return values.data() + row * (columns + 3); }
  double Weight(std::size_t row) const { return Row(row)[columns] * Row(row)[columns + 1]; }
  std::size_t Group(std::size_t row) const { return static_cast<std::size_t>(Row(row)[columns + 2]); }
  std::size_t Groups() const {
    std::size_t groups = 1;
    for (std::size_t row = 0; row < rows; ++row) groups = Group(row) >= groups ? Group(row) + 1 : groups;
    return groups;
  }
};

/// Within groups: the centred sums of all groups together; the means are the first group's.
template <class Formula>
void PrintFormula(const char* name, const Table& table) {
  for (unsigned int i = 0; i < table.columns; ++i) {
    for (unsigned int j = 0; j <= i; ++j) {
      std::vector<Formula> groups(table.Groups());
      for (std::size_t row = 0; row < table.rows; ++row) {
        const double* x = table.Row(row);
        if (x[i] != kMissing && x[j] != kMissing) groups[table.Group(row)].Add(x[i], x[j], table.Weight(row));
      }
      Pair sum = groups[0].Result();
      for (std::size_t g = 1; g < groups.size(); ++g) {
        const Pair own = groups[g].Result();
        sum.css0 += own.css0;
        sum.css1 += own.css1;
        sum.cscp += own.cscp;
      }
      Print(name, i, j, sum);
    }
  }
}

template <class Accumulator>
void AddAll(const Table& table, unsigned int batchRows, bool weighted, Accumulator& accumulator) {
  double weight = 0.0;
  double regWeight = 0.0;
  unsigned int group = 0;
  vexa::DataBatch batch(table.columns, batchRows, &weight, weighted ? &regWeight : nullptr, &group);
  for (std::size_t row = 0; row < table.rows; ++row) {
    weight = table.Row(row)[table.columns];
    regWeight = table.Row(row)[table.columns + 1];
    group = static_cast<unsigned int>(table.Group(row));
    batch.AddRow(table.Row(row));
    if (batch.NRows() < batchRows && row + 1 < table.rows) continue;
    accumulator += batch;
    batch.Clear();
  }
}

void PrintListwise(const Table& table, unsigned int batchRows) {
  vexa::MatrixListwise sums;
  AddAll(table, batchRows, true, sums);
  for (unsigned int i = 0; i < table.columns; ++i)
    for (unsigned int j = 0; j <= i; ++j)
      Print("library", i, j, {0, sums.Mean(i), sums.Mean(j), sums.CCP(i, i), sums.CCP(j, j), sums.CCP(i, j)});
}

void PrintPairwise(const Table& table, unsigned int batchRows) {
  vexa::MatrixPairwise sums(kMissing);
  AddAll(table, batchRows, true, sums);
  for (unsigned int i = 0; i < table.columns; ++i) {
    const vexa::VarStats own = sums.Var(i);
    Print("library", i, i, {0, own.Mean(), own.Mean(), own.CSS(), own.CSS(), own.CSS()});
    for (unsigned int j = 0; j < i; ++j) {
      const vexa::PairStats pair = sums.Pair(i, j);
      Print("library", i, j, {0, pair.Mean0(), pair.Mean1(), pair.CSS0(), pair.CSS1(), pair.CSCP()});
    }
  }
}

void PrintGroups(const Table& table, unsigned int batchRows) {
  vexa::DiscriminantMatrix sums(static_cast<int>(table.Groups()), static_cast<int>(table.columns));
  AddAll(table, batchRows, false, sums);
  const auto within = [&sums](int i, int j) {
    double sum = i == j ? 0.0 : sums.TSSP(i, j);
    for (int g = 0; g < sums.NGroup(); ++g) {
      if (i == j) sum += sums.sumX2(g, i);
      sum -= sums.sumX1(g, i) * sums.sumX1(g, j) / sums.sumW(g);
    }
    return sum;
  };
  const auto mean = [&sums](int i) { return sums.sumX1(0, i) / sums.sumW(0); };
  for (int i = 0; i < sums.NVar(); ++i)
    for (int j = 0; j <= i; ++j)
      Print("library", static_cast<unsigned int>(i), static_cast<unsigned int>(j),
            {0, mean(i), mean(j), within(i, i), within(j, j), within(i, j)});
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 5) return 2;
  std::ifstream file(arguments[1], std::ios::binary | std::ios::ate);
  Table table{static_cast<unsigned int>(std::atoi(arguments[2])), 0, {}};
  table.values.resize(static_cast<std::size_t>(file.tellg()) / sizeof(double));
  table.rows = table.values.size() / (table.columns + 3);
  file.seekg(0);
  if (!file.read(reinterpret_cast<char*>(table.values.data()),
                 static_cast<std::streamsize>(table.values.size() * sizeof(double)))) {
    return 2;
  }
  const auto batchRows = static_cast<unsigned int>(std::atoi(arguments[3]));
  std::printf("formula,row,column,mean_row,mean_column,css_row,css_column,cscp\n");
  if (std::strcmp(arguments[4], "listwise") == 0)
    PrintListwise(table, batchRows);
  else if (std::strcmp(arguments[4], "pairwise") == 0)
    PrintPairwise(table, batchRows);
  else
    PrintGroups(table, batchRows);
  PrintFormula<RawSums>("raw sums", table);
  PrintFormula<Welford>("Welford", table);
}
