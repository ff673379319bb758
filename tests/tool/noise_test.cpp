#include "engine/noise.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "engine/ghost_thresholds.h"
#include "support/random.h"

namespace velmora::tool {
namespace {

// Slopes and soft curves on the left two thirds, hard texture on the right, clipped white below.
Plane scene(double noise, uint64_t seed) {
  test::Random random(seed);
  Plane plane({480, 320});
  for (int y = 0; y < 320; ++y) {
    for (int x = 0; x < 480; ++x) {
      double value = 110 + 50 * std::sin(x / 60.0) + y / 8.0;
      if (x > 320) value += (x / 3 + y / 3) % 2 == 0 ? 40 : -40;
      if (y > 260) value = 400;
      const double radius = std::sqrt(-2 * std::log(1 - random.unit()));
      value += noise * radius * std::cos(2 * std::numbers::pi * random.unit());
      plane.row(y)[x] = static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
    }
  }
  return plane;
}

TEST(Noise, IsToldFromTextureAndClippedParts) {
  EXPECT_LT(noiseOf(scene(0, 1)), 0.6);  // rounding alone makes 0.3
  for (const double noise : {1.0, 2.0, 3.0, 5.0, 8.0, 12.0, 15.0})
    EXPECT_NEAR(noiseOf(scene(noise, 2)), noise, 0.12 * noise + 0.15) << noise;
}

TEST(Noise, IsThatOfTheWorstPlane) {
  Picture picture(Size{480, 320});
  picture.y = scene(2, 3);
  picture.u = scene(6, 4);
  picture.v = scene(1, 5);
  EXPECT_NEAR(noiseOf(picture), 6, 0.8);
  picture.grey = true;
  EXPECT_NEAR(noiseOf(picture), 2, 0.4);
  for (const Plane& flat : {Plane({1, 1}, 100), Plane({64, 64}, 255)})
    EXPECT_EQ(noiseOf(flat), 0);
}

// Over the noise that cameras show: differences of twice the standard deviation are blended by less
// than a quarter, and objects stay apart whose contrast is little above the noise.
TEST(GhostThresholds, LieAboveTheNoiseAndBelowObjects) {
  for (double noise = 0; noise <= 15; noise += 0.5) {
    const GhostThresholds thresholds = thresholdsFor(noise);
    const double twoDeviations = 2 * std::numbers::sqrt2 * noise;
    const double replaced =
        (twoDeviations - thresholds.low) / double(thresholds.high - thresholds.low);
    EXPECT_LT(replaced, 0.25) << noise;
    EXPECT_LE(thresholds.high, 50 + 2 * std::numbers::sqrt2 * noise) << noise;
    EXPECT_LT(thresholds.low, thresholds.high);
  }
  EXPECT_EQ(thresholdsFor(1000).high, 255);
}

}  // namespace
}  // namespace velmora::tool
