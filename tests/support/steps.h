#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "support/bits.h"
#include "support/rows.h"
#include "support/statistics.h"

/// Takes the rows in random parts into a few accumulators, merges these with each other at random, with
/// themselves and with empty ones too, and compares each with its plain counterpart after every step.
///
/// A `Subject` has the types Accumulator and Plain; Make() gives an empty accumulator and MakeOther() one of
/// another shape, which must take over the shape of the first one merged into it; Part(rows) reduces rows by plain
/// loops, to something that a Plain can merge, and leaves in them what a batch should hold afterwards;
/// Batch(rows, spare) is a batch of them. A Plain begins empty, in the shape that the subject gives.
template <class Subject>
void ExpectStepsEqualPlainLoops(Random& random, const Rows& rows, const Subject& subject) {
  constexpr std::size_t kSlots = 3;
  constexpr std::size_t kOther = kSlots - 1;
  const auto chance = [&random](double share) { return std::bernoulli_distribution(share)(random); };
  const auto slot = [&random] { return std::uniform_int_distribution<std::size_t>(0, kSlots - 1)(random); };
  std::vector<std::unique_ptr<typename Subject::Accumulator>> accumulators(kSlots);
  std::vector<typename Subject::Plain> plains;
  for (std::size_t k = 0; k < kSlots; ++k) {
    accumulators[k] = k == kOther ? subject.MakeOther() : subject.Make();
    plains.push_back(k == kOther ? subject.PlainOther() : subject.PlainEmpty());
  }
  const auto expectSame = [&](std::size_t k) {
    ASSERT_TRUE(SameBits(Statistics(*accumulators[k]), plains[k].Statistics()));
  };
  const auto merge = [&](std::size_t target, std::size_t source) {
    auto& other = *accumulators[source];
    ASSERT_EQ(&(*accumulators[target] += other), accumulators[target].get());
    const typename Subject::Plain copy = plains[source];
    plains[target].Merge(copy);
    ASSERT_NO_FATAL_FAILURE(expectSame(target));
  };

  std::size_t first = 0;
  for (const std::size_t size : RandomSplit(random, rows.count)) {
    Rows part = rows.Slice(first, size);
    first += size;
    if (chance(0.15)) part.weights.assign(part.weights.size(), 0.0);
    std::size_t target = slot();
    if (target == kOther && accumulators[kOther]->NRows() == 0) target = 0;
    auto batch = subject.Batch(part, 3);
    ASSERT_EQ(&(*accumulators[target] += *batch), accumulators[target].get());
    plains[target].Merge(subject.Part(part));
    ASSERT_TRUE(SameBits(Contents(*batch), Contents(*subject.Batch(part, 0))));
    ASSERT_NO_FATAL_FAILURE(expectSame(target));
    if (chance(0.4)) {
      ASSERT_NO_FATAL_FAILURE(merge(slot(), slot()));
    }
  }
  for (std::size_t k = 1; k < kSlots; ++k) ASSERT_NO_FATAL_FAILURE(merge(0, k));
}
