#ifndef HOST_PASS_LEVELSAMPLES_H
#define HOST_PASS_LEVELSAMPLES_H

#include <cstddef>
#include <map>
#include <vector>

#include "pass/cases.h"
#include "pass/levels.h"
#include "pass/options.h"
#include "table/table.h"

namespace pass {

/// The first rows of a level, for an origin of its own: of those that two parts of the input have, one behind the other,
/// the first ones, however the input is cut.
class LevelSample {
 public:
  /// Enough for a median that lies near the middle, and few enough for thousands of levels.
  static constexpr std::size_t kMostRows = 31;

  std::size_t Rows() const { return _weights.size(); }
  /// Nothing once there are enough.
  void Take(const double* values, std::size_t variables, double weight);
  void Append(const LevelSample& later);
  /// Of each variable; nothing without rows.
  std::vector<double> Origins() const;

 private:
  std::vector<double> _weights;
  std::vector<double> _values;  // row by row
};

/// The samples of all levels among some rows.
class LevelSamples {
 public:
  /// `input` and `levels` must outlive this object.
  LevelSamples(const table::Input& input, const Columns& columns, const Options& options,
               const Levels& levels);
  LevelSamples(const LevelSamples&) = delete;
  LevelSamples& operator=(const LevelSamples&) = delete;

  /// Throws InputError for the first fault, with the rows before it taken.
  void Take(const table::Chunk& chunk);
  /// Empty if none of the level's rows is used.
  const LevelSample& Of(unsigned int level) const;

 private:
  std::vector<double> _unmoved;
  Cases _cases;
  std::map<unsigned int, LevelSample> _samples;
};

}  // namespace pass

#endif
