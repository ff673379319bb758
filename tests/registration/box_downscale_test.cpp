#include <gtest/gtest.h>

#include "registration/synthetic_scene.h"
#include "support/page_buffer.h"

namespace velmora::test {
namespace {

TEST(BoxDownscale, RoundsTheMeansOfWholeBlocksHalfUp) {
  Frame frame(11, 9, 255);  // the last three columns and the last row belong to no block
  for (int32_t row = 0; row < 2; ++row) {
    for (int32_t column = 0; column < 2; ++column)
      frame.paint(4 * column, 4 * row, 4, static_cast<uint8_t>(60 * row + 30 * column));
  }
  frame.at(3, 0) = 7;   // 7 / 16 rounds down,
  frame.at(0, 7) += 8;  // 8 / 16 up
  PageBuffer<uint8_t> out(4);
  DownScaleNewX16_neon_surf_asm(frame.data.data(), 9, 11, out.data());
  EXPECT_EQ(std::vector<uint8_t>(out.data(), out.data() + 4),
            (std::vector<uint8_t>{0, 31, 60, 90}));
}

}  // namespace
}  // namespace velmora::test
