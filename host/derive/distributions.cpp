#include "derive/distributions.h"

#include <boost/math/distributions/chi_squared.hpp>
#include <boost/math/distributions/fisher_f.hpp>
#include <boost/math/distributions/students_t.hpp>
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
using StudentsT = boost::math::students_t_distribution<double, Quiet>;

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

TTest TestT(double t, double df) {
  if (!std::isfinite(t) || !(df > 0.0) || std::isinf(df)) return {kUndefined, kUndefined};
  return {t, 2.0 * cdf(complement(StudentsT(df), std::fabs(t)))};
}

double TQuantile(double level, double df) {
  if (!(df > 0.0) || std::isinf(df)) return kUndefined;
  // (1 − level) ÷ 2 is small where (1 + level) ÷ 2 would lose its digits next to 1.
  return quantile(complement(StudentsT(df), (1.0 - level) / 2.0));
}

}  // namespace derive
