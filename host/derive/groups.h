#ifndef HOST_DERIVE_GROUPS_H
#define HOST_DERIVE_GROUPS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "derive/distributions.h"
#include "derive/inrange.h"
#include "derive/matrix.h"
#include "vexa/DscIndividualMatrix.h"

namespace derive {

/// A group with weight. A deviation is undefined (NaN) for a group that weighs no more than 1.
struct Group {
  std::size_t level;  ///< its code among all levels
  std::uint64_t n;    ///< rows
  double weight;
  std::vector<double> means = {};       ///< of each variable, in the input's own origin
  std::vector<double> deviations = {};  ///< √(css ÷ (weight − 1))
};

/// Why what needs the inverse of the pooled covariance matrix is undefined.
struct Singularity {
  bool isTooLight = false;  ///< the groups together weigh no more than their number
  bool isTooHeavy = false;  ///< a sum of weights is beyond a double
  /// Variables whose sum of squares, or variance, is beyond a double.
  std::vector<std::size_t> overflown = {};
  /// That vary by less than a double holds the squares of, or the variance: see InRange, HeldCovariance.
  std::vector<std::size_t> below = {};
  std::vector<std::size_t> lost = {};      ///< that vary in a group by less than the rounding of its raw sums
  std::vector<std::size_t> constant = {};  ///< variables without spread in any group
  std::vector<std::size_t> dependent = {};  ///< variables that those before them determine

  bool IsThere() const {
    return isTooLight || isTooHeavy || !overflown.empty() || !below.empty() || !lost.empty() ||
           !constant.empty() || !dependent.empty();
  }
};

/// Wilks' Λ = |within| ÷ |total| with Rao's (1951) F.
struct WilksTest {
  double lambda;
  FTest test;
};

/// A group that takes no part in Box's test.
struct WithoutBox {
  std::size_t group;  ///< among GroupAnalysis::groups
  /// The first variable that is constant in the group or determined by those before it; nothing if the group
  /// weighs no more than 1.
  std::optional<std::size_t> variable;
};

/// Box's (1949) test that the groups have the same covariance matrix.
struct BoxTest {
  double m;
  FTest test;
  std::vector<WithoutBox> leftOut = {};
};

/// Fisher's (1936) canonical discriminant functions, the most separating first: as many as the smaller of the
/// number of variables and the number of groups less 1. In a matrix a function is a column.
struct CanonicalFunctions {
  std::vector<double> eigenvalues;   ///< between ÷ within sum of squares of the function
  std::vector<double> proportions;   ///< of the sum of the eigenvalues
  std::vector<double> correlations;  ///< with the groups: √(λ ÷ (1 + λ))
  /// For functions with pooled variance 1 and variables divided by their pooled deviation. The largest in size is
  /// positive.
  Matrix standardised;
  /// The groups' means of the functions, about the grand mean: a group is a row.
  Matrix centroids;
  Matrix structure;  ///< pooled within-group correlations of variables and functions
};

/// A case belongs to the group whose constant + Σ coefficient × value is largest. Values in the input's own
/// origin.
struct ClassificationFunctions {
  std::vector<double> priors;
  std::vector<double> constants;
  Matrix coefficients;  ///< variables × groups
};

enum class Priors { kEqual, kSize };

struct GroupAnalysis {
  std::vector<Group> groups = {};
  std::vector<std::size_t> emptyLevels = {};
  double weight = 0.0;
  Matrix within = {};      ///< sums of squares and products about the groups' means
  Matrix between = {};     ///< of the groups' means about the grand mean
  Matrix total = {};       ///< about the grand mean
  Matrix covariance = {};  ///< pooled: within ÷ (weight − groups)
  /// One-way analysis of variance of each variable; undefined for one that is constant in all groups.
  std::vector<FTest> univariate = {};
  /// Of each variable, how many of the digits of a double are lost of its variance in that group where it is most, for
  /// the distance of the group from its origin. 0 of what is undefined.
  std::vector<double> lostDigits = {};

  Singularity singularity = {};
  /// Nothing when the pooled covariance matrix is singular; the first two neither when there is one group only.
  std::optional<WilksTest> wilks = {};
  std::optional<CanonicalFunctions> canonical = {};
  std::optional<ClassificationFunctions> classification = {};
  /// Over the groups that have a regular covariance matrix of their own; m and the test are undefined when these are
  /// fewer than two.
  BoxTest box;
};

/// The analysis of the groups' sums. `origin` is what was subtracted from the values, level by level that of each
/// variable; `rows[level]` counts the rows of a level. A level without weight is no group. The matrix must hold data.
/// `spreads` are those of the variables in each level, level by level; without any, no spread is taken to be below the
/// range of a double.
/// O(groups × variables³).
GroupAnalysis AnalyseGroups(const vexa::DiscIndividualMatrix& sums, const std::vector<double>& origin,
                            const std::vector<std::uint64_t>& rows, Priors priors,
                            std::vector<Spread> spreads = {});

}  // namespace derive

#endif
