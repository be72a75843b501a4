#ifndef HOST_PASS_LEVELSAMPLES_H
#define HOST_PASS_LEVELSAMPLES_H

#include <map>
#include <vector>

#include "pass/cases.h"
#include "pass/levels.h"
#include "pass/options.h"
#include "table/table.h"

namespace pass {

/// Values of each level's first 1,000 rows among some, for an origin of its own.
class LevelSamples {
 public:
  /// `input` and `levels` must outlive this object.
  LevelSamples(const table::Input& input, const Columns& columns, const Options& options,
               const Levels& levels);
  LevelSamples(const LevelSamples&) = delete;
  LevelSamples& operator=(const LevelSamples&) = delete;

  /// Throws InputError for the first fault, with the rows before it taken.
  void Take(const table::Chunk& chunk);
  /// The origin of each variable by the level's rows, which are forgotten; nothing if none of them is used.
  std::vector<double> TakeOrigins(unsigned int level);

 private:
  std::vector<double> _unmoved;
  Cases _cases;
  std::map<unsigned int, std::vector<std::vector<double>>> _samples;
};

}  // namespace pass

#endif
