#pragma once

#include <vector>

#include "vexa/DiscriminantMatrix.h"
#include "vexa/DscIndividualMatrix.h"
#include "vexa/matrixlistwise.h"
#include "vexa/matrixpairwise.h"
#include "vexa/nsmatrixlistwise.h"
#include "vexa/nsmatrixpairwise.h"
#include "vexa/smatrixlistwise.h"
#include "vexa/smatrixpairwise.h"

/// Everything that an accumulator answers, as one list: first what it answers always, then, if its weight is
/// positive, the rest. Cells come in the order in which they are stored, their two columns in either order.

namespace statistics {

template <class Block>
std::vector<double> OfColumns(const Block& block) {
  std::vector<double> values = {block.WeightSum(),
                                block.RegWeightSum(),
                                static_cast<double>(block.NRows()),
                                static_cast<double>(block.HasRegWeights()),
                                static_cast<double>(block.Col0()),
                                static_cast<double>(block.Col1()),
                                static_cast<double>(block.Col2())};
  if (block.NColumns() == 0) return values;
  for (int col = block.Col0(); col < block.Col2(); ++col) values.push_back(block.Max(col));
  if (!(block.WeightSum() > 0.0)) return values;
  for (int col = block.Col0(); col < block.Col2(); ++col) values.push_back(block.Min(col));
  for (int col = block.Col0(); col < block.Col2(); ++col) values.push_back(block.Mean(col));
  return values;
}

inline double EitherOrder(const auto& block, int row, int col) {
  return (row + col) % 2 == 0 ? block.CCP(row, col) : block.CCP(col, row);
}

std::vector<double> OfRows(const auto& matrix) {
  return {matrix.WeightSum(),
          matrix.RegWeightSum(),
          static_cast<double>(matrix.NRows()),
          static_cast<double>(matrix.HasRegWeights()),
          matrix.MissingCode(),
          static_cast<double>(matrix.NColumns())};
}

inline void Append(std::vector<double>& values, const vexa::VarStats& variable) {
  values.insert(values.end(), {static_cast<double>(variable.NRows()), variable.WeightSum(),
                               variable.RegWeightSum(), variable.Mean(), variable.CSS()});
}

inline void Append(std::vector<double>& values, const vexa::VarStat& variable) {
  values.insert(values.end(),
                {static_cast<double>(variable.NRows()), variable.WeightSum(), variable.RegWeightSum(),
                 variable.Mean(), variable.CSS(), variable.Min(), variable.Max()});
}

/// Of two columns in either order.
void AppendPair(std::vector<double>& values, const auto& matrix, auto row, auto col) {
  const auto& pair = (row + col) % 2 == 0 ? matrix.Pair(row, col) : matrix.Pair(col, row);
  values.insert(values.end(), {static_cast<double>(pair.NRows()), pair.WeightSum(), pair.RegWeightSum(),
                               pair.Mean0(), pair.Mean1(), pair.CSS0(), pair.CSS1(), pair.CSCP()});
}

template <class Block>
std::vector<double> OfPairwiseColumns(const Block& block) {
  std::vector<double> values = OfRows(block);
  for (const int col : {block.Col0(), block.Col1(), block.Col2()}) values.push_back(col);
  if (!(block.WeightSum() > 0.0)) return values;
  for (int col = block.Col0(); col < block.Col2(); ++col) Append(values, block.Var(col));
  return values;
}

}  // namespace statistics

inline std::vector<double> Statistics(const vexa::MatrixListwise& matrix) {
  std::vector<double> values = {static_cast<double>(matrix.NRows()), matrix.WeightSum(),
                                matrix.RegWeightSum()};
  if (!(matrix.WeightSum() > 0.0)) return values;
  for (unsigned int row = 0; row < matrix.NColumns(); ++row) {
    values.push_back(matrix.Mean(row));
    for (unsigned int col = 0; col <= row; ++col) {
      values.push_back((row + col) % 2 == 0 ? matrix.CCP(row, col) : matrix.CCP(col, row));
    }
  }
  return values;
}

