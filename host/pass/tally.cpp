#include "pass/tally.h"

#include <cassert>
#include <cstddef>

namespace pass {
namespace {

void AddEach(std::vector<std::uint64_t>& counts, const std::vector<std::uint64_t>& others) {
  if (others.empty()) return;
  if (counts.empty()) counts.resize(others.size());
  assert(counts.size() == others.size());
  for (std::size_t at = 0; at < counts.size(); ++at) counts[at] += others[at];
}

}  // namespace

void Tally::Add(const Tally& other) {
  read += other.read;
  used += other.used;
  missingWeight += other.missingWeight;
  zeroWeight += other.zeroWeight;
  missingGroup += other.missingGroup;
  otherGroup += other.otherGroup;
  missingValue += other.missingValue;
  AddEach(lacking, other.lacking);
  AddEach(groupRows, other.groupRows);
}

void Extremes::Take(const Extremes& other) {
  if (other.min > other.max) return;
  Take(other.min);
  Take(other.max);
}

void Spread::Take(const Spread& later) {
  if (std::isnan(later.first)) return;
  Take(later.first);
  most = std::max(most, later.most);
}

void Counts::Add(const Counts& other) {
  tally.Add(other.tally);
  assert(spreads.size() == other.spreads.size());
  for (std::size_t at = 0; at < spreads.size(); ++at) spreads[at].Take(other.spreads[at]);
  assert(extremes.size() == other.extremes.size());
  for (std::size_t at = 0; at < extremes.size(); ++at) extremes[at].Take(other.extremes[at]);
}

}  // namespace pass
