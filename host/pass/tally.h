#ifndef HOST_PASS_TALLY_H
#define HOST_PASS_TALLY_H

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace pass {

/// What became of the rows. A row that is left out counts under the first reason that applies, in the order
/// of the members: read = used + the sum of the reasons.
struct Tally {
  std::uint64_t read = 0;
  std::uint64_t used = 0;
  std::uint64_t missingWeight = 0;  ///< of either kind
  std::uint64_t zeroWeight = 0;     ///< of either kind
  std::uint64_t missingGroup = 0;
  std::uint64_t otherGroup = 0;    ///< the group is none of the given levels
  std::uint64_t missingValue = 0;  ///< of a variable, with listwise handling
  /// Per variable, how many of the rows that are not left out for weight or group lack it.
  std::vector<std::uint64_t> lacking = {};
  /// Per level, how many rows are used; empty without groups.
  std::vector<std::uint64_t> groupRows = {};

  /// Adds the counts over other rows; members of another size must be empty.
  void Add(const Tally& other);
  bool operator==(const Tally&) const = default;
};

/// The smallest and the largest value of a variable in the rows used, as they stand in the input. Of two
/// zeros the negative one is smaller, so that the order of the rows does not matter.
struct Extremes {
  double min = std::numeric_limits<double>::infinity();  ///< above max while there is no value
  double max = -std::numeric_limits<double>::infinity();

  void Take(double value) {
    if (value < min || (value == min && std::signbit(value))) min = value;
    if (value > max || (value == max && !std::signbit(value))) max = value;
  }
  void Take(const Extremes& other);
};

/// What is counted beside an accumulator.
struct Counts {
  Tally tally;
  std::vector<Extremes> extremes;  ///< of each variable, with groups level by level; empty unless wanted

  void Add(const Counts& other);
};

}  // namespace pass

#endif