inline std::vector<double> Statistics(const vexa::SMatrixListwise& block) {
  std::vector<double> values = statistics::OfColumns(block);
  if (!(block.WeightSum() > 0.0)) return values;
  for (int row = block.Col0(); row < block.Col2(); ++row) {
    for (int col = block.Col0(); col <= row; ++col) {
      values.push_back(statistics::EitherOrder(block, row, col));
    }
  }
  return values;
}

inline std::vector<double> Statistics(const vexa::NSMatrixListwise& block) {
  std::vector<double> values = statistics::OfColumns(block);
  if (!(block.WeightSum() > 0.0)) return values;
  for (int col = block.Col0(); col < block.Col2(); ++col) values.push_back(block.CCP(col, col));
  for (int row = block.Col0(); row < block.Col1(); ++row) {
    for (int col = block.Col1(); col < block.Col2(); ++col) {
      values.push_back(statistics::EitherOrder(block, row, col));
    }
  }
  return values;
}

inline std::vector<double> Statistics(const vexa::DiscriminantMatrix& matrix) {
  std::vector<double> values = {matrix.WeightSum(), static_cast<double>(matrix.NRows()),
                                static_cast<double>(matrix.NGroup()), static_cast<double>(matrix.NVar())};
  if (!(matrix.WeightSum() > 0.0)) return values;
  for (int group = 0; group < matrix.NGroup(); ++group) values.push_back(matrix.sumW(group));
  for (int var = 0; var < matrix.NVar(); ++var) {
    for (int group = 0; group < matrix.NGroup(); ++group) {
      values.push_back(matrix.sumX1(group, var));
      values.push_back(matrix.sumX2(group, var));
    }
    for (int col = 0; col < var; ++col) {
      values.push_back((var + col) % 2 == 0 ? matrix.TSSP(var, col) : matrix.TSSP(col, var));
    }
  }
  return values;
}

inline std::vector<double> Statistics(const vexa::DiscIndividualMatrix& matrix) {
  std::vector<double> values = {matrix.WeightSum(), static_cast<double>(matrix.NRows()),
                                static_cast<double>(matrix.NGroup()), static_cast<double>(matrix.NVar())};
  if (!(matrix.WeightSum() > 0.0)) return values;
  int cell = 0;
  for (int row = 0; row <= matrix.NVar(); ++row) {
    for (int col = 0; col <= row; ++col, ++cell) {
      for (int group = 0; group < matrix.NGroup(); ++group) {
        values.push_back(group % 2 == 0 ? matrix.TSSP(cell, group) : matrix.TSSP(col, row, group));
      }
    }
  }
  return values;
}

inline std::vector<double> Statistics(const vexa::MatrixPairwise& matrix) {
  std::vector<double> values = statistics::OfRows(matrix);
  if (!(matrix.WeightSum() > 0.0)) return values;
  for (unsigned int col = 0; col < matrix.NColumns(); ++col) statistics::Append(values, matrix.Var(col));
  for (unsigned int row = 0; row < matrix.NColumns(); ++row) {
    for (unsigned int col = 0; col < row; ++col) statistics::AppendPair(values, matrix, row, col);
  }
  return values;
}

inline std::vector<double> Statistics(const vexa::SMatrixPairwise& block) {
  std::vector<double> values = statistics::OfPairwiseColumns(block);
  if (!(block.WeightSum() > 0.0)) return values;
  for (int row = block.Col0(); row < block.Col2(); ++row) {
    for (int col = block.Col0(); col < row; ++col) statistics::AppendPair(values, block, row, col);
  }
  return values;
}

inline std::vector<double> Statistics(const vexa::NSMatrixPairwise& block) {
  std::vector<double> values = statistics::OfPairwiseColumns(block);
  if (!(block.WeightSum() > 0.0)) return values;
  for (int row = block.Col0(); row < block.Col1(); ++row) {
    for (int col = block.Col1(); col < block.Col2(); ++col) statistics::AppendPair(values, block, row, col);
  }
  return values;
}
