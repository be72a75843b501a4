#ifndef HOST_DERIVE_DEFINITE_H
#define HOST_DERIVE_DEFINITE_H

#include <cstddef>
#include <optional>

#include "derive/matrix.h"

namespace derive {

/// What shows that a matrix is not positive semidefinite.
struct Indefinite {
  double smallestEigenvalue;
  std::size_t variables;  ///< of so many variables, whose cells with each other are all defined
};

/// Nothing for a correlation matrix that is positive semidefinite, up to the rounding of its cells: correlations over
/// the same rows are, those that are each over other rows need not be.
///
/// With undefined cells it is about some of the variables, taken in their order: what holds for them holds whatever the
/// undefined cells would be. O(variables³) and as much memory again as the matrix takes.
std::optional<Indefinite> FindIndefinite(const Matrix& correlations);

}  // namespace derive

#endif
