#ifndef HOST_PASS_ORIGIN_H
#define HOST_PASS_ORIGIN_H

#include <vector>

namespace pass {

/// What to subtract from a column before its values are summed, given the present values of its first rows: their
/// median if all of them lie within a factor of two of it, else 0.
///
/// A mean far from zero with a small spread costs every sum of products its digits, and no statistic of interest
/// depends on the origin. Within the factor of two the subtraction is exact (Sterbenz 1974); values of later rows
/// that lie outside are rounded once, to half a unit in the last place of the difference.
///
/// The origin's size is bounded so that the difference of a finite value neither overflows nor becomes the code for
/// missing.
double Origin(std::vector<double> sample);

struct Weighed {
  double value;
  double weight;
};

/// Likewise for the first rows of a group, which are few: their median by weight if at least half of the weight lies within
/// a factor of two of it, else 0. An outlier or two, or rows that weigh next to nothing, then decide nothing.
///
/// A median is within one standard deviation of the mean. Where half of the weight lies farther than half the median's
/// size from it, the deviation is at least a quarter of that size, and 0 within five of the mean.
double Origin(std::vector<Weighed> sample);

}  // namespace pass

#endif
