#ifndef HOST_PASS_TALLY_H
#define HOST_PASS_TALLY_H

#include <algorithm>
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

/// How far a variable's values in the rows used are from the first of them. Its sums need not tell that they differ at
/// all: squares leave the range of a double long before their roots.
struct Spread {
  /// Of a distance from which on it does not matter by how much it is too small.
  static constexpr double kEnough = 1e-100;

  double first = std::numeric_limits<double>::quiet_NaN();  ///< NaN while there is no value
  double most = 0.0;                                        ///< the largest distance, or some that is enough

  /// Whether there is any need for further values.
  bool IsOpen() const { return most < kEnough; }
  void Take(double value) {
    if (std::isnan(first)) first = value;
    most = std::max(most, std::abs(value - first));
  }
  void Take(const Spread& later);
};

/// What is counted beside an accumulator.
struct Counts {
  Tally tally;
  std::vector<Extremes> extremes;    ///< of each variable, with groups level by level; empty unless wanted
  std::vector<Spread> spreads = {};  ///< likewise, but never empty

  void Add(const Counts& other);
};

}  // namespace pass

#endif
