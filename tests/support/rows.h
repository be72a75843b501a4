#pragma once

#include <memory>
#include <random>
#include <vector>

#include "vexa/databatch.h"
#include "vexa/databatchbygroup.h"

/// Rows of a test, kept column by column apart from the library's batches.
struct Rows {
  std::vector<std::vector<double>> columns;
  std::vector<double> weights;     ///< empty: none
  std::vector<double> regWeights;  ///< empty: none
  std::vector<unsigned int> groups;
  bool hasWeights = false;
  bool hasRegWeights = false;
  std::size_t count = 0;

  Rows Slice(std::size_t first, std::size_t size) const;
};

/// A batch and the host variables that it reads, which must live as long as it is filled.
class FilledBatch {
 public:
  /// `spare` rows of capacity stay unused, their cells NaN, so that a read past the last row poisons a sum.
  explicit FilledBatch(const Rows& rows, unsigned int spare = 0);
  vexa::DataBatch& operator*() { return *_batch; }
  vexa::DataBatch* operator->() { return _batch.get(); }

 private:
  double _weight = 0.0;
  double _regWeight = 0.0;
  unsigned int _group = 0;
  std::unique_ptr<vexa::DataBatch> _batch;
};

/// The same for a grouped batch, which is left sorted when the rows have groups.
class FilledGroupedBatch {
 public:
  FilledGroupedBatch(const Rows& rows, unsigned int maxGroup, unsigned int spare = 0);
  vexa::DataBatchByGroup& operator*() { return *_batch; }
  vexa::DataBatchByGroup* operator->() { return _batch.get(); }

  /// Appends rows of the same shape and sorts again.
  void Append(const Rows& rows);

 private:
  double _weight = 0.0;
  double _regWeight = 0.0;
  unsigned int _group = 0;
  std::unique_ptr<vexa::DataBatchByGroup> _batch;
};

/// What a batch holds now, column after column, then case weights, then regression weights.
std::vector<double> Contents(vexa::DataBatch& batch);

/// What the values of a generated column look like.
enum class Family {
  kUniform,     ///< spread 1 about 0
  kOffset,      ///< spread 1 about 1e9
  kConstant,    ///< one value
  kLeadingRun,  ///< a long run of one value, then others
  kFewValues,   ///< small integers of one sign, zeros of both: ties
  kWild,        ///< NaN, infinities, subnormals, signed zeros among ordinary values
};

/// Where the missing values of generated rows lie.
enum class Missing {
  kScattered,     ///< every cell by itself
  kWholeColumns,  ///< a column is missing on every row or on none
  kDisjoint,      ///< no row holds two columns, and some hold none
  kShared,        ///< a column has one of two patterns, or is complete
};

struct RowsSpec {
  std::size_t rows = 0;
  std::size_t columns = 1;
  bool weights = false;
  bool regWeights = false;
  unsigned int groups = 0;   ///< number of codes, some of which may stay empty; 0: none
  bool oddWeights = false;   ///< zero and negative weights among the positive ones
  bool wild = false;         ///< columns of Family::kWild may occur
  double missingRate = 0.0;  ///< about the share of cells that are missing, where the pattern leaves a choice
  double missingCode = 0.0;  ///< what they hold; for 0.0 some hold −0.0
  Missing missing = Missing::kScattered;
};

using Random = std::mt19937_64;

Rows MakeRows(Random& random, const RowsSpec& spec);

/// A random specification of up to maxRows × maxColumns, with every combination of weights.
RowsSpec RandomSpec(Random& random, std::size_t maxRows, std::size_t maxColumns);

/// Gives a specification a missing code (0.0, NaN, a common value, far outside), a rate from 0 to 1 and a pattern.
void AddMissing(Random& random, RowsSpec& spec);

/// Sizes of consecutive parts, some of them empty, that add up to `rows`.
std::vector<std::size_t> RandomSplit(Random& random, std::size_t rows);
