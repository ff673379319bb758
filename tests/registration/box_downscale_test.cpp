#include <gtest/gtest.h>

#include "registration/feature_support.h"
#include "support/guarded_buffer.h"

namespace velmora::test {
namespace {

TEST(BoxDownscale, RoundsTheMeansOfWholeBlocksHalfUp) {
  // Widths around the vector lengths that variants may use, heights with dropped rows.
  for (const int32_t width : {1, 3, 4, 5, 7, 8, 28, 31, 32, 33, 36, 63, 64, 67, 100, 131}) {
    for (const int32_t height : {1, 3, 4, 7, 8, 13}) {
      Picture picture = noise(width, height, static_cast<uint64_t>(width * 100 + height));
      GuardedBuffer<uint8_t> out(static_cast<std::size_t>(width / 4) * (height / 4));
      DownScaleNewX16_neon_surf_asm(picture.samples.data(), height, width, out.data());
      EXPECT_EQ(out.values(), reduced(picture).samples) << width << " x " << height;
      EXPECT_TRUE(out.intact()) << width << " x " << height;
    }
  }
}

}  // namespace
}  // namespace velmora::test
