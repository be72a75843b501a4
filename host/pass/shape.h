#ifndef HOST_PASS_SHAPE_H
#define HOST_PASS_SHAPE_H

#include <cstdint>

namespace pass {

/// What an accumulator keeps, as far as its limits and its size go.
enum class Kind {
  kOther,  ///< no limits known
  kListwiseMatrix,
  kListwiseBlock,
  kListwiseRectangle,
  kPairwiseMatrix,
  kPairwiseBlock,
  kPairwiseRectangle,
  kDiscriminant,
  kPerGroup,
};

struct Shape {
  Kind kind;
  std::uint64_t columns;
  std::uint64_t leftColumns = 0;  ///< of a rectangle
  std::uint64_t groups = 0;       ///< 0: no groups
};

/// Throws InputError, in words for a person, when the library's accumulators or batches cannot hold the
/// shape: indexes are counted in 31 or 32 bits.
void CheckLimits(const Shape& shape);

/// The most rows that the accumulator can count.
std::uint64_t MostRows(Kind kind);

/// The accumulator's size in bytes, about; with groups, that of a pairwise block for each.
std::uint64_t StateBytes(const Shape& shape);

/// The rows of one chunk, for so many columns and groups (0: none): from these two alone, as the last bits of every
/// result depend on it. Enough of them that clearing and merging an accumulator does not dominate: at least about
/// 1,000, unless these take more than 64 MiB, and 32 per group.
unsigned int ChunkRows(std::uint64_t columns, std::uint64_t groups);

/// The rows of a chunk that are reduced at a time, likewise: few, as a sum of n terms loses up to log10(n) of its
/// digits, and enough for the merge of each batch to stay cheap.
unsigned int BatchRows(std::uint64_t variables, std::uint64_t groups);

}  // namespace pass

#endif
