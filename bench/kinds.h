#pragma once

#include <memory>

#include "batches.h"
#include "vexa/DiscriminantMatrix.h"
#include "vexa/DscIndividualMatrix.h"
#include "vexa/matrixlistwise.h"
#include "vexa/matrixpairwise.h"
#include "vexa/nsmatrixlistwise.h"
#include "vexa/nsmatrixpairwise.h"
#include "vexa/smatrixlistwise.h"
#include "vexa/smatrixpairwise.h"

namespace bench {

/// What a benchmark needs to know of an accumulator: its name, how an empty one is made for rows of a shape, the kind
/// of batch that it takes, and what a row costs: the cells that it goes to, and the multiplications and additions of
/// each, as many as the definition has.
template <class Accumulator>
struct Kind;

/// The columns of the shape fall into two runs where an accumulator wants two.
inline int Half(const Shape& shape) { return static_cast<int>(shape.columns / 2); }
inline int All(const Shape& shape) { return static_cast<int>(shape.columns); }
inline double Triangle(double columns) { return columns * (columns + 1) / 2; }
inline double Rectangle(const Shape& shape) {
  return static_cast<double>(Half(shape)) * (All(shape) - Half(shape));
}

struct ListwiseKind {
  using BatchType = Batch;
  static double Operations(const Shape& /*shape*/) { return 2.0; }
};

struct PairwiseKind {
  using BatchType = Batch;
  /// Of a pair of columns on a row that has both: the terms of two means, two sums of squares and the cross-product,
  /// two differences from the mean, and with weights the sums of these, case and combined. One row in ten lacks
  /// either column. Pairs that share their pattern need less, which depends on how many there are: no figure.
  static double Operations(const Shape& shape) {
    switch (shape.missing) {
      case Missing::kNone:
        return 2.0;
      case Missing::kScattered:
        return 0.9 * 0.9 * (shape.weighted ? 16.0 : 10.0);
      case Missing::kShared:
        return 0.0;
    }
    return 0.0;
  }
};

template <>
struct Kind<vexa::MatrixListwise> : ListwiseKind {
  static constexpr const char* kName = "MatrixListwise";
  static auto Make(const Shape& /*shape*/) { return std::make_unique<vexa::MatrixListwise>(); }
  static double Cells(const Shape& shape) { return Triangle(shape.columns); }
};

template <>
struct Kind<vexa::SMatrixListwise> : ListwiseKind {
  static constexpr const char* kName = "SMatrixListwise";
  static auto Make(const Shape& /*shape*/) { return std::make_unique<vexa::SMatrixListwise>(); }
  static double Cells(const Shape& shape) { return Triangle(shape.columns); }
};

template <>
struct Kind<vexa::NSMatrixListwise> : ListwiseKind {
  static constexpr const char* kName = "NSMatrixListwise";
  static auto Make(const Shape& shape) {
    return std::make_unique<vexa::NSMatrixListwise>(0, Half(shape), All(shape));
  }
  static double Cells(const Shape& shape) { return Rectangle(shape); }
};

template <>
struct Kind<vexa::MatrixPairwise> : PairwiseKind {
  static constexpr const char* kName = "MatrixPairwise";
  static auto Make(const Shape& /*shape*/) { return std::make_unique<vexa::MatrixPairwise>(kMissing); }
  static double Cells(const Shape& shape) { return Triangle(shape.columns - 1.0); }
};

template <>
struct Kind<vexa::SMatrixPairwise> : PairwiseKind {
  static constexpr const char* kName = "SMatrixPairwise";
  static auto Make(const Shape& shape) {
    return std::make_unique<vexa::SMatrixPairwise>(kMissing, 0, All(shape));
  }
  static double Cells(const Shape& shape) { return Triangle(shape.columns - 1.0); }
};

template <>
struct Kind<vexa::NSMatrixPairwise> : PairwiseKind {
  static constexpr const char* kName = "NSMatrixPairwise";
  static auto Make(const Shape& shape) {
    return std::make_unique<vexa::NSMatrixPairwise>(kMissing, 0, Half(shape), All(shape));
  }
  static double Cells(const Shape& shape) { return Rectangle(shape); }
};

template <>
struct Kind<vexa::DiscriminantMatrix> : ListwiseKind {
  static constexpr const char* kName = "DiscriminantMatrix";
  static auto Make(const Shape& shape) {
    return std::make_unique<vexa::DiscriminantMatrix>(static_cast<int>(shape.groups), All(shape));
  }
  static double Cells(const Shape& shape) { return Triangle(shape.columns - 1.0); }
};

template <>
struct Kind<vexa::DiscIndividualMatrix> : ListwiseKind {
  using BatchType = GroupedBatch;
  static constexpr const char* kName = "DiscIndividualMatrix";
  static auto Make(const Shape& shape) {
    return std::make_unique<vexa::DiscIndividualMatrix>(static_cast<int>(shape.groups), All(shape));
  }
  static double Cells(const Shape& shape) { return Triangle(shape.columns + 1.0); }
};

}  // namespace bench
