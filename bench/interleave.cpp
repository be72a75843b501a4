#include "interleave.h"

#include <algorithm>
#include <vector>

#include "vexa/engine/engine.h"

namespace bench {

namespace {

constexpr double kSecondsPerRound = 0.01;
constexpr double kMostRepeats = 1000;

const char* ActiveLevel() {
  const vexa::engine::Kernels* active = vexa::engine::Active();
  return active ? active->name : "plain";
}

/// Seconds of `repeats` works, not counting their preparation.
double SecondsOf(const Candidate& candidate, int repeats) {
  const char* const before = ActiveLevel();
  if (candidate.level) vexa::engine::Force(candidate.level);
  double seconds = 0.0;
  for (int repeat = 0; repeat < repeats; ++repeat) {
    candidate.prepare();
    seconds += Seconds(candidate.work, candidate.clock);
  }
  vexa::engine::Force(before);
  return seconds;
}

int Repeats(const Candidate& candidate) {
  SecondsOf(candidate, 1);  // touches its memory
  const double seconds = std::max(SecondsOf(candidate, 1), 1e-9);
  return static_cast<int>(std::clamp(kSecondsPerRound / seconds, 1.0, kMostRepeats));
}

double SecondsOfPiece(const Candidate& candidate, int repeats) {
  return SecondsOf(candidate, repeats) / (repeats * candidate.copies);
}

}  // namespace

Comparison Interleave(const Candidate& ours, const Candidate& theirs, int rounds) {
  const int repeatsOfOurs = Repeats(ours);
  const int repeatsOfTheirs = Repeats(theirs);
  std::vector<double> secondsOfOurs;
  std::vector<double> secondsOfTheirs;
  std::vector<double> ratios;
  const auto timeOurs = [&] { secondsOfOurs.push_back(SecondsOfPiece(ours, repeatsOfOurs)); };
  const auto timeTheirs = [&] { secondsOfTheirs.push_back(SecondsOfPiece(theirs, repeatsOfTheirs)); };
  for (int round = 0; round < rounds; ++round) {
    if (round % 2 == 0) {
      timeOurs();
      timeTheirs();
    } else {
      timeTheirs();
      timeOurs();
    }
    ratios.push_back(secondsOfOurs.back() / ours.units / (secondsOfTheirs.back() / theirs.units));
  }
  return {Quantile(secondsOfOurs, 0.5), Quantile(secondsOfTheirs, 0.5), Quantile(ratios, 0.5),
          Quantile(ratios, 0.25), Quantile(ratios, 0.75)};
}

double Best(const Candidate& candidate, int rounds) {
  const int repeats = Repeats(candidate);
  double best = SecondsOfPiece(candidate, repeats);
  for (int round = 1; round < rounds; ++round) best = std::min(best, SecondsOfPiece(candidate, repeats));
  return best;
}

}  // namespace bench
