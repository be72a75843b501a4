#pragma once

#include <type_traits>
#include <utility>
#include <vector>

#include "vexa/DiscriminantMatrix.h"
#include "vexa/DscIndividualMatrix.h"
#include "vexa/matrixlistwise.h"
#include "vexa/matrixpairwise.h"
#include "vexa/nsmatrixlistwise.h"
#include "vexa/nsmatrixpairwise.h"
#include "vexa/smatrixlistwise.h"
#include "vexa/smatrixpairwise.h"

namespace statistics {

void Add(std::vector<double>& values, auto... numbers) {
  (values.push_back(static_cast<double>(numbers)), ...);
}

void AddColumn(std::vector<double>& values, const auto& matrix, int col) {
  if constexpr (requires { matrix.Var(col); }) {
    const auto& variable = matrix.Var(col);
    Add(values, variable.NRows(), variable.WeightSum(), variable.RegWeightSum(), variable.Mean(),
        variable.CSS());
    if constexpr (requires { variable.Min(); }) Add(values, variable.Min(), variable.Max());
  } else {
    Add(values, matrix.Mean(col), matrix.CCP(col, col));
    if constexpr (requires { matrix.Min(col); }) Add(values, matrix.Min(col));
  }
}

void AddCell(std::vector<double>& values, const auto& matrix, int row, int col) {
  if ((row + col) % 2 != 0) std::swap(row, col);
  if constexpr (requires { matrix.CCP(row, col); }) {
    Add(values, matrix.CCP(row, col));
  } else if constexpr (requires { matrix.TSSP(row, col); }) {
    Add(values, matrix.TSSP(row, col));
  } else {
    const auto& pair = matrix.Pair(row, col);
    Add(values, pair.NRows(), pair.WeightSum(), pair.RegWeightSum(), pair.Mean0(), pair.Mean1(), pair.CSS0(),
        pair.CSS1(), pair.CSCP());
  }
}

}  // namespace statistics

/// Everything that an accumulator answers, as one list: first what it answers always, then, if its weight is
/// positive, column after column and the pairs of columns as they are stored, the two in either order.
template <class Matrix>
std::vector<double> Statistics(const Matrix& matrix) {
  constexpr bool kBlock = requires { matrix.Col0(); };
  std::vector<double> values;
  statistics::Add(values, matrix.WeightSum(), matrix.RegWeightSum(), matrix.NRows(), matrix.HasRegWeights());
  if constexpr (requires { matrix.MissingCode(); })
    statistics::Add(values, matrix.MissingCode(), matrix.NColumns());
  int first = 0;
  int middle = 0;
  int end = static_cast<int>(matrix.NColumns());
  if constexpr (kBlock) {
    first = matrix.Col0(), middle = matrix.Col1(), end = matrix.Col2();
    statistics::Add(values, first, middle, end);
  }
  if constexpr (requires { matrix.Max(first); }) {
    for (int col = first; col < end && matrix.NColumns() > 0; ++col) statistics::Add(values, matrix.Max(col));
  }
  if (!(matrix.WeightSum() > 0.0)) return values;
  for (int col = first; col < end; ++col) statistics::AddColumn(values, matrix, col);
  constexpr bool kTwoRuns =
      std::is_same_v<Matrix, vexa::NSMatrixListwise> || std::is_same_v<Matrix, vexa::NSMatrixPairwise>;
  for (int row = first; row < (kTwoRuns ? middle : end); ++row) {
    for (int col = kTwoRuns ? middle : first; col < (kTwoRuns ? end : row); ++col)
      statistics::AddCell(values, matrix, row, col);
  }
  return values;
}

inline std::vector<double> Statistics(const vexa::DiscriminantMatrix& matrix) {
  std::vector<double> values;
  statistics::Add(values, matrix.WeightSum(), matrix.NRows(), matrix.NGroup(), matrix.NVar());
  if (!(matrix.WeightSum() > 0.0)) return values;
  for (int group = 0; group < matrix.NGroup(); ++group) statistics::Add(values, matrix.sumW(group));
  for (int var = 0; var < matrix.NVar(); ++var) {
    for (int group = 0; group < matrix.NGroup(); ++group) statistics::Add(values, matrix.sumX1(group, var));
    for (int group = 0; group < matrix.NGroup(); ++group) statistics::Add(values, matrix.sumX2(group, var));
    for (int col = 0; col < var; ++col) statistics::AddCell(values, matrix, var, col);
  }
  return values;
}

inline std::vector<double> Statistics(const vexa::DiscIndividualMatrix& matrix) {
  std::vector<double> values;
  statistics::Add(values, matrix.WeightSum(), matrix.NRows(), matrix.NGroup(), matrix.NVar());
  if (!(matrix.WeightSum() > 0.0)) return values;
  int cell = 0;
  for (int row = 0; row <= matrix.NVar(); ++row) {
    for (int col = 0; col <= row; ++col, ++cell) {
      for (int group = 0; group < matrix.NGroup(); ++group)
        statistics::Add(values, group % 2 == 0 ? matrix.TSSP(cell, group) : matrix.TSSP(col, row, group));
    }
  }
  return values;
}
