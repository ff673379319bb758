#include <gtest/gtest.h>

#include <vector>

#include "registration/feature_support.h"
#include "support/guarded_buffer.h"

namespace {

using velmora::test::GuardedBuffer;
using velmora::test::noise;
using velmora::test::Picture;

std::vector<uint8_t> reduced(Picture& picture) {
  GuardedBuffer<uint8_t> out(static_cast<std::size_t>(picture.width / 4) * (picture.height / 4));
  DownScaleNewX16_neon_surf_asm(picture.samples.data(), picture.height, picture.width, out.data());
  EXPECT_TRUE(out.intact()) << picture.width << " x " << picture.height;
  return out.values();
}

TEST(BoxDownscale, RoundsTheMeanOfABlockHalfUp) {
  const struct {
    int32_t sum;
    uint8_t mean;
  } cases[] = {{0, 0}, {7, 0}, {8, 1}, {23, 1}, {24, 2}, {16 * 255 - 8, 255}, {16 * 255, 255}};
  for (const auto& c : cases) {
    Picture block(4, 4);
    for (int32_t i = 0, left = c.sum; i < 16; ++i) {
      block.samples[i] = static_cast<uint8_t>(std::min(left, 255));
      left -= block.samples[i];
    }
    EXPECT_EQ(reduced(block), std::vector<uint8_t>{c.mean}) << c.sum;
  }
}

TEST(BoxDownscale, TakesWholeBlocksOnly) {
  // Widths around the vector lengths that variants may use, heights with dropped rows.
  for (const int32_t width : {1, 3, 4, 5, 7, 8, 28, 31, 32, 33, 36, 63, 64, 67, 100, 131}) {
    for (const int32_t height : {1, 3, 4, 7, 8, 13}) {
      Picture picture = noise(width, height, static_cast<uint64_t>(width * 100 + height));
      std::vector<uint8_t> expected;
      for (int32_t y = 0; y + 4 <= height; y += 4) {
        for (int32_t x = 0; x + 4 <= width; x += 4)
          expected.push_back(static_cast<uint8_t>((picture.box(y, y + 4, x, x + 4) + 8) / 16));
      }
      EXPECT_EQ(reduced(picture), expected) << width << " x " << height;
    }
  }
}

}  // namespace
