#pragma once

/// How every accumulator takes in a batch or another accumulator's state.

namespace vexa {

/// The first batch with rows becomes the state itself. Every later one is reduced to a part of its own, built
/// empty from `shape`, and merged. `empty` is the accumulator's own test.
template <class Data, class Batch, class... Shape>
void AddBatch(Data& state, bool empty, Batch& batch, Shape... shape) {
  if (batch.NRows() == 0) return;
  if (empty) {
    state.Init(batch);
  } else {
    Data part(shape...);
    part.Init(batch);
    state.Update(part);
  }
}

/// A state with rows is copied into an empty one and merged into any other. Adding a state to itself doubles
/// it.
template <class Data>
void MergeState(Data& state, bool empty, const Data& other) {
  if (empty) {
    state.Init(other);
  } else {
    state.Update(other);
  }
}

}  // namespace vexa
