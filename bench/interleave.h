#pragma once

#include <functional>

#include "clock.h"

/// Two ways to do a piece of work, timed in turns so that what disturbs the machine disturbs both.

namespace bench {

struct Candidate {
  std::function<void()> prepare;  ///< makes what the work consumes; not timed
  std::function<void()> work;
  double copies = 1.0;  ///< equal pieces of work done at once, for pieces too short to be timed
  double units = 1.0;   ///< what a piece is divided by before the two are compared, for unequal pieces
  Clock clock = Clock::kThread;
  const char* level = nullptr;  ///< the engine's kernels for this candidate; null: the active ones
};

struct Comparison {
  double ours;    ///< seconds of a piece, the median of all rounds
  double theirs;  ///< likewise
  double ratio;   ///< ours ÷ theirs per unit: the median of the rounds' own ratios
  double low;     ///< their first quartile
  double high;    ///< their third quartile
};

/// Each round runs both candidates for some milliseconds each, in alternating order.
Comparison Interleave(const Candidate& ours, const Candidate& theirs, int rounds);

/// Seconds of a piece, the least of all rounds.
double Best(const Candidate& candidate, int rounds);

}  // namespace bench
