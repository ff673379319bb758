#include "burst/weights/weights.h"

#include <gtest/gtest.h>

#include "burst/drawn_frame.h"
#include "burst/workers_for_tests.h"
#include "support/digest.h"

namespace velmora::test {
namespace {

using namespace burst;

constexpr Size kSize = {301, 211};
const Homography kTurned = {{1.002, -0.011, 3.3, 0.012, 0.999, -2.6, 4e-6, -3e-6, 1}};

class WeightsTest : public testing::Test {
 protected:
  Weights weigh(const DrawnFrame& reference, const DrawnFrame& frame, const Homography& h,
                NoiseLevels noise, double gain = 1, double bias = 0) {
    motion_.homography = h;
    motion_.prepare();
    const MatchedPair pair = {&reference.frame, &frame.frame, &motion_, gain, bias};
    return weighPair(memory_, workers_, pair, noise);
  }
  NoiseLevels noiseBetween(const DrawnFrame& reference, const DrawnFrame& frame,
                           const Homography& h, double gain = 1) {
    motion_.homography = h;
    motion_.prepare();
    return measureNoiseBetween(memory_, workers_,
                               {&reference.frame, &frame.frame, &motion_, gain, 0});
  }
  /// Mean weight of a part of the half-size plane.
  static double mean(const Weights& weights, const Rect& part) {
    double sum = 0;
    for (int32_t y = part.top; y < part.bottom; ++y) {
      for (int32_t x = part.left; x < part.right; ++x)
        sum += weights.half.plane().row(y)[x];
    }
    return sum / part.width() / part.height();
  }

  TestMemory heap_;
  Memory& memory_ = heap_.memory;
  ShufflingWorkers workers_{3};
  Motion motion_;
};

TEST_F(WeightsTest, NoiseIsMeasuredWhateverTheMotionAndTheGain) {
  for (const double sigma : {3.0, 8.0, 15.0}) {
    for (const double gain : {1.0, 1.25}) {
      const Scene darker = [gain](int32_t plane, Point at) {
        return plane == 0 ? waves(plane, at) / gain : waves(plane, at);
      };
      const DrawnFrame reference(kSize, waves, {}, sigma, 1);
      const DrawnFrame frame(kSize, darker, kTurned, sigma, 2);
      const NoiseLevels noise = noiseBetween(reference, frame, kTurned, gain);
      EXPECT_NEAR(noise.sigma[0], sigma, 0.09 * sigma + 0.3) << gain;
      if (gain == 1.0) {
        EXPECT_NEAR(noise.sigma[1], sigma / 2, 0.09 * sigma + 0.2);
        EXPECT_NEAR(noise.sigma[2], sigma / 2, 0.09 * sigma + 0.2);
      }
    }
  }
}

TEST_F(WeightsTest, APlaneWithoutUsableBlocksHasNoNoise) {
  const Scene white = [](int32_t plane, Point) { return plane == 1 ? 128.0 : 255.0; };
  const DrawnFrame frame(kSize, white);
  const NoiseLevels noise = noiseBetween(frame, frame, {});
  EXPECT_LT(noise.sigma[0], 0);
  EXPECT_EQ(noise.sigma[1], 0);
  EXPECT_LT(noiseBetween(DrawnFrame({24, 18}, waves), DrawnFrame({24, 18}, waves), {}).sigma[2], 0);
}

TEST_F(WeightsTest, WhatFitsCountsInFullAndWhatIsOutsideNotAtAll) {
  for (const double sigma : {0.6, 8.0}) {
    const DrawnFrame reference(kSize, waves, {}, sigma, 1);
    const DrawnFrame frame(kSize, waves, kTurned, sigma, 2);
    const Weights weights = weigh(reference, frame, kTurned, {{sigma, sigma / 2, sigma / 2}});
    EXPECT_EQ(weights.half.size(), (Size{151, 106}));
    // The first rows lie above the frame, but for their right end.
    EXPECT_GT(mean(weights, {4, 4, 145, 100}), 251) << sigma;
    EXPECT_LT(mean(weights, {0, 0, 100, 1}), 2) << sigma;
    EXPECT_GT(weights.mean, 0.93);
  }
}

TEST_F(WeightsTest, WhatMovesOrChangesItsColourDoesNotCount) {
  struct Case {
    const char* what;
    double luma, u, v;
  };
  for (const Case& c : {Case{"a lighter disc", 40, 0, 0},
                        {"a disc of another colour", 0, 20, -14},
                        {"a slightly lighter disc", 9, 0, 0}}) {
    const Scene disc = [=](int32_t plane, Point at) {
      const bool in = (at.x - 150) * (at.x - 150) + (at.y - 100) * (at.y - 100) < 30 * 30;
      return waves(plane, at) + (in ? (plane == 0 ? c.luma : plane == 1 ? c.u : c.v) : 0);
    };
    const DrawnFrame reference(kSize, waves, {}, 2, 1);
    const DrawnFrame frame(kSize, disc, {}, 2, 2);
    const Weights weights = weigh(reference, frame, {}, {{2, 1, 1}});
    EXPECT_LT(mean(weights, {66, 41, 84, 59}), 2) << c.what;
    EXPECT_GT(mean(weights, {2, 2, 50, 104}), 253) << c.what;
  }
}

TEST_F(WeightsTest, BetweenTilesThatMovedApartNothingCounts) {
  LocalField field;
  field.tiles = {18, 12};
  field.accepted = 1;
  field.shifts = Buffer<float>(memory_, 2 * 18 * 12);
  std::fill(field.shifts.data(), field.shifts.data() + field.shifts.size(), 0.0f);
  // The tiles from column 10 on: their centres lie at luma column 175.5 and beyond.
  for (std::size_t i = 0; i < 12; ++i)
    std::fill(&field.shifts[2 * (18 * i + 10)], &field.shifts[2 * (18 * i + 17)] + 2, 1.0f);
  motion_.field = &field;
  const Scene flat = [](int32_t, Point) { return 100.0; };
  const DrawnFrame reference(kSize, flat);
  const Weights weights = weigh(reference, reference, {}, {{2, 1, 1}});
  EXPECT_EQ(mean(weights, {4, 4, 78, 100}), 255);
  EXPECT_EQ(mean(weights, {80, 4, 87, 100}), 0);
  EXPECT_EQ(mean(weights, {89, 4, 140, 100}), 255);
}

TEST_F(WeightsTest, AreTheSameWithEverySetAndAnyThreads) {
  // Integer noise: the C library's sines may differ in their last bit.
  Random random(5);
  const Scene integers = [&random](int32_t, Point at) {
    return 100 + std::fmod(13 * std::floor(at.x / 3) + 7 * std::floor(at.y / 4), 60) +
           static_cast<double>(random.range(0, 9));
  };
  const DrawnFrame reference(kSize, integers);
  const DrawnFrame frame(kSize, integers);
  const Homography shifted = {{1, 0, 0.375, 0, 1, -0.25, 0, 0, 1}};
  const Weights weights = weigh(reference, frame, shifted, {{3, 3, 3}}, 1.125, -4);
  Digest digest;
  for (int32_t y = 0; y < weights.half.size().height; ++y) {
    digest.addAll(std::vector(weights.half.plane().row(y), weights.half.plane().row(y) + 151));
  }
  const NoiseLevels noise = noiseBetween(reference, frame, shifted, 1.125);
  for (const double sigma : noise.sigma)
    digest.add(static_cast<float>(sigma));
  EXPECT_EQ(digest.value(), 0x95A76670u);
}

}  // namespace
}  // namespace velmora::test
