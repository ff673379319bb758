#include "colour.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "support/random.h"

namespace velmora::tool {
namespace {

using Rgb = std::array<int, 3>;

// BT.601 with full range, from its definition.
Rgb yuvOf(Rgb c) {
  const double y = 0.299 * c[0] + 0.587 * c[1] + 0.114 * c[2];
  return {static_cast<int>(std::lround(y)), static_cast<int>(std::lround(128 + (c[2] - y) / 1.772)),
          static_cast<int>(std::lround(128 + (c[0] - y) / 1.402))};
}

std::vector<uint8_t> flat(Size size, Rgb colour) {
  std::vector<uint8_t> rgb;
  for (int i = 0; i < size.width * size.height; ++i) {
    for (const int c : colour)
      rgb.push_back(static_cast<uint8_t>(c));
  }
  return rgb;
}

constexpr Rgb kColours[] = {{0, 0, 0},     {255, 255, 255}, {200, 40, 44}, {40, 160, 60},
                            {30, 70, 200}, {250, 210, 20},  {255, 0, 0},   {0, 0, 255}};

TEST(Colour, FollowsTheFullRangeBt601MatrixAndBack) {
  for (const Rgb& colour : kColours) {
    const Picture picture = fromRgb({7, 5}, flat({7, 5}, colour));
    const Rgb expected = yuvOf(colour);
    EXPECT_NEAR(picture.y.row(4)[6], expected[0], 1);
    EXPECT_NEAR(picture.u.row(2)[3], std::min(expected[1], 255), 2);
    EXPECT_NEAR(picture.v.row(2)[3], std::min(expected[2], 255), 2);
    std::vector<uint8_t> back(7 * 5 * 3);
    toRgb(picture, 0, 5, back);
    for (std::size_t i = 0; i < back.size(); ++i)
      EXPECT_NEAR(back[i], colour[i % 3], 4) << "byte " << i;
  }
}

Picture greyRamp() {
  Picture picture({256, 2});
  for (int x = 0; x < 256; ++x)
    picture.y.row(0)[x] = picture.y.row(1)[x] = static_cast<uint8_t>(x);
  return picture;
}

TEST(Colour, GreyStaysGreyExactlyAndLimitedRangeIsStretched) {
  Picture picture = greyRamp();
  std::vector<uint8_t> rgb(256 * 2 * 3);
  toRgb(picture, 0, 2, rgb);
  for (std::size_t i = 0; i < rgb.size(); ++i)
    ASSERT_EQ(rgb[i], i / 3 % 256) << i;
  picture.range = Range::limited;
  toRgb(picture, 0, 2, rgb);
  for (std::size_t i = 0; i < rgb.size(); ++i)
    ASSERT_NEAR(rgb[i], std::clamp((double(i / 3 % 256) - 16) * 255 / 219, 0.0, 255.0), 1) << i;
}

TEST(Colour, StripsGiveTheSameRowsAsTheWhole) {
  velmora::test::Random random(3);
  Picture picture({33, 21});
  for (Plane* plane : {&picture.y, &picture.u, &picture.v})
    plane->samples = random.bytes(plane->samples.size());
  std::vector<uint8_t> whole(33 * 21 * 3);
  std::vector<uint8_t> pieces(whole.size());
  toRgb(picture, 0, 21, whole);
  for (int first = 0; first < 21; first += 4) {
    const int rows = std::min(4, 21 - first);
    toRgb(picture, first, rows,
          std::span(pieces).subspan(std::size_t(first) * 99, std::size_t(rows) * 99));
  }
  EXPECT_EQ(pieces, whole);
}

TEST(Colour, RangesConvertBothWays) {
  Picture picture = greyRamp();
  picture.u.samples[0] = 0;
  picture.u.samples[1] = 255;
  convertRange(picture, Range::limited);
  EXPECT_EQ(picture.y.row(0)[0], 16);
  EXPECT_EQ(picture.y.row(0)[255], 235);
  EXPECT_EQ(picture.u.samples[0], 16);
  EXPECT_EQ(picture.u.samples[1], 240);
  EXPECT_EQ(picture.u.samples[2], 128);
  convertRange(picture, Range::full);
  for (int x = 0; x < 256; ++x)
    EXPECT_NEAR(picture.y.row(0)[x], x, 1);
  EXPECT_EQ(picture.range, Range::full);
}

TEST(Colour, ChromaIsTheMeanOfItsBlock) {
  Plane plane({4, 2});
  plane.samples = {10, 20, 100, 101, 30, 40, 102, 103};
  const Plane half = reduced(plane, {2, 1});
  EXPECT_NEAR(half.samples[0], 25, 1);
  EXPECT_NEAR(half.samples[1], 102, 1);
}

}  // namespace
}  // namespace velmora::tool
