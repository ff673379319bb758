#include "registration/source/natural_logarithm.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/random.h"

namespace {

TEST(NaturalLogarithm, EqualsTheLibraryToAFewUnitsInTheLastPlace) {
  velmora::test::Random random(1);
  const auto check = [](double x) {
    const double expected = std::log(x);
    EXPECT_NEAR(velmora::naturalLogarithm(x), expected, 4 * 0x1p-53 * std::abs(expected)) << x;
  };
  for (int i = 0; i < 20000; ++i) {
    check(random.unit() + 0x1p-60);                         // shares
    check(1.0 - std::ldexp(random.unit(), -i % 50));        // close below 1
    check(std::ldexp(1 + random.unit(), i % 2000 - 1000));  // all magnitudes
  }
  check(std::numeric_limits<double>::min());
  check(static_cast<double>(std::numeric_limits<float>::min()));
  EXPECT_EQ(velmora::naturalLogarithm(1.0), 0.0);
}

}  // namespace
