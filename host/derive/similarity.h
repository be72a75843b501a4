#ifndef HOST_DERIVE_SIMILARITY_H
#define HOST_DERIVE_SIMILARITY_H

#include <cstddef>
#include <vector>

#include "derive/matrix.h"

namespace derive {

/// Items in an order in which similar ones stand together: the leaves of average linkage clustering (Sokal and Michener
/// 1958). Where two clusters meet, each is turned so that the two neighbours are as close as they can be (Gruvaeus and
/// Wainer 1972).
///
/// `distances` is symmetric; an undefined one is `unknown`. Of clusters equally far apart those with the earlier items
/// join. O(items²), by chains of nearest neighbours (Murtagh 1983), and as much memory again as the matrix takes.
std::vector<std::size_t> OrderBySimilarity(const Matrix& distances, double unknown);

/// Variables by their correlations, at distances 1 − r: those that rise together are near, and those of which one falls
/// when the other rises are as far apart as can be. An undefined correlation counts as none.
std::vector<std::size_t> OrderVariables(const Matrix& correlations);

/// The rows of a rectangle of correlations by Euclid's distance between what they have with the columns; undefined ones
/// count as none.
std::vector<std::size_t> OrderRows(const Matrix& correlations);
/// Likewise its columns.
std::vector<std::size_t> OrderCols(const Matrix& correlations);

}  // namespace derive

#endif
