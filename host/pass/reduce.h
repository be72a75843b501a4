#ifndef HOST_PASS_REDUCE_H
#define HOST_PASS_REDUCE_H

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "pass/cases.h"
#include "pass/files.h"
#include "pass/levels.h"
#include "pass/levelsearch.h"
#include "pass/mergetree.h"
#include "pass/options.h"
#include "pass/perlevel.h"
#include "pass/run.h"
#include "pass/setup.h"
#include "pass/shape.h"
#include "pass/tally.h"
#include "table/table.h"
#include "vexa/databatch.h"
#include "vexa/databatchbygroup.h"

namespace vexa {
class MatrixListwise;
class SMatrixListwise;
class NSMatrixListwise;
class MatrixPairwise;
class SMatrixPairwise;
class NSMatrixPairwise;
class DiscriminantMatrix;
class DiscIndividualMatrix;
}  // namespace vexa

namespace pass {

/// Which limits hold for an accumulator.
template <class Accumulator>
inline constexpr Kind kKindOf = Kind::kOther;
template <>
inline constexpr Kind kKindOf<vexa::MatrixListwise> = Kind::kListwiseMatrix;
template <>
inline constexpr Kind kKindOf<vexa::SMatrixListwise> = Kind::kListwiseBlock;
template <>
inline constexpr Kind kKindOf<vexa::NSMatrixListwise> = Kind::kListwiseRectangle;
template <>
inline constexpr Kind kKindOf<vexa::MatrixPairwise> = Kind::kPairwiseMatrix;
template <>
inline constexpr Kind kKindOf<vexa::SMatrixPairwise> = Kind::kPairwiseBlock;
template <>
inline constexpr Kind kKindOf<vexa::NSMatrixPairwise> = Kind::kPairwiseRectangle;
template <>
inline constexpr Kind kKindOf<vexa::DiscriminantMatrix> = Kind::kDiscriminant;
template <>
inline constexpr Kind kKindOf<vexa::DiscIndividualMatrix> = Kind::kPerGroup;
template <class Accumulator>
inline constexpr Kind kKindOf<PerLevel<Accumulator>> = kKindOf<Accumulator>;

/// What a pass found.
template <class Accumulator>
struct Reduction {
  /// Over values less their origin; never null, empty when no row is used.
  std::unique_ptr<Accumulator> sums = {};
  /// Of each variable, to be added to its mean; with sums for each level, level by level.
  std::vector<double> origin = {};
  Tally tally = {};
  /// Of each variable, with groups level by level, in the input's own values: a distance between two of them, 0 if all
  /// are the same. Only below Spread::kEnough it is about the largest.
  std::vector<double> spreads = {};
  /// Likewise; empty unless wanted.
  std::vector<Extremes> extremes = {};
  bool complete = true;  ///< false: stopped, so these are the first `tally.read` rows
};

/// Reduces the rows of an input to an accumulator, on many threads through the library's driver.
///
/// The same input gives the same bits for any number of threads: a chunk is a fixed number of input rows, each is
/// reduced by itself into a fresh accumulator, and these meet in a fixed binary tree over the chunks' numbers.
///
/// Row policy: a row with a missing or zero weight of either kind, with a missing group or with one that is no level
/// is left out; so is, with listwise handling, a row that lacks a variable. With pairwise handling table::kMissing
/// stands for the missing value in the batch, and the accumulator must have that code. A negative weight is an error.
///
/// @param fresh   makes an empty accumulator; called by all threads at once. It needs `+= Batch&` and, for one over
///                later rows, `+= Accumulator&`.
/// @param levels  with `columns.group`: the codes of the groups; must be null without
/// @throws table::InputError for the first fault in file order, and when the shape is beyond the library's limits
template <class Accumulator, class Batch = vexa::DataBatch>
Reduction<Accumulator> Reduce(table::Input& input, const Columns& columns, const Options& options,
                              const std::function<std::unique_ptr<Accumulator>()>& fresh,
                              const Levels* levels = nullptr);

/// How a batch takes cases.
template <class Batch>
struct BatchUse;

template <>
struct BatchUse<vexa::DataBatch> {
  static constexpr bool kSorts = false;
  static std::unique_ptr<vexa::DataBatch> Make(const Setup& setup, const Cases& cases) {
    return std::make_unique<vexa::DataBatch>(setup.variables, setup.batchRows, cases.Weight(),
                                             cases.RegWeight(), cases.Group());
  }
  static void Add(vexa::DataBatch& batch, const double* values) { batch.AddRow(values); }
  static void Complete(vexa::DataBatch&) {}
};

template <>
struct BatchUse<vexa::DataBatchByGroup> {
  static constexpr bool kSorts = true;
  static std::unique_ptr<vexa::DataBatchByGroup> Make(const Setup& setup, const Cases& cases) {
    return std::make_unique<vexa::DataBatchByGroup>(setup.variables, setup.batchRows, cases.Weight(),
                                                    cases.RegWeight(), cases.Group(), setup.groups);
  }
  static void Add(vexa::DataBatchByGroup& batch, const double* values) {
    std::copy_n(values, batch.NColumns(), batch.NextRow());
    batch.AddRow();
  }
  static void Complete(vexa::DataBatchByGroup& batch) { batch.SortByGroup(); }
};

template <class Accumulator>
class PartialSums : public PartialCounts {
 public:
  PartialSums(std::unique_ptr<Accumulator> accumulator, Counts theCounts)
      : PartialCounts(kKindOf<Accumulator>, std::move(theCounts)), sums(std::move(accumulator)) {}

