#include "registration/source/vector_math.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace velmora {
namespace {

TEST(EuclideanNorm, HoldsInAllThreeRanges) {
  constexpr float kMax = std::numeric_limits<float>::max();
  const struct {
    std::vector<float> x;
    double norm;
  } cases[] = {
      {{}, 0},
      {{0, 0}, 0},
      {{-3, 4}, 5},
      {{3e-30f, 4e-30f}, 5e-30},  // squares underflow
      {{4e-30f, 0, 3e-30f}, 5e-30},
      {{3e30f, -4e30f, 1}, 5e30},  // squares overflow
      {{1, 4e30f, 3e30f}, 5e30},
      {{3e-20f, 4e-20f}, 5e-20},  // across the lower limit
      {{kMax / 2, kMax / 2, kMax / 2}, 2.946931e38},
      {std::vector<float>(1000, 1e18f), 3.1622777e19},
      {{1e-45f}, 1.4013e-45},
  };
  for (const auto& c : cases)
    EXPECT_NEAR(euclideanNorm(c.x), c.norm, 1e-5 * c.norm) << testing::PrintToString(c.x);
  EXPECT_TRUE(std::isnan(euclideanNorm(std::vector<float>{1, NAN})));
  EXPECT_TRUE(std::isinf(euclideanNorm(std::vector<float>{1, INFINITY, 2})));
}

}  // namespace
}  // namespace velmora
