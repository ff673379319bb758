#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "support/page_buffer.h"
#include "support/random.h"
#include "velmora_sr/image_utilities.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using velmora::test::PageBuffer;

struct Size {
  int width, height;
};

/// Shrinks a plane that ends at a page end, into another one.
template <typename T, typename Sample>
std::vector<T> shrunk(void (*shrink)(const Sample*, Sample*, int, int, int, int),
                      const std::vector<T>& src, Size in, Size out) {
  const PageBuffer<T> from(src);
  const PageBuffer<T> to(static_cast<std::size_t>(std::max(out.width, 0)) *
                         static_cast<std::size_t>(std::max(out.height, 0)));
  shrink(reinterpret_cast<const Sample*>(from.data()), reinterpret_cast<Sample*>(to.data()),
         in.width, in.height, out.width, out.height);
  EXPECT_TRUE(to.intact());
  return to.values();
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

TEST(Shrink, ByHand) {
  // Step 3 / 2: columns 0 and 1.5, rows 0 and 1.5. (60 + 70) / 2 = 65; (50 + 90) / 2 = 70;
  // ((60 + 70) / 2 + (99 + 110) / 2) / 2 = 84.75, cut. A mask takes samples 0 and 1.
  const std::vector<uint8_t> src = {10, 20, 30,  40,   //
                                    50, 60, 70,  81,   //
                                    90, 99, 110, 121,  //
                                    1,  2,  3,   4};
  EXPECT_THAT(shrunk(ShrinkImage, src, {4, 4}, {2, 2}), ElementsAre(10, 25, 70, 84));
  EXPECT_THAT(shrunk(ShrinkBWImage, src, {4, 4}, {2, 2}), ElementsAre(10, 20, 50, 60));
  // Rows at 0 and 0.5, columns at 0 and 1.5; all depths times the ratio of the widths, 2 / 4.
  EXPECT_THAT(shrunk<float>(ShrinkDepthData, {8, 16, 32, 64, 0, 32, 64, 96}, {4, 2}, {2, 2}),
              ElementsAre(4, 12, 2, 18));
}

TEST(Shrink, EqualsThePlainFormulaOnRandomPlanes) {
  constexpr Size kSizes[] = {{1, 1}, {2, 1}, {1, 3}, {2, 2}, {3, 5}, {7, 4}, {16, 9}, {33, 17}};
  velmora::test::Random random(2);
  for (const Size in : kSizes) {
    const auto image = random.bytes(static_cast<std::size_t>(in.width * in.height));
    const std::vector<float> imageAsFloat(image.begin(), image.end());
    std::vector<float> depth(image.size());
    for (float& value : depth)
      value = static_cast<float>(random.unit() * 2000.0 - 1000.0);
    for (const Size out : kSizes) {
      SCOPED_TRACE(testing::Message()
                   << in.width << "x" << in.height << " to " << out.width << "x" << out.height);
      const float stepX = static_cast<float>(in.width - 1) / static_cast<float>(out.width);
      const float stepY = static_cast<float>(in.height - 1) / static_cast<float>(out.height);
      const float ratio = static_cast<float>(out.width) / static_cast<float>(in.width);
      const auto shrunkImage = shrunk(ShrinkImage, image, in, out);
      const auto shrunkDepth = shrunk(ShrinkDepthData, depth, in, out);
      const auto shrunkMask = shrunk(ShrinkBWImage, image, in, out);
      const long maskStepX = std::lround(stepX * 4096);
      const long maskStepY = std::lround(stepY * 4096);
      for (std::size_t k = 0; k < shrunkMask.size(); ++k) {
        const int i = static_cast<int>(k) / out.width;
        const int j = static_cast<int>(k) % out.width;
        ASSERT_EQ(shrunkImage[k], std::floor(sampleAt(imageAsFloat, in, i, stepY, j, stepX)));
        ASSERT_EQ(shrunkDepth[k], sampleAt(depth, in, i, stepY, j, stepX) * ratio);
        const long source = (i * maskStepY >> 12) * in.width + (j * maskStepX >> 12);
        ASSERT_EQ(shrunkMask[k], image[static_cast<std::size_t>(source)]);
      }
    }
  }
}

// The step has 12 fraction bits and is rounded; on long sides the rounded steps add up to more than
// the plane, and the last sample is repeated.
TEST(ShrinkBWImage, RoundsItsStepAndStaysInsideThePlane) {
  const auto counts = [](Size in, Size out) {
    const auto mask = shrunk<uint8_t>(ShrinkBWImage, {0, 1, 2, 3, 4}, in, out);
    std::vector<std::ptrdiff_t> result;
    for (int value = 0; value < 5; ++value)
      result.push_back(std::count(mask.begin(), mask.end(), value));
    return result;
  };
  // 2 * 4096 / 16'384 = 0.5 becomes 1: the last 4096 positions are past the plane.
  EXPECT_THAT(counts({3, 1}, {16'384, 1}), ElementsAre(4096, 4096, 8192, 0, 0));
  // 4 * 4096 / 10'922 = 1.50009 becomes 2.
  EXPECT_THAT(counts({1, 5}, {1, 10'922}), ElementsAre(2048, 2048, 2048, 2048, 2730));
}

// What lies behind the plane must not matter, not even with a weight of 0.
TEST(ShrinkDepthData, SingleRowsAndColumnsHaveNoNeighbours) {
  constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  EXPECT_THAT(shrunk<float>(ShrinkDepthData, {kInfinity}, {1, 1}, {2, 2}), Each(kInfinity));
  EXPECT_THAT(shrunk<float>(ShrinkDepthData, {3, 5, kNan, kNan}, {2, 1}, {2, 2}),
              ElementsAre(3, 4, 3, 4));
  EXPECT_THAT(shrunk<float>(ShrinkDepthData, {3, 5, kNan}, {1, 2}, {1, 2}), ElementsAre(3, 4));
}

template <typename T, typename Sample>
void leavesEmptyPlanesAlone(void (*shrink)(const Sample*, Sample*, int, int, int, int)) {
  const Size full = {2, 2};
  for (const Size empty : {Size{0, 2}, Size{2, 0}, Size{-1, 2}, Size{2, -1}}) {
    EXPECT_THAT(shrunk<T>(shrink, {1, 1, 1, 1}, full, empty), ElementsAre());
    EXPECT_THAT(shrunk<T>(shrink, {}, empty, full), Each(PageBuffer<T>::unwritten()));
  }
  Sample sample = {};
  shrink(nullptr, &sample, 1, 1, 1, 1);
  shrink(&sample, nullptr, 1, 1, 1, 1);
}

TEST(Shrink, EmptyPlanesAreLeftAlone) {
  leavesEmptyPlanesAlone<float>(ShrinkDepthData);
  leavesEmptyPlanesAlone<uint8_t>(ShrinkImage);
  leavesEmptyPlanesAlone<uint8_t>(ShrinkBWImage);
}

}  // namespace
