#pragma once

#include <algorithm>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "vexa/databatch.h"
#include "vexa/databatchbygroup.h"

/// Rows of a test, kept column by column apart from the library's batches.
struct Rows {
  std::vector<std::vector<double>> columns = {};
  std::vector<double> weights = {};     ///< empty: none
  std::vector<double> regWeights = {};  ///< empty: none
  std::vector<unsigned int> groups = {};
  bool hasWeights = false;
  bool hasRegWeights = false;
  std::size_t count = 0;

  Rows Slice(std::size_t first, std::size_t size) const;
};

/// A batch and the host variables that it reads, which must live as long as it is filled.
template <class Batch>
class HostedBatch {
 public:
  HostedBatch(const Rows& rows, unsigned int spare, auto... maxGroup)
      : _batch(std::make_unique<Batch>(static_cast<unsigned int>(rows.columns.size()),
                                       std::max(static_cast<unsigned int>(rows.count) + spare, 1U),
                                       rows.hasWeights ? &_weight : nullptr,
                                       rows.hasRegWeights ? &_regWeight : nullptr,
                                       rows.groups.empty() ? nullptr : &_group, maxGroup...)) {
    const std::vector<double> nothing(rows.columns.size(), std::numeric_limits<double>::quiet_NaN());
    if constexpr (requires { _batch->AddRows(nothing.data(), 0, 0); }) {
      // Not by way of its columns: a batch that has shown these takes its rows in another way.
      _batch->AddRows(nothing.data(), _batch->MaxRows(), 0);
      _batch->Clear();
    } else {
      for (unsigned int col = 0; col < _batch->NColumns(); ++col)
        std::fill_n(_batch->Column(col), _batch->MaxRows(), nothing.front());
    }
    Append(rows);
  }
  Batch& operator*() { return *_batch; }
  Batch* operator->() { return _batch.get(); }

  /// Appends rows of the same shape. A grouped batch is left sorted when the rows have groups.
  void Append(const Rows& rows) {
    constexpr bool kGrouped = requires { _batch->NextRow(); };
    std::vector<double> row(rows.columns.size());
    for (std::size_t i = 0; i < rows.count; ++i) {
      for (std::size_t col = 0; col < row.size(); ++col) row[col] = rows.columns[col][i];
      if (rows.hasWeights) _weight = rows.weights[i];
      if (rows.hasRegWeights) _regWeight = rows.regWeights[i];
      if (!rows.groups.empty()) _group = rows.groups[i];
      if constexpr (kGrouped) {
        std::copy(row.begin(), row.end(), _batch->NextRow());
        _batch->AddRow();
      } else {
        _batch->AddRow(row.data());
      }
    }
    if constexpr (kGrouped) {
      if (!rows.groups.empty()) _batch->SortByGroup();
    }
  }

 private:
  double _weight = 0.0;
  double _regWeight = 0.0;
  unsigned int _group = 0;
  std::unique_ptr<Batch> _batch;
};

/// `spare` rows of capacity stay unused, their cells NaN, so that a read past the last row poisons a sum.
struct FilledBatch : HostedBatch<vexa::DataBatch> {
  explicit FilledBatch(const Rows& rows, unsigned int spare = 0) : HostedBatch(rows, spare) {}
};
struct FilledGroupedBatch : HostedBatch<vexa::DataBatchByGroup> {
  FilledGroupedBatch(const Rows& rows, unsigned int maxGroup, unsigned int spare = 0)
      : HostedBatch(rows, spare, maxGroup) {}
};

/// What a batch holds now, column after column, then case weights, then regression weights.
template <class Batch>
std::vector<double> Contents(Batch& batch) {
  std::vector<double> contents;
  const auto append = [&](const double* x) {
    if (x) contents.insert(contents.end(), x, x + batch.NRows());
  };
  for (unsigned int col = 0; col < batch.NColumns(); ++col) append(batch.Column(col));
  append(batch.Weights());
  if constexpr (requires { batch.RegWeights(); }) append(batch.RegWeights());
  return contents;
}

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
