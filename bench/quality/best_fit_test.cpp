#include "best_fit.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/random.h"

namespace velmora::tool {
namespace {

constexpr Size kFrame = {4000, 3000};
const Matrix kTruth = KnownMotion{0.007, 1.002, 5e-7, {12.3, -8.7}}.matrix(kFrame);
constexpr Matrix kStill = {1, 0, 0, 0, 1, 0, 0, 0, 1};

std::vector<PointPair> pairsOf(int count, double noise) {
  test::Random random(5);
  std::vector<PointPair> pairs;
  for (int i = 0; i < count; ++i) {
    const Position from = {random.unit() * kFrame.width, random.unit() * kFrame.height};
    Position to = moved(kTruth, from);
    to.x += noise * (2 * random.unit() - 1);
    to.y += noise * (2 * random.unit() - 1);
    pairs.push_back({from, to});
  }
  return pairs;
}

TEST(KnownMotion, ShiftsTheCentreOfTheFrame) {
  const Position centre = {(kFrame.width - 1) / 2.0, (kFrame.height - 1) / 2.0};
  EXPECT_LT(distance(moved(kTruth, centre), {centre.x + 12.3, centre.y - 8.7}), 1e-9);
  EXPECT_LT(distance(moved(inverse(kTruth), moved(kTruth, {17, 2900})), {17, 2900}), 1e-9);
}

TEST(BestFit, FindsTheMotionOfExactPairs) {
  for (const int count : {4, 5, 300}) {
    const Matrix found = bestFit(pairsOf(count, 0), kStill);
    for (const Position corner : {Position{0, 0}, {3999, 0}, {0, 2999}, {3999, 2999}})
      EXPECT_LT(distance(moved(found, corner), moved(kTruth, corner)), 1e-3) << count;
  }
}

TEST(BestFit, LeavesNoBetterMatrixNearby) {
  const auto pairs = pairsOf(200, 2);
  const Matrix found = bestFit(pairs, kStill);
  const double least = squaredErrors(pairs, found);
  EXPECT_LT(least, squaredErrors(pairs, kTruth));
  EXPECT_EQ(found[8], 1);
  // What moves a corner by about a hundredth of a pixel.
  const Matrix nudge = {2.5e-6, 3e-6, 1e-2, 2.5e-6, 3e-6, 1e-2, 6e-10, 8e-10, 0};
  for (std::size_t i = 0; i < 8; ++i) {
    for (const double sign : {-1.0, 1.0}) {
      Matrix near = found;
      near[i] += sign * nudge[i];
      EXPECT_GT(squaredErrors(pairs, near), least) << i;
    }
  }
}

}  // namespace
}  // namespace velmora::tool
