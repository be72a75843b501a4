#ifndef HOST_PASS_LEVELSEARCH_H
#define HOST_PASS_LEVELSEARCH_H

#include "pass/files.h"
#include "pass/levels.h"
#include "pass/options.h"
#include "table/table.h"

namespace pass {

struct LevelSearch {
  Levels levels;
  bool complete;  ///< false: stopped before the end, there may be more
};

/// Reads the files once, in parallel, for the levels of `columns.group`, which must be set. Rows count whatever
/// their weight and their other columns. With Options.levelOrigins each level has an origin, by the first rows of
/// it that are used (see LevelSample).
///
/// Throws InputError for more than `mostLevels` levels, without holding many more than that at a time, and
/// for the first fault of the input in file order, be it in another of the chosen columns.
LevelSearch FindLevels(const Files& files, const table::Format& format, const Columns& columns,
                       const Options& options, unsigned int mostLevels);

/// Gives levels that are known the origins that FindLevels gives those it finds, and reads no more for that than it must.
/// False if it was stopped. Faults are left to those who read all of the input; the levels then have no origins.
bool FindOrigins(const Files& files, const table::Format& format, const Columns& columns,
                 const Options& options, Levels& levels);

}  // namespace pass

#endif
