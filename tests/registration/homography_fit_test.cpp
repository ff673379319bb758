#include "registration/source/homography_fit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "registration/synthetic_pairs.h"
#include "support/digest.h"

namespace velmora::test {
namespace {

TEST(FitHomography, GivesTheSameBitsOnEveryMachine) {
  // The digests are those of a second implementation with full matrices. That the fit is a good one
  // is for the tests of its refinement.
  const struct {
    int count;
    int sweeps;
    uint32_t digest;
  } cases[] = {
      {4, 2, 0x7A0C337Au}, {5, 30, 0xC9EE577Du}, {23, 2, 0x22DDD1B2u}, {400, 30, 0xFE09DE21u}};
  for (const auto& c : cases) {
    Digest digest;
    for (uint64_t seed = 1; seed < 20; ++seed) {
      Random random(seed);
      Pairs pairs;
      fill(pairs,
           {.motion = tilted(4000, 3000, 1, 1.02, 5, -9, 4e-6, -3e-6),
            .count = c.count,
            .noise = 2,
            .wholePixels = true},
           random);
      const auto h = fitHomography(pairs.ref.data(), pairs.match.data(), c.count, c.sweeps);
      ASSERT_TRUE(h);
      digest.addAll(*h);
    }
    EXPECT_EQ(digest.value(), c.digest) << c.count << " pairs, " << c.sweeps << " sweeps";
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
}  // namespace velmora::test
