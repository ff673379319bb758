#include "registration/homography/natural_logarithm.h"

#include <cmath>

namespace velmora {

double naturalLogarithm(double x) {
  constexpr double kSqrtHalf = 0.70710678118654752440;
  constexpr double kLn2 = 0.69314718055994530942;
  // x = m 2^e with m in [sqrt(1/2), sqrt(2)), and ln m = 2 atanh(s) with s = (m - 1) / (m + 1),
  // |s| < 0.172: the term of order 25 lies below 2^-60 of the first one.
  int exponent = 0;
  double mantissa = std::frexp(x, &exponent);
  if (mantissa < kSqrtHalf) {
    mantissa *= 2.0;
    --exponent;
  }
  const double s = (mantissa - 1.0) / (mantissa + 1.0);
  const double square = s * s;
  double series = 0.0;
  for (int order = 23; order >= 3; order -= 2)
    series = (series + 1.0 / order) * square;
  return exponent * kLn2 + (2.0 * s + 2.0 * s * series);
}

}  // namespace velmora
