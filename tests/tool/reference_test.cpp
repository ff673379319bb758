#include "demo/reference.h"

#include <gtest/gtest.h>

#include <cmath>

namespace velmora::tool {
namespace {

Plane planeOf(Size size, std::vector<uint8_t> samples) {
  Plane plane(size);
  plane.samples = std::move(samples);
  return plane;
}

Picture greyOf(Plane plane) {
  Picture picture(plane.size);
  picture.y = std::move(plane);
  return picture;
}

// Five samples onto three: each output lies on every second input and is the mean over two units,
// half of either neighbour; at the ends only what exists counts.
TEST(Reference, AreaReductionWeighsByOverlap) {
  const Picture reduced = areaReduced(greyOf(planeOf({5, 1}, {0, 100, 200, 40, 80})), {3, 1});
  EXPECT_EQ(reduced.y.samples,
            (std::vector<uint8_t>{33, 135, 67}));  // (0+50)/1.5, (50+200+20)/2, (20+80)/1.5
}

TEST(Reference, BicubicPassesThroughTheSamples) {
  const Plane plane = planeOf({4, 1}, {10, 90, 30, 200});
  const Picture enlarged = bicubicEnlarged(greyOf(plane), {7, 1});
  for (int i = 0; i < 4; ++i)
    EXPECT_EQ(enlarged.y.samples[static_cast<std::size_t>(2 * i)],
              plane.samples[static_cast<std::size_t>(i)]);
  // Half way: (-a + 9 b + 9 c - d) / 16.
  EXPECT_EQ(enlarged.y.samples[3], std::lround((-10 + 9 * 90 + 9 * 30 - 200) / 16.0));
  EXPECT_EQ(enlarged.y.samples[1], std::lround((-10 + 9 * 10 + 9 * 90 - 30) / 16.0));
}

TEST(Reference, BicubicKeepsALinearRamp) {
  Plane ramp({16, 16});
  for (int y = 0; y < 16; ++y) {
    for (int x = 0; x < 16; ++x)
      ramp.row(y)[x] = static_cast<uint8_t>(6 * x + 8 * y);
  }
  const Picture enlarged = bicubicEnlarged(greyOf(ramp), {31, 31});
  for (int y = 4; y < 27; ++y) {
    for (int x = 4; x < 27; ++x)
      EXPECT_EQ(enlarged.y.row(y)[x], 3 * x + 4 * y);
  }
}

TEST(Reference, PsnrByHand) {
  const Plane a = planeOf({2, 2}, {0, 0, 0, 0});
  const Plane b = planeOf({2, 2}, {10, 0, 0, 10});
  EXPECT_NEAR(psnr(a, b), 10 * std::log10(65025.0 / 50), 1e-9);
  EXPECT_TRUE(std::isinf(psnr(a, a)));
}

TEST(Reference, PsnrLeavesTheMarginOut) {
  Plane a({5, 5}, 7);
  const Plane b({5, 5}, 7);
  a.row(0)[3] = 200;
  a.row(4)[4] = 0;
  EXPECT_TRUE(std::isinf(psnr(a, b, 1)));
  EXPECT_FALSE(std::isinf(psnr(a, b)));
}

}  // namespace
}  // namespace velmora::tool
