#ifndef HOST_RENDER_TABLES_H
#define HOST_RENDER_TABLES_H

#include <string>
#include <vector>

#include "derive/matrix.h"
#include "derive/sums.h"
#include "render/page.h"

/// Results of derive/ as tables. A table refers to what it was made of, which must outlive it.
namespace render {

/// A matrix with a name for each row and column.
Table MatrixTable(const std::string& name, const derive::Matrix& matrix, const std::vector<std::string>& rows,
                  const std::vector<std::string>& cols);

/// The sums themselves: one row per pair of variables for programs; where every pair is over the same rows, a
/// table of the variables and a matrix of the cross-products for people.
std::vector<Table> SumsTables(const derive::Sums& sums, const std::vector<std::string>& rows,
                              const std::vector<std::string>& cols);

}  // namespace render

#endif
