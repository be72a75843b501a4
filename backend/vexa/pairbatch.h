#pragma once

#include "vexa/databatch.h"

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

/// Takes the summaries, in no particular order, each once. Columns are counted from the beginning of the runs, the
/// second column of a pair from the beginning of its own run.
class SummarySink {
 public:
  virtual void TakeColumn(unsigned int col, const ColumnSummary& summary) = 0;
  virtual void TakePair(unsigned int first, unsigned int second, const PairSummary& summary) = 0;

 protected:
  ~SummarySink() = default;
};

/// Columns of a batch between which pairs are wanted. Triangle: each column of a run with every earlier one, the later
/// column being the first of the pair. Rectangle: each column of one run with each column of the run that follows it.
struct PairedRuns {
  bool triangle;
  unsigned int first;  ///< where the first run begins
  unsigned int firstCount;
  unsigned int secondCount;  ///< columns of the second run; of a triangle, those of its one run again

  static PairedRuns Triangle(unsigned int col, unsigned int count) { return {true, col, count, count}; }
  static PairedRuns Rectangle(unsigned int col, unsigned int firstCount, unsigned int secondCount) {
    return {false, col, firstCount, secondCount};
  }
  unsigned int Columns() const { return triangle ? firstCount : firstCount + secondCount; }
};

enum class Extremes { kWanted, kNotWanted };

/// Reduces the batch, which is only read. False, and nothing taken, when the plain records have to do it: too few
/// columns or rows, or no memory to work in.
bool SummarisePairs(DataBatch& batch, const PairedRuns& runs, double missing, Extremes extremes,
                    SummarySink& sink);

}  // namespace vexa
