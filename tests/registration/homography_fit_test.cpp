#include "registration/source/homography_fit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "registration/plain_homography.h"
#include "registration/synthetic_pairs.h"

namespace {

using velmora::fitHomography;
using velmora::test::fill;
using velmora::test::Motion;
using velmora::test::Pairs;
using velmora::test::Random;
using velmora::test::shift;
using velmora::test::tilted;

TEST(FitHomography, RecoversTheMotionOfExactPairs) {
  const struct {
    Motion motion;
    double width, height;
    int count;
    double bound;
  } cases[] = {
      {shift(0, 0), 4000, 3000, 40, 0.02},
      {shift(12.25, -7.75), 4000, 3000, 5, 0.1},
      {shift(-290.5, 100.5), 4000, 3000, 2000, 0.02},
      {tilted(4000, 3000, 2, 1.03, 5, -9, 0, 0), 4000, 3000, 300, 0.02},
      {tilted(4000, 3000, -1, 0.98, 15, 4, 4e-6, -3e-6), 4000, 3000, 300, 0.05},
      {tilted(20000, 15000, 1, 1.01, 15, 4, 1e-7, 1e-7), 20000, 15000, 300, 0.3},
  };
  for (const auto& c : cases) {
    Random random(7);
    Pairs pairs;
    fill(pairs, {c.motion, c.width, c.height, c.count}, random);
    const auto h = fitHomography(pairs.ref.data(), pairs.match.data(), c.count, 30);
    ASSERT_TRUE(h.has_value());
    EXPECT_EQ(h->back(), 1.0f);
    EXPECT_LT(c.motion.cornerError(h->data(), c.width, c.height), c.bound) << &c - cases;
  }
}

TEST(FitHomography, EqualsThePlainFitToTheBit) {
  const struct {
    int count;
    int sweeps;
    bool wholePixels;
  } cases[] = {{4, 2, true},  {4, 2, false},   {4, 30, true},   {5, 30, true},
               {23, 2, true}, {400, 30, true}, {401, 30, false}};
  for (const auto& c : cases) {
    for (uint64_t seed = 1; seed < 20; ++seed) {
      Random random(seed);
      Pairs pairs;
      fill(pairs,
           {.motion = tilted(4000, 3000, 1, 1.02, 5, -9, 4e-6, -3e-6),
            .count = c.count,
            .noise = 2,
            .wholePixels = c.wholePixels},
           random);
      const auto h = fitHomography(pairs.ref.data(), pairs.match.data(), c.count, c.sweeps);
      const auto plain = velmora::test::plainFit(pairs.ref, pairs.match, 81 * c.sweeps);
      ASSERT_TRUE(h && plain);
      EXPECT_TRUE(std::equal(h->begin(), h->end(), plain->begin()))
          << c.count << " pairs, seed " << seed;
    }
  }
}

TEST(FitHomography, RefusesPointsOnOneAxis) {
  const std::vector<float> square = {0, 0, 100, 0, 100, 100, 0, 100};
  const std::vector<float> sameX = {5, 0, 5, 10, 5, 20, 5, 70};
  const std::vector<float> sameY = {5, 9, 4, 9, 80, 9, 2, 9};
  const std::vector<float> allEqual = {5, 9, 5, 9, 5, 9, 5, 9};
  EXPECT_TRUE(fitHomography(square.data(), square.data(), 4, 2));
  for (const auto* bad : {&sameX, &sameY, &allEqual}) {
    EXPECT_FALSE(fitHomography(square.data(), bad->data(), 4, 2));
    EXPECT_FALSE(fitHomography(bad->data(), square.data(), 4, 2));
  }
  EXPECT_FALSE(fitHomography(square.data(), square.data(), 0, 2));
  EXPECT_FALSE(fitHomography(square.data(), square.data(), -1, 2));
}

TEST(FitHomography, PassesValuesThatAreNotFiniteThrough) {
  std::vector<float> points = {0, 0, 100, 0, 100, 100, 0, NAN};
  const auto h = fitHomography(points.data(), points.data(), 4, 2);
  ASSERT_TRUE(h.has_value());
  EXPECT_TRUE(std::isnan((*h)[0]));
}

}  // namespace
