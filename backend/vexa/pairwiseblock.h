#pragma once

#include <utility>

#include "handles.h"
#include "pairwise.h"

/// What the states of the two pairwise blocks, which have the same fields, do alike.

namespace vexa {

/// Appends records to a state and makes the work area fit the batch. When memory runs out nothing has changed.
template <class Data>
void AppendRecords(Data& state, int variables, int pairs, DataBatch& batch) {
  NewHandles<VarStat> varStats(variables);
  NewHandles<PairStat> xp(pairs);
  varStats.MakeRoomIn(state._varStats);
  xp.MakeRoomIn(state._xp);
  ReserveRows(state._workArea, batch, varStats.Count());
  varStats.AppendTo(state._varStats);
  xp.AppendTo(state._xp);
}

template <class Data>
void DeleteRecords(Data& state) {
  DestroyHandles(state._varStats);
  DestroyHandles(state._xp);
}

/// Adds the weights of all rows of a batch, whatever is missing in them.
template <class Data>
void AddWeights(Data& state, DataBatch& batch) {
  const RowTotals totals = TotalsOf(batch);
  state._weightSum += totals.weightSum;
  state._regWeightSum = state._hasRegWeights ? state._regWeightSum + totals.regWeightSum : state._weightSum;
}

/// Makes one state a deep copy of another one, whatever it held.
template <class Data>
void CopyState(Data& state, const Data& d) {
  NewHandles<VarStat> varStats(static_cast<int>(d._varStats.size()));
  NewHandles<PairStat> xp(static_cast<int>(d._xp.size()));
  CopyRecords(d._varStats, varStats);
  CopyRecords(d._xp, xp);
  WorkArea workArea = d._workArea;

  DeleteRecords(state);
  varStats.AppendTo(state._varStats);
  xp.AppendTo(state._xp);
  std::swap(state._workArea, workArea);
  state._weightSum = d._weightSum;
  state._regWeightSum = d._regWeightSum;
  state._nRows = d._nRows;
  state._hasRegWeights = d._hasRegWeights;
  state._col0 = d._col0;
  state._col1 = d._col1;
  state._col2 = d._col2;
}

/// Adds the totals of b, which may be a itself.
template <class Data>
void AddRowTotals(Data& a, const Data& b) {
  a._nRows += b._nRows;
  a._weightSum += b._weightSum;
  a._regWeightSum += b._regWeightSum;
}

}  // namespace vexa
