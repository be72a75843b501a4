#ifndef HOST_COMMAND_RANGES_H
#define HOST_COMMAND_RANGES_H

#include <cstddef>
#include <vector>

#include "derive/sums.h"
#include "pass/tally.h"

namespace command {

/// The extremes that a pass found, for the statistics.
inline std::vector<derive::Range> RangesOf(const std::vector<pass::Extremes>& extremes) {
  std::vector<derive::Range> ranges(extremes.size());
  for (std::size_t at = 0; at < extremes.size(); ++at)
    if (extremes[at].min <= extremes[at].max) ranges[at] = {extremes[at].min, extremes[at].max};
  return ranges;
}

}  // namespace command

#endif
