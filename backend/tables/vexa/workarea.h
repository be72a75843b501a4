#pragma once

#include <vector>

namespace vexa {

/// Scratch room that a pairwise accumulator keeps from batch to batch, and the code of its missing values.
///
/// Every record that is computed overwrites the vectors and keeps their storage, so that nothing is allocated
/// once they have grown to the largest batch. One thread at a time.
struct WorkArea {
  std::vector<double> _x0;  ///< present values of the first column, afterwards centred
  std::vector<double> _x1;  ///< the same of the second column; untouched by a single variable
  std::vector<double> _w;   ///< case weights of the rows, afterwards the combined ones
  std::vector<double> _rw;  ///< regression weights of the rows
  double _missing = 0.0;
};

}  // namespace vexa
