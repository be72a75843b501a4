#ifndef HOST_TABLE_HEADER_H
#define HOST_TABLE_HEADER_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "table/chunk.h"
#include "table/format.h"

namespace table {

/// The delimiters that detection looks for, in its order of preference.
std::string DelimiterCandidates(const Format& format);

/// The first of `candidates` that stands in `row` outside quotes; 0 if none does.
char DetectDelimiter(std::string_view row, const std::string& candidates);

/// What a column without a name is called, for its number from 1.
std::string StandInName(std::size_t number);

/// The cells of a header, in a chunk that is this one row; a name that is missing is empty. Throws InputError for
/// a name that comes twice and for bytes that no header has (NUL, a carriage return alone), which tell that the
/// file is of another kind.
std::vector<std::string> ReadHeader(const Chunk& header, const std::string& file, char delimiter);

/// Throws InputError unless the header of another file, `found`, is the same as the first file's.
void CheckSameHeader(const std::vector<std::string>& found, const Chunk& header, const std::string& file,
                     const std::vector<std::string>& expected, const std::string& firstFile);

}  // namespace table

#endif
