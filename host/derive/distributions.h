#ifndef HOST_DERIVE_DISTRIBUTIONS_H
#define HOST_DERIVE_DISTRIBUTIONS_H

/// Tail probabilities of test statistics: NaN where the statistic is undefined, never an exception.
namespace derive {

/// An F statistic with its degrees of freedom, which need not be whole, and P(F ≥ f). Undefined members are NaN.
struct FTest {
  double f;
  double df1;
  double df2;
  double p;
};

/// The test of f ≥ 0 on df1 > 0 and df2 > 0 degrees of freedom; df2 may be infinite, which makes f·df1 a chi-square
/// statistic. Outside of that f and p are undefined.
FTest TestF(double f, double df1, double df2);

/// A t statistic and P(|T| ≥ |t|). Undefined members are NaN.
struct TTest {
  double t;
  double p;
};

/// The test of a finite t on df > 0 degrees of freedom, which need not be whole. Outside of that both are undefined.
TTest TestT(double t, double df);

/// The t with P(|T| ≤ t) = level on df > 0 degrees of freedom; undefined elsewhere. 0 < level < 1.
double TQuantile(double level, double df);

}  // namespace derive

#endif
