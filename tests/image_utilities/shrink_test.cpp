#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

#include "support/guarded_buffer.h"
#include "support/random.h"
#include "velmora_sr/image_utilities.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using velmora::test::GuardedBuffer;
using velmora::test::Random;

struct Size {
  int width;
  int height;
};

std::size_t area(Size size) {
  return static_cast<std::size_t>(std::max(size.width, 0)) *
         static_cast<std::size_t>(std::max(size.height, 0));
}

std::vector<float> shrinkDepth(const std::vector<float>& src, Size in, Size out) {
  GuardedBuffer<float> dst(area(out));
  ShrinkDepthData(src.data(), dst.data(), in.width, in.height, out.width, out.height);
  EXPECT_TRUE(dst.intact());
  return dst.values();
}

std::vector<uint8_t> shrinkImage(const std::vector<uint8_t>& src, Size in, Size out) {
  GuardedBuffer<char> dst(area(out));
  ShrinkImage(reinterpret_cast<const char*>(src.data()), dst.data(), in.width, in.height, out.width,
              out.height);
  EXPECT_TRUE(dst.intact());
  const std::vector<char> values = dst.values();
  return {values.begin(), values.end()};
}

std::vector<uint8_t> shrinkMask(const std::vector<uint8_t>& src, Size in, Size out) {
  GuardedBuffer<uint8_t> dst(area(out));
  ShrinkBWImage(src.data(), dst.data(), in.width, in.height, out.width, out.height);
  EXPECT_TRUE(dst.intact());
  return dst.values();
}

/// One bilinear sample by the plain formula, over a plane that goes on by zeros.
float sampleAt(const std::vector<float>& src, Size in, int i, float stepY, int j, float stepX) {
  const auto at = [&](int r, int c) {
    return r < in.height && c < in.width ? src[static_cast<std::size_t>(r * in.width + c)] : 0.0f;
  };
  const float fy = static_cast<float>(i) * stepY;
  const float fx = static_cast<float>(j) * stepX;
  const int r = static_cast<int>(fy);
  const int c = static_cast<int>(fx);
  const float wy = fy - static_cast<float>(r);
  const float wx = fx - static_cast<float>(c);
  return (at(r, c) * (1 - wx) + at(r, c + 1) * wx) * (1 - wy) +
         (at(r + 1, c) * (1 - wx) + at(r + 1, c + 1) * wx) * wy;
}

const Size kSizes[] = {{1, 1}, {2, 1}, {1, 3}, {2, 2}, {3, 5}, {7, 4}, {16, 9}, {33, 17}};

TEST(ShrinkImage, BlendsByHand) {
  // Step 3 / 2: columns 0 and 1.5, rows 0 and 1.5.
  const std::vector<uint8_t> src = {10, 20, 30,  40,   //
                                    50, 60, 70,  81,   //
                                    90, 99, 110, 121,  //
                                    1,  2,  3,   4};
  // (60 + 70) / 2 = 65; (50 + 90) / 2 = 70; ((60 + 70) / 2 + (99 + 110) / 2) / 2 = 84.75, cut.
  EXPECT_THAT(shrinkImage(src, {4, 4}, {2, 2}), ElementsAre(10, 25, 70, 84));
}

TEST(ShrinkImage, ReadsUnsignedSamples) {
  EXPECT_THAT(shrinkImage({200, 255, 128, 255}, {4, 1}, {2, 1}), ElementsAre(200, 191));
}

TEST(ShrinkDepthData, ScalesByTheRatioOfTheWidthsOnly) {
  // Rows at 0 and 0.5, columns at 0 and 1.5; all values times 2 / 4.
  const std::vector<float> src = {8, 16, 32, 64,  //
                                  0, 32, 64, 96};
  EXPECT_THAT(shrinkDepth(src, {4, 2}, {2, 2}), ElementsAre(4, 12, 2, 18));
  EXPECT_THAT(shrinkDepth({8, -16, 4}, {1, 3}, {1, 2}), ElementsAre(8, -16));
}

TEST(Shrink, OneRowAndColumnLessIsACrop) {
  Random random(1);
  const Size in = {9, 6};
  const Size out = {8, 5};
  const std::vector<uint8_t> image = random.bytes(area(in));
  const std::vector<float> depth(image.begin(), image.end());
  const std::vector<uint8_t> shrunk = shrinkImage(image, in, out);
  const std::vector<uint8_t> mask = shrinkMask(image, in, out);
  const std::vector<float> shrunkDepth = shrinkDepth(depth, in, out);
  const float ratio = 8.0f / 9.0f;
  for (std::size_t y = 0; y < 5; ++y) {
    for (std::size_t x = 0; x < 8; ++x) {
      EXPECT_EQ(shrunk[8 * y + x], image[9 * y + x]);
      EXPECT_EQ(mask[8 * y + x], image[9 * y + x]);
      EXPECT_EQ(shrunkDepth[8 * y + x], depth[9 * y + x] * ratio);
    }
  }
}