  void Append(Partial& next) override {
    auto& later = static_cast<PartialSums&>(next);
    // Counts that are too many are not for the accumulator, which would let them wrap.
    if (AppendCounts(later)) *sums += *later.sums;
  }

  std::unique_ptr<Accumulator> sums;
};

template <class Accumulator, class Batch>
class SumsReducer : public ChunkReducer {
 public:
  SumsReducer(const Setup& setup, const std::function<std::unique_ptr<Accumulator>()>& fresh)
      : _setup(setup), _fresh(fresh), _cases(setup.MakeCases()) {}

  std::unique_ptr<Partial> Reduce(const table::Chunk& chunk) override {
    if (_batch == nullptr) _batch = BatchUse<Batch>::Make(_setup, _cases);
    std::unique_ptr<Accumulator> sums = _fresh();
    const auto takeBatch = [&] {
      BatchUse<Batch>::Complete(*_batch);
      *sums += *_batch;
      _batch->Clear();
    };
    _batch->Clear();
    _cases.ForEach(chunk, [&](const double* values) {
      if (_batch->NRows() == _batch->MaxRows()) takeBatch();
      BatchUse<Batch>::Add(*_batch, values);
    });
    takeBatch();
    return std::make_unique<PartialSums<Accumulator>>(std::move(sums), _cases.TakeCounts());
  }

 private:
  const Setup& _setup;
  const std::function<std::unique_ptr<Accumulator>()>& _fresh;
  Cases _cases;
  std::unique_ptr<Batch> _batch;
};

template <class Accumulator, class Batch>
Reduction<Accumulator> Reduce(table::Input& input, const Columns& columns, const Options& options,
                              const std::function<std::unique_ptr<Accumulator>()>& fresh,
                              const Levels* levels) {
  const Setup setup(input, columns, options, levels, kKindOf<Accumulator>, BatchUse<Batch>::kSorts);
  const Outcome outcome =
      Run(input, options, {setup.chunkRows, setup.workers, [&] {
                             return std::make_unique<SumsReducer<Accumulator, Batch>>(setup, fresh);
                           }});
  Reduction<Accumulator> result{.origin = setup.origin, .complete = outcome.complete};
  Counts counts;
  if (outcome.partial != nullptr) {
    auto& whole = static_cast<PartialSums<Accumulator>&>(*outcome.partial);
    result.sums = std::move(whole.sums);
    counts = std::move(whole.counts);
  } else {
    result.sums = fresh();
    counts = setup.MakeCases().TakeCounts();
  }
  result.tally = std::move(counts.tally);
  result.extremes = std::move(counts.extremes);
  for (const Spread& spread : counts.spreads) result.spreads.push_back(spread.most);
  return result;
}

}  // namespace pass

#endif
