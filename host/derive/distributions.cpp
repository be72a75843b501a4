#include "derive/distributions.h"

#include <boost/math/distributions/chi_squared.hpp>
#include <boost/math/distributions/fisher_f.hpp>
#include <cmath>
#include <limits>

namespace derive {
namespace {

using boost::math::policies::domain_error;
using boost::math::policies::evaluation_error;
using boost::math::policies::ignore_error;
using boost::math::policies::overflow_error;
using boost::math::policies::pole_error;
using boost::math::policies::underflow_error;

using Quiet = boost::math::policies::policy<domain_error<ignore_error>, pole_error<ignore_error>,
                                            overflow_error<ignore_error>, underflow_error<ignore_error>,
                                            evaluation_error<ignore_error>>;

constexpr double kUndefined = std::numeric_limits<double>::quiet_NaN();

double FTail(double f, double df1, double df2) {
  if (std::isinf(df2)) {
    return cdf(complement(boost::math::chi_squared_distribution<double, Quiet>(df1), f * df1));
  }
  return cdf(complement(boost::math::fisher_f_distribution<double, Quiet>(df1, df2), f));
}

}  // namespace

FTest TestF(double f, double df1, double df2) {
  const bool isDefined = f >= 0.0 && std::isfinite(f) && df1 > 0.0 && std::isfinite(df1) && df2 > 0.0;
  if (!isDefined) return {kUndefined, df1, df2, kUndefined};
  return {f, df1, df2, FTail(f, df1, df2)};
}

}  // namespace derive
