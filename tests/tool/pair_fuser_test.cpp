// When a registered pair is fused, when it is not, and what is said of it.
#include "engine/pair_fuser.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "engine/enlarger.h"
#include "registration/synthetic_scene.h"

namespace velmora::tool {
namespace {

constexpr Size kSize = {480, 420};

/// A textured part in front of waves without key points; each has its own motion to the right.
Picture frameOf(int part, int waves, int partColumns, double exposure = 1) {
  static const test::Frame texture =
      test::draw(test::Scene(3), kSize.width, kSize.height, {{1, 0, -16, 0, 1, 0, 0, 0, 1}});
  Picture picture(kSize);
  for (int y = 0; y < kSize.height; ++y) {
    for (int x = 0; x < kSize.width; ++x) {
      const int from = x - part;
      const bool inPart = from >= 16 && from < 16 + partColumns;
      const double value = inPart ? texture.data[static_cast<std::size_t>(y * kSize.width + from)]
                                  : 128 + 100 * std::sin((x - waves) / 25.0);
      picture.y.row(y)[x] = static_cast<uint8_t>(value * exposure);
    }
  }
  return picture;
}

FusionResult fused(const Picture& first, const Picture& second) {
  FusionRequest request;
  request.region = wholeOf(kSize);
  request.outputSize = [](Region region) {
    return Size{2 * region.size().width - 1, 2 * region.size().height - 1};
  };
  request.ghost = GhostThresholds{19, 48};
  return fusePair(first, second, request);
}

TEST(FusePair, TellsHowSureTheRegistrationIs) {
  const Picture first = frameOf(0, 0, 448);
  const FusionResult result = fused(first, frameOf(6, 6, 448));
  EXPECT_EQ(result.failure, "");
  EXPECT_GE(result.inliers, 10u);
  EXPECT_LE(result.inliers, result.matches);
  EXPECT_NEAR(result.largestMotion, 6, 0.5);
  EXPECT_GT(result.residual.before, 5);
  EXPECT_LT(result.residual.after, 1);
  EXPECT_EQ(result.doubt, "");
  // Nothing has moved: no residual, and none is needed.
  EXPECT_EQ(fused(first, first).failure, "");
}

TEST(FusePair, DoesNotFuseByAMotionThatMakesTheFramesDifferMore) {
  // All key points lie on a part that moves; most of the picture does not.
  const Picture first = frameOf(0, 0, 220);
  const FusionResult result = fused(first, frameOf(25, 0, 220));
  EXPECT_EQ(result.failure, "with the motion that was found the frames differ more than without");
  EXPECT_EQ(result.region, wholeOf(kSize));
  Picture alone;
  Enlarger(kSize, wholeOf(kSize), {959, 839}, {}).enlarge(first, alone);
  EXPECT_EQ(result.picture.y.samples, alone.y.samples);
  EXPECT_EQ(result.picture.u.samples, alone.u.samples);
}

TEST(FusePair, DoubtsFramesThatDifferByMoreThanMotion) {
  const Picture first = frameOf(0, 0, 448);
  const FusionResult darker = fused(first, frameOf(3, 3, 448, 0.6));
  EXPECT_EQ(darker.failure, "");
  EXPECT_EQ(darker.doubt,
            "the second frame is darker where both show the same: probably its exposure differs");
  EXPECT_NEAR(darker.residual.secondMean, 0.6 * darker.residual.firstMean, 1);
  EXPECT_GT(darker.replacedShare, 0.4);
  EXPECT_EQ(fused(frameOf(0, 0, 448, 0.7), first).doubt,
            "the second frame is lighter where both show the same: probably its exposure differs");
  EXPECT_EQ(fused(first, frameOf(3, 3, 448, 0.98)).doubt, "");

  // The same mean, but other waves: the part registers.
  const FusionResult replaced = fused(frameOf(0, 0, 270), frameOf(0, 79, 270));
  EXPECT_EQ(replaced.failure, "");
  EXPECT_GT(replaced.replacedShare, 1.0 / 3);
  EXPECT_EQ(replaced.doubt.find("de-ghosting replaced more than a third"), 0u) << replaced.doubt;
}

}  // namespace
}  // namespace velmora::tool
