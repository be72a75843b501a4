#ifndef HOST_PASS_SETUP_H
#define HOST_PASS_SETUP_H

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "pass/cases.h"
#include "pass/levels.h"
#include "pass/mergetree.h"
#include "pass/options.h"
#include "pass/shape.h"
#include "pass/tally.h"
#include "table/table.h"

namespace pass {

/// What the workers of a reduction share, all of it constant.
struct Setup {
  /// Throws InputError for a shape beyond the library's limits.
  Setup(table::Input& input, const Columns& columns, const Options& options, const Levels* levels, Kind kind,
        bool sortsByGroup);

  Cases MakeCases() const { return {input, columns, options, origin, levels}; }

  const table::Input& input;
  const Columns& columns;
  const Options& options;
  const Levels* levels;
  Shape shape;
  unsigned int variables;
  unsigned int groups;
  std::vector<double> origin;  ///< of each variable, or level by level: see Cases
  unsigned int chunkRows;
  unsigned int batchRows;
  unsigned int workers;
};

/// The part of a partial result that does not depend on the accumulator.
class PartialCounts : public Partial {
 public:
  PartialCounts(Kind kind, Counts theCounts) : counts(std::move(theCounts)), _mostRows(MostRows(kind)) {}

  std::optional<table::InputError> Fault() const override;

  Counts counts;

 protected:
  /// False when the rows have become more than the accumulator can count.
  bool AppendCounts(const PartialCounts& next);

 private:
  std::uint64_t _mostRows;
};

}  // namespace pass

#endif
