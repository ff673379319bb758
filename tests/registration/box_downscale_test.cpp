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
  const auto reduced = [](Frame picture) {
    const auto count = static_cast<std::size_t>(picture.width / 4 * (picture.height / 4));
    PageBuffer<uint8_t> out(count);
    DownScaleNewX16_neon_surf_asm(picture.data.data(), picture.height, picture.width, out.data());
    return std::vector<uint8_t>(out.data(), out.data() + count);
  };
  EXPECT_EQ(reduced(frame), (std::vector<uint8_t>{0, 31, 60, 90}));
  EXPECT_EQ(reduced(Frame(4, 7, 50)), std::vector<uint8_t>{50});
  EXPECT_EQ(reduced(Frame(3, 8)).size(), 0u);
}

}  // namespace
}  // namespace velmora::test
