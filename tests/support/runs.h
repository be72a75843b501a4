#pragma once

#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/rows.h"

/// The columns of an accumulator, and its pairs: all of [col0, col2), or a column of [col0, col1) with one of
/// [col1, col2). An end of 0 stands for all columns of the first batch.
struct Runs {
  int col0 = 0;
  int col1 = 0;
  int col2 = 0;
  bool areTwo = false;

  /// The pairs as they are stored, by the places of their columns behind col0.
  std::vector<std::pair<std::size_t, std::size_t>> Pairs() const {
    const auto left = static_cast<std::size_t>(col1 - col0);
    const auto all = static_cast<std::size_t>(col2 - col0);
    std::vector<std::pair<std::size_t, std::size_t>> pairs;
    for (std::size_t i = 0; i < (areTwo ? left : all); ++i) {
      for (std::size_t j = areTwo ? left : 0; j < (areTwo ? all : i); ++j) pairs.emplace_back(i, j);
    }
    return pairs;
  }
};

// The arguments of a constructor before the runs are the missing code of those that have one.

template <class Matrix, class... Missing>
constexpr bool kOverOneRun = std::is_constructible_v<Matrix, Missing..., int, int>;
template <class Matrix, class... Missing>
constexpr bool kOverTwoRuns = std::is_constructible_v<Matrix, Missing..., int, int, int>;
template <class Matrix, class... Missing>
constexpr bool kIsBlock = kOverOneRun<Matrix, Missing...> || kOverTwoRuns<Matrix, Missing...>;

/// Runs for a class of accumulators, of at least so many columns each.
template <class Matrix, class... Missing>
Runs RandomRuns(Random& random, int columns, int least) {
  const auto between = [&](int low, int high) { return std::uniform_int_distribution(low, high)(random); };
  constexpr bool kTwo = kOverTwoRuns<Matrix, Missing...>;
  if (!kIsBlock<Matrix, Missing...> || (!kTwo && between(0, 2) == 0)) return {};
  Runs runs{.areTwo = kTwo};
  runs.col0 = runs.col1 = between(0, columns - std::max(kTwo ? 2 * least : least, 1));
  if (kTwo) runs.col1 = between(runs.col0 + least, columns - least);
  runs.col2 = between(runs.col1 + least, columns);
  return runs;
}

/// Runs of an accumulator that is not to be fed before it has taken over the runs of another one.
template <class Matrix, class... Missing>
Runs OtherRuns() {
  if (kOverTwoRuns<Matrix, Missing...>) return {3, 1, -7, true};
  return {};
}

template <class Matrix, class... Missing>
std::unique_ptr<Matrix> MakeOver(const Runs& runs, Missing... missing) {
  if constexpr (kOverTwoRuns<Matrix, Missing...>) {
    return std::make_unique<Matrix>(missing..., runs.col0, runs.col1, runs.col2);
  } else {
    if constexpr (kOverOneRun<Matrix, Missing...>) {
      if (runs.col2 > 0) return std::make_unique<Matrix>(missing..., runs.col0, runs.col2);
    }
    return std::make_unique<Matrix>(missing...);
  }
}
