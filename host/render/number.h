#ifndef HOST_RENDER_NUMBER_H
#define HOST_RENDER_NUMBER_H

#include <cstdint>
#include <string>

namespace render {

/// The shortest text that reads back to the same finite double.
std::string Shortest(double value);

/// At least `digits` significant digits, trailing zeros included: how precise a number is stays visible. Only what is
/// very large or very small has an exponent, so that numbers of one column can be compared by eye. "inf" and "nan" for
/// what is not finite.
std::string Significant(double value, int digits);
/// `decimals` digits behind the point; what rounds to zero has no sign.
std::string Fixed(double value, int decimals);

/// A count with separators: 1,234,567.
std::string Grouped(std::uint64_t count);
/// A sum of weights: as a count where it is one that a double holds exactly, else with `digits` significant digits; in
/// words where it is not finite.
std::string WeightSum(double sum, int digits);

}  // namespace render

#endif
