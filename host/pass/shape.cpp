#include "pass/shape.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <string>

#include "table/inputerror.h"
#include "vexa/databatch.h"

namespace pass {
namespace {

constexpr std::uint64_t kMostInt = std::numeric_limits<std::int32_t>::max();
constexpr std::uint64_t kMostUnsigned = std::numeric_limits<std::uint32_t>::max();

// The record of a pair of variables, also with its pointer and the allocator's share where each is one of its own, and
// the record of a variable.
constexpr std::uint64_t kPairBytes = 64;
constexpr std::uint64_t kOwnPairBytes = 88;
constexpr std::uint64_t kVariableBytes = 80;

// So many on average, or the sums of the groups cost more than the rows.
constexpr std::uint64_t kRowsPerGroup = 32;

std::uint64_t Triangle(std::uint64_t columns) { return columns * (columns + 1) / 2; }

/// Cells of the matrix proper.
std::uint64_t Cells(const Shape& shape) {
  switch (shape.kind) {
    case Kind::kListwiseRectangle:
    case Kind::kPairwiseRectangle:
      return shape.leftColumns * (shape.columns - shape.leftColumns);
    case Kind::kPerGroup:
      return Triangle(shape.columns + 1) * shape.groups;
    default:
      return Triangle(shape.columns);
  }
}

/// The most variables, all else equal, where that is what limits the shape.
std::uint64_t MostColumns(Kind kind) {
  switch (kind) {
    case Kind::kListwiseMatrix:
      return 65'535;
    case Kind::kPairwiseMatrix:
      return 65'536;
    case Kind::kListwiseBlock:
    case Kind::kPairwiseBlock:
    case Kind::kDiscriminant:
      return 46'340;  // (n + 1)·n is an int
    case Kind::kListwiseRectangle:
    case Kind::kPairwiseRectangle:
    case Kind::kPerGroup:
    case Kind::kOther:
      return kMostInt;
  }
  return kMostInt;
}

}  // namespace

void CheckLimits(const Shape& shape) {
  if (shape.columns == 0) throw table::InputError("there is no variable to work on");
  const std::uint64_t most = MostColumns(shape.kind);
  if (shape.columns > most) {
    throw table::InputError(
        fmt::format("{} variables are too many: at most {} can be taken together", shape.columns, most));
  }
  const bool rectangle = shape.kind == Kind::kListwiseRectangle || shape.kind == Kind::kPairwiseRectangle;
  if (rectangle && Cells(shape) > kMostInt) {
    throw table::InputError(fmt::format("{} by {} variables are too many: their product must be below 2^31",
                                        shape.leftColumns, shape.columns - shape.leftColumns));
  }
  // Below 2^31 variables none of these products wraps before the next test has seen it.
  const bool grouped = shape.kind == Kind::kDiscriminant || shape.kind == Kind::kPerGroup;
  if (grouped &&
      (shape.groups > kMostInt || shape.columns > kMostInt / std::max<std::uint64_t>(shape.groups, 1) ||
       (shape.kind == Kind::kPerGroup &&
        Triangle(shape.columns + 1) > kMostInt / std::max<std::uint64_t>(shape.groups, 1)))) {
    throw table::InputError(
        fmt::format("{} variables in {} groups are too many: the sums of all groups must number "
                    "less than 2^31",
                    shape.columns, shape.groups));
  }
}

std::uint64_t MostRows(Kind kind) {
  switch (kind) {
    case Kind::kOther:
    case Kind::kListwiseMatrix:
    case Kind::kPairwiseMatrix:
      return std::numeric_limits<std::uint64_t>::max();
    case Kind::kPairwiseBlock:
    case Kind::kPairwiseRectangle:
      return kMostInt;
    default:
      return kMostUnsigned;
  }
}

std::uint64_t StateBytes(const Shape& shape) {
  constexpr std::uint64_t kDouble = sizeof(double);
  switch (shape.kind) {
    case Kind::kPairwiseMatrix:
      return Cells(shape) * kPairBytes + shape.columns * kVariableBytes;
    case Kind::kPairwiseBlock:
    case Kind::kPairwiseRectangle:
      return (Cells(shape) * kOwnPairBytes + shape.columns * kVariableBytes) *
             std::max<std::uint64_t>(shape.groups, 1);
    case Kind::kDiscriminant:
      return (Cells(shape) + 2 * shape.columns * shape.groups) * kDouble;
    default:
      return (Cells(shape) + 4 * shape.columns) * kDouble;
  }
}

unsigned int ChunkRows(std::uint64_t columns, std::uint64_t groups) {
  constexpr std::uint64_t kUsualBytes = std::uint64_t{1} << 19;
  constexpr std::uint64_t kMostBytes = std::uint64_t{1} << 26;
  constexpr std::uint64_t kFewestRows = 1'024;
  constexpr std::uint64_t kMostRows = 8'192;
  const std::uint64_t rowBytes = std::max<std::uint64_t>(columns, 1) * sizeof(double);
  std::uint64_t rows = std::clamp(kUsualBytes / rowBytes, kFewestRows, kMostRows);
  rows = std::max(std::min(rows, kMostBytes / rowBytes), kRowsPerGroup * groups);
  return vexa::RecommendedRows(2 * rows * rowBytes, rowBytes);
}

unsigned int BatchRows(std::uint64_t variables, std::uint64_t groups) {
  constexpr std::uint64_t kUsualRows = 256;
  const std::uint64_t rowBytes = std::max<std::uint64_t>(variables, 1) * sizeof(double);
  return vexa::RecommendedRows(2 * std::max(kUsualRows, kRowsPerGroup * groups) * rowBytes, rowBytes);
}

}  // namespace pass
