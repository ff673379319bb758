#include "engine/residual.h"

#include <gtest/gtest.h>

namespace velmora::tool {
namespace {

constexpr Homography kStill = {1, 0, 0, 0, 1, 0, 0, 0, 1};

/// A slope of 2 to the right and 1 down, plus a constant.
Plane slope(int offset) {
  Plane plane({60, 40});
  for (int y = 0; y < 40; ++y)
    for (int x = 0; x < 60; ++x)
      plane.row(y)[x] = static_cast<uint8_t>(2 * x + y + offset);
  return plane;
}

TEST(Residual, ComparesAtTheSamePlaceAndWhereTheMotionLeads) {
  const Region inner = {10, 10, 49, 29};
  // The second frame is lighter by 8: what stands at x in the first stands at x - 4 in the second,
  // or half a pixel off with an offset of 1.
  for (const auto& [motion, after] :
       {std::pair{-4.f, 0.0}, {-3.5f, 1.0}, {0.f, 8.0}, {2.f, 12.0}}) {
    const Residual residual =
        residualOf(slope(0), slope(8), {1, 0, motion, 0, 1, 0, 0, 0, 1}, inner);
    EXPECT_DOUBLE_EQ(residual.before, 8);
    EXPECT_DOUBLE_EQ(residual.after, after);
    EXPECT_DOUBLE_EQ(residual.firstMean, 2 * 29.5 + 19.5);
    EXPECT_DOUBLE_EQ(residual.secondMean, 2 * (29.5 + double{motion}) + 19.5 + 8);
    EXPECT_EQ(residual.worse(), after > 8);
  }
  // Identical frames, positions outside, an empty rectangle.
  const Residual same = residualOf(slope(0), slope(0), kStill, wholeOf({60, 40}));
  EXPECT_TRUE(same.before == 0 && same.after == 0 && !same.worse());
  EXPECT_DOUBLE_EQ(residualOf(slope(0), slope(0), {1, 0, -9, 0, 1, 0, 0, 0, 1}, {0, 0, 9, 0}).after,
                   9);
  EXPECT_EQ(residualOf(slope(0), slope(0), kStill, {5, 5, 4, 9}).firstMean, 0);
}

TEST(Residual, AllowsWhatInterpolationCosts) {
  EXPECT_FALSE((Residual{0, 0.5, 0, 0}.worse()));
  EXPECT_TRUE((Residual{0, 0.6, 0, 0}.worse()));
  EXPECT_FALSE((Residual{20, 21.4, 0, 0}.worse()));
  EXPECT_TRUE((Residual{20, 21.6, 0, 0}.worse()));
}

}  // namespace
}  // namespace velmora::tool
