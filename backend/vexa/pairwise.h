#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

#include "batchcolumns.h"
#include "packed.h"
#include "pairbatch.h"
#include "records.h"
#include "vexa/databatch.h"
#include "vexa/kernels.h"
#include "vexa/workarea.h"

/// How the pairwise accumulators take in a batch and each other. A batch is only read: the rows of every variable
/// and every pair are copied into the work area before anything is computed.

namespace vexa {

/// Makes room for the rows of a batch, so that taking in a run of its columns throws nothing afterwards.
inline void ReserveRows(WorkArea& work, DataBatch& batch, std::size_t columns) {
  const std::size_t rows = batch.NRows();
  ReservePairs(static_cast<unsigned int>(columns), batch.NRows());
  work._x0.reserve(rows);
  work._x1.reserve(rows);
  if (!batch.Weights() && !batch.RegWeights()) return;
  // Both, because combining may exchange them.
  work._w.reserve(rows);
  work._rw.reserve(rows);
}

/// The weight totals of all rows of a batch, whatever is missing in them.
struct RowTotals {
  double weightSum;     ///< case weights, or the row count
  double regWeightSum;  ///< combined weights; weightSum without regression weights
};

inline RowTotals TotalsOf(DataBatch& batch) {
  const double* weights = batch.Weights();
  const double* regWeights = batch.RegWeights();
  const int rows = static_cast<int>(batch.NRows());
  RowTotals totals{};
  totals.weightSum = WeightedSum(weights, rows);
  if (!regWeights) {
    totals.regWeightSum = totals.weightSum;
  } else {
    totals.regWeightSum = weights ? ProductSum(weights, regWeights, rows) : Sum(regWeights, rows);
  }
  return totals;
}

/// Record k of a list of records or of handles.
template <class Records>
auto& RecordAt(Records& records, std::size_t k) {
  if constexpr (std::is_pointer_v<typename Records::value_type>) {
    return *records[k]->Data();
  } else {
    return records[k];
  }
}

template <class Records>
using RecordIn = std::remove_reference_t<decltype(RecordAt(std::declval<Records&>(), 0))>;

/// A batch next to the running records of an accumulator: those of the variables of a run of its columns, and those
/// of pairs of them. Each AddX visits every record of its shape once, reduces the batch to a part about the part's
/// own means and merges that; the order of the visits changes no value. The loops below are the definition, the
/// engine does the same.
template <class Variables, class Pairs>
class PairwiseBatch {
 public:
  PairwiseBatch(DataBatch& batch, const ColumnRun& run, WorkArea& work, Variables& variables, Pairs& pairs)
      : _run(run),
        _weights(batch.Weights()),
        _regWeights(batch.RegWeights()),
        _work(work),
        _variables(variables),
        _pairs(pairs) {}

  /// Every variable, and the pair of every column with each one before it, row after row of the strict triangle; the
  /// later column is the first of the pair. Returns the number of pairs.
  unsigned int AddTriangle() const {
    EngineParts parts(*this, Pairing::Triangle(_run.columns));
    if (parts.Add()) return parts.Taken();
    AddVariables();
    unsigned int pair = 0;
    for (unsigned int col = 0; col < _run.columns; ++col) {
      for (unsigned int other = 0; other < col; ++other) AddPair(pair++, col, other);
    }
    return pair;
  }

  /// Every variable, and the pair of each of the first `left` columns with each of the `right` ones behind them, row
  /// after row; the left column is the first of the pair. Returns the number of pairs.
  unsigned int AddRectangle(unsigned int left, unsigned int right) const {
    EngineParts parts(*this, Pairing::Rectangle(left, right));
    if (parts.Add()) return parts.Taken();
    AddVariables();
    unsigned int pair = 0;
    for (unsigned int row = 0; row < left; ++row) {
      for (unsigned int col = 0; col < right; ++col) AddPair(pair++, row, left + col);
    }
    return pair;
  }

 private:
  int RowCount() const { return static_cast<int>(_run.rows); }

  void AddVariables() const {
    for (unsigned int col = 0; col < _run.columns; ++col) {
      auto& running = RecordAt(_variables, col);
      std::remove_reference_t<decltype(running)> part;
      InitVariable(part, _run.Column(col), _weights, _regWeights, _work, RowCount());
      MergeVariable(running, part);
    }
  }

  void AddPair(std::size_t pair, unsigned int first, unsigned int second) const {
    auto& running = RecordAt(_pairs, pair);
    std::remove_reference_t<decltype(running)> part;
    InitPair(part, _run.Column(first), _run.Column(second), _weights, _regWeights, _work, RowCount());
    MergePair(running, part);
  }

  /// Merges the parts that the engine makes of the batch.
  class EngineParts final : public SummarySink {
   public:
    EngineParts(const PairwiseBatch& batch, const Pairing& pairing) : _batch(batch), _pairing(pairing) {}

    /// False when the engine leaves the batch to the plain loops.
    bool Add() {
      const PairInput input{_batch._run, _batch._weights, _batch._regWeights, _batch._work._missing};
      return SummarisePairs(input, _pairing, Family<RecordIn<Variables>>::kExtremes, *this);
    }
    unsigned int Taken() const { return _taken; }

    void TakeColumn(unsigned int col, const ColumnSummary& summary) override {
      auto& running = RecordAt(_batch._variables, col);
      MergeVariable(running, RecordOf<RecordIn<Variables>>(summary));
    }
    void TakePair(unsigned int first, unsigned int second, const PairSummary& summary) override {
      Merge(Row(first) + second, summary);
      ++_taken;
    }
    void TakePairs(const PairsOfColumn& pairs) override {
      const std::size_t row = Row(pairs.first) - (_pairing.triangle ? 0 : _pairing.firstCount);
      PairSummary summary = pairs.common;
      for (std::size_t k = 0; k < pairs.seconds.size(); ++k) {
        summary.mean1 = pairs.means1[k];
        summary.css1 = pairs.css1[k];
        summary.cscp = pairs.cscps[k];
        Merge(row + pairs.seconds[k], summary);
      }
      _taken += static_cast<unsigned int>(pairs.seconds.size());
    }

   private:
    /// The first record of a first column's pairs.
    std::size_t Row(std::size_t first) const {
      return _pairing.triangle ? StrictTriangleRow(first) : first * _pairing.secondCount;
    }
    void Merge(std::size_t pair, const PairSummary& summary) const {
      MergePair(RecordAt(_batch._pairs, pair), RecordOf<RecordIn<Pairs>>(summary));
    }

    const PairwiseBatch& _batch;
    Pairing _pairing;
    unsigned int _taken = 0;
  };

  ColumnRun _run;
  const double* _weights;
  const double* _regWeights;
  WorkArea& _work;
  Variables& _variables;
  Pairs& _pairs;
};

/// Merges every record of b, which may be a itself, into that of a. Returns their number.
template <class Records>
std::size_t MergeRecords(Records& a, const Records& b) {
  for (std::size_t k = 0; k < a.size(); ++k) RecordAt(a, k).Update(RecordAt(b, k));
  return a.size();
}

/// A batch with rows sets an empty state up; every later one goes into the records that are there. There is no part
/// in between, unlike in the listwise accumulators: each record has its own.
template <class Data>
void AddBatchToRecords(Data& state, bool empty, DataBatch& batch) {
  if (batch.NRows() == 0) return;
  if (empty) {
    state.Init(batch);
  } else {
    state.Update(batch);
  }
}

}  // namespace vexa
