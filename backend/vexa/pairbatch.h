#pragma once

#include <cstddef>
#include <span>

#include "batchcolumns.h"

/// The pairwise accumulators' way to the engine: one batch reduced to a summary of each column over the rows in which
/// it is present, and of each pair of columns over the rows in which both are. The bits are those that the records'
/// Init gives column by column and pair by pair.

namespace vexa {

/// A column over its present rows; the sums are weighted by the combined weights.
struct ColumnSummary {
  unsigned int rows;
  double weightSum;
  double regWeightSum;
  double mean;
  double css;
  double min;  ///< maxvalue where there are no rows, or when no extremes are wanted
  double max;  ///< minvalue likewise
};

/// A pair of columns over the rows in which both are present.
struct PairSummary {
  unsigned int rows;
  double weightSum;
  double regWeightSum;
  double mean0;
  double mean1;
  double css0;
  double css1;
  double cscp;
};

/// Pairs of one first column with several second ones, all over the same rows.
struct PairsOfColumn {
  unsigned int first;
  std::span<const std::size_t> seconds;  ///< counted from the beginning of the run
  PairSummary common;  ///< what the pairs have in common; the rest is for each second column:
  const double* means1;
  const double* css1;
  const double* cscps;
};

/// Takes the summaries, in no particular order, each once. Columns are counted from the beginning of the run, the
/// second column of a rectangle's pair from the first of the second columns.
class SummarySink {
 public:
  virtual void TakeColumn(unsigned int col, const ColumnSummary& summary) = 0;
  virtual void TakePair(unsigned int first, unsigned int second, const PairSummary& summary) = 0;
  virtual void TakePairs(const PairsOfColumn& pairs) = 0;

 protected:
  ~SummarySink() = default;
};

/// Between which columns of a run pairs are wanted. Triangle: each column with every earlier one, the later column being
/// the first of the pair. Rectangle: each of the first columns with each of the ones behind them.
struct Pairing {
  bool triangle;
  unsigned int firstCount;   ///< of a triangle, all columns
  unsigned int secondCount;  ///< of a triangle, all columns

  static Pairing Triangle(unsigned int columns) { return {true, columns, columns}; }
  static Pairing Rectangle(unsigned int left, unsigned int right) { return {false, left, right}; }
};

/// What is reduced; nothing of it is written to.
struct PairInput {
  ColumnRun run;
  const double* weights;     ///< case weights; null: every row weighs 1
  const double* regWeights;  ///< null: none
  double missing;
};

enum class Extremes { kWanted, kNotWanted };

/// So that SummarisePairs of up to that many columns and rows, on this thread, throws nothing. Throws std::bad_alloc.
void ReservePairs(unsigned int columns, unsigned int rows);

/// Reduces the rows of a batch. False, and nothing taken, when the plain records have to do it: too few columns or rows
/// to be worth it. Throws std::bad_alloc before anything is taken.
bool SummarisePairs(const PairInput& input, const Pairing& pairing, Extremes extremes, SummarySink& sink);

}  // namespace vexa
