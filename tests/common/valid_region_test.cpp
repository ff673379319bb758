#include "geometry/valid_region.h"

#include <gtest/gtest.h>

#include <climits>
#include <ostream>

namespace velmora {

void PrintTo(const ValidRegion& region, std::ostream* out) {
  *out << "[" << region.startW << ", " << region.startH << ", " << region.endW << ", "
       << region.endH << "]";
}

namespace {

TEST(ValidRegion, IntersectionTakesTheInnerOfEachSide) {
  const ValidRegion asked = {10, 20, 500, 600};
  EXPECT_EQ(intersection(asked, {0, 0, 639, 639}), asked);
  EXPECT_EQ(intersection(asked, {12, 0, 639, 333}), (ValidRegion{12, 20, 500, 333}));
  EXPECT_EQ(intersection(asked, {0, 25, 490, 639}), (ValidRegion{10, 25, 490, 600}));
  EXPECT_EQ(intersection(asked, {501, 0, 639, 19}), (ValidRegion{501, 20, 500, 19}));
}

TEST(ValidRegion, MadeEvenMovesInwardsExceptBelowZero) {
  const struct {
    ValidRegion region, even;
  } cases[] = {
      {{0, 2, 4, 6}, {0, 2, 4, 6}},
      {{1, 3, 1001, 999}, {2, 4, 1000, 998}},
      {{-1, -3, -1, -5}, {-2, -4, 0, -4}},
      {{-2, INT_MIN, INT_MAX, INT_MIN}, {-2, INT_MIN, INT_MAX - 1, INT_MIN}},
      {{INT_MAX, INT_MAX - 1, INT_MIN + 1, 0}, {INT_MIN, INT_MAX - 1, INT_MIN + 2, 0}},
  };
  for (const auto& c : cases)
    EXPECT_EQ(madeEven(c.region), c.even);
}

TEST(ValidRegion, UsableMeansInsideAndAtLeastAHundredPixelsWide) {
  const struct {
    ValidRegion region;
    int32_t width, height;
    bool usable;
  } cases[] = {
      {{0, 0, 99, 99}, 100, 100, true},
      {{0, 0, 98, 99}, 100, 100, false},
      {{0, 0, 99, 98}, 100, 100, false},
      {{1, 0, 100, 99}, 100, 100, false},
      {{0, 1, 99, 100}, 100, 100, false},
      {{-1, 0, 99, 99}, 100, 100, false},
      {{0, -1, 99, 99}, 100, 100, false},
      {{20, 10, 119, 109}, 640, 480, true},
      {{500, 10, 20, 300}, 640, 480, false},
      // The span does not wrap around.
      {{INT_MAX, 0, INT_MIN, 479}, 640, 480, false},
      {{5, 5, INT_MIN, INT_MIN}, 640, 480, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(isUsable(c.region, c.width, c.height), c.usable)
        << testing::PrintToString(c.region) << " in " << c.width << "x" << c.height;
  }
}

TEST(ValidRegion, DefaultKeepsItsMarginAndLowersOddEnds) {
  EXPECT_EQ(defaultRegion(4000, 3000), (ValidRegion{150, 150, 3848, 2848}));
  EXPECT_EQ(defaultRegion(4001, 3001), (ValidRegion{150, 150, 3850, 2850}));
  EXPECT_EQ(defaultRegion(100, 101), (ValidRegion{150, 150, -52, -50}));
}

}  // namespace
}  // namespace velmora