TEST(Shrink, EqualsThePlainFormulaOnRandomPlanes) {
  Random random(2);
  for (const Size in : kSizes) {
    const std::vector<uint8_t> image = random.bytes(area(in));
    std::vector<float> depth(area(in));
    for (float& value : depth)
      value = static_cast<float>(random.unit() * 2000.0 - 1000.0);
    const std::vector<float> imageAsFloat(image.begin(), image.end());
    for (const Size out : kSizes) {
      SCOPED_TRACE(testing::Message()
                   << in.width << "x" << in.height << " to " << out.width << "x" << out.height);
      const float stepX = static_cast<float>(in.width - 1) / static_cast<float>(out.width);
      const float stepY = static_cast<float>(in.height - 1) / static_cast<float>(out.height);
      const float ratio = static_cast<float>(out.width) / static_cast<float>(in.width);
      const std::vector<uint8_t> shrunk = shrinkImage(image, in, out);
      const std::vector<float> shrunkDepth = shrinkDepth(depth, in, out);
      const std::vector<uint8_t> mask = shrinkMask(image, in, out);
      const int maskStepX = static_cast<int>(static_cast<double>(stepX) * 4096 + 0.5);
      const int maskStepY = static_cast<int>(static_cast<double>(stepY) * 4096 + 0.5);
      std::size_t k = 0;
      for (int i = 0; i < out.height; ++i) {
        for (int j = 0; j < out.width; ++j, ++k) {
          ASSERT_EQ(shrunk[k], static_cast<int>(sampleAt(imageAsFloat, in, i, stepY, j, stepX)));
          ASSERT_EQ(shrunkDepth[k], sampleAt(depth, in, i, stepY, j, stepX) * ratio);
          const int row = (i * maskStepY) >> 12;
          const int column = (j * maskStepX) >> 12;
          ASSERT_EQ(mask[k], image[static_cast<std::size_t>(row * in.width + column)]);
        }
      }
    }
  }
}

TEST(ShrinkBWImage, TakesWholeSamples) {
  std::vector<uint8_t> src(16);
  for (std::size_t i = 0; i < 16; ++i)
    src[i] = static_cast<uint8_t>(i);
  // Step 1.5: positions 0 and 1.
  EXPECT_THAT(shrinkMask(src, {4, 4}, {2, 2}), ElementsAre(0, 1, 4, 5));
  // Step 3 / 4 across and 3 down: columns 0, 0, 1 and 2 of row 0.
  EXPECT_THAT(shrinkMask(src, {4, 4}, {4, 1}), ElementsAre(0, 0, 1, 2));
}

// The step has 12 fraction bits and is rounded; on long sides the rounded steps add up to more than
// the plane, and the last sample is repeated.
TEST(ShrinkBWImage, RoundsItsStepAndStaysInsideThePlane) {
  const auto counts = [](const std::vector<uint8_t>& mask, int values) {
    std::vector<std::ptrdiff_t> result;
    for (int value = 1; value <= values; ++value)
      result.push_back(std::count(mask.begin(), mask.end(), value));
    return result;
  };
  // 3 * 4096 / 100'000 = 0.12 becomes 0.
  EXPECT_THAT(shrinkMask({1, 2, 3, 4}, {4, 1}, {100'000, 1}), Each(1));
  // 2 * 4096 / 16'384 = 0.5 becomes 1: the last 4096 positions are past the plane.
  EXPECT_THAT(counts(shrinkMask({1, 2, 3}, {3, 1}, {16'384, 1}), 3), ElementsAre(4096, 4096, 8192));
  // 4 * 4096 / 10'922 = 1.50009 becomes 2.
  EXPECT_THAT(counts(shrinkMask({1, 2, 3, 4, 5}, {1, 5}, {1, 10'922}), 5),
              ElementsAre(2048, 2048, 2048, 2048, 2730));
}

TEST(Shrink, SingleRowsAndColumnsDoNotReadTheirNeighbours) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  EXPECT_THAT(shrinkDepth({kInfinity}, {1, 1}, {2, 2}), Each(kInfinity));
  // What lies behind the plane must not matter, not even with a weight of 0.
  constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_THAT(shrinkDepth({3, kNan, kNan}, {1, 1}, {2, 2}), Each(6));
  EXPECT_THAT(shrinkDepth({3, 5, kNan, kNan}, {2, 1}, {2, 2}), ElementsAre(3, 4, 3, 4));
  EXPECT_THAT(shrinkDepth({3, 5, kNan}, {1, 2}, {1, 2}), ElementsAre(3, 4));
  EXPECT_THAT(shrinkImage({200}, {1, 1}, {3, 2}), Each(200));
  EXPECT_THAT(shrinkMask({200}, {1, 1}, {3, 2}), Each(200));
}

TEST(Shrink, EmptyPlanesAreLeftAlone) {
  const std::vector<float> depth(4, 1.0f);
  const std::vector<uint8_t> image(4, 1);
  const Size full = {2, 2};
  for (const Size empty : {Size{0, 2}, Size{2, 0}, Size{-1, 2}, Size{2, -1}, Size{0, 0}}) {
    EXPECT_THAT(shrinkDepth(depth, full, empty), ElementsAre());
    EXPECT_THAT(shrinkImage(image, full, empty), ElementsAre());
    EXPECT_THAT(shrinkMask(image, full, empty), ElementsAre());
    EXPECT_THAT(shrinkDepth({}, empty, full), Each(GuardedBuffer<float>::unwritten()));
    EXPECT_THAT(shrinkImage({}, empty, full), Each(GuardedBuffer<uint8_t>::unwritten()));
    EXPECT_THAT(shrinkMask({}, empty, full), Each(GuardedBuffer<uint8_t>::unwritten()));
  }
  ShrinkDepthData(depth.data(), nullptr, 2, 2, 2, 2);
  ShrinkImage(nullptr, nullptr, 2, 2, 2, 2);
  ShrinkBWImage(image.data(), nullptr, 2, 2, 2, 2);
}

}  // namespace
