#include "colour.h"

#include <gtest/gtest.h>

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

constexpr std::array<Rgb, 9> kColours = {{{0, 0, 0},
                                          {255, 255, 255},
                                          {128, 128, 128},
                                          {200, 40, 44},
                                          {40, 160, 60},
                                          {30, 70, 200},
                                          {250, 210, 20},
                                          {255, 0, 0},
                                          {0, 0, 255}}};

TEST(Colour, FollowsTheFullRangeBt601Matrix) {
  for (const Rgb& colour : kColours) {
    const Picture picture = fromRgb({5, 3}, flat({5, 3}, colour));
    const Rgb expected = yuvOf(colour);
    EXPECT_NEAR(picture.y.row(2)[4], expected[0], 1);
    EXPECT_NEAR(picture.u.row(1)[2], std::min(expected[1], 255), 2);
    EXPECT_NEAR(picture.v.row(1)[2], std::min(expected[2], 255), 2);
  }
}

TEST(Colour, FlatColoursComeBack) {
  for (const Rgb& colour : kColours) {
    const Size size = {7, 5};
    std::vector<uint8_t> back(7 * 5 * 3);
    toRgb(fromRgb(size, flat(size, colour)), 0, 5, back);
    for (std::size_t i = 0; i < back.size(); ++i)
      EXPECT_NEAR(back[i], colour[i % 3], 4) << "byte " << i;
  }
}

TEST(Colour, GreyStaysGreyExactly) {
  const Size size = {256, 2};
  Picture picture(size);
  for (int x = 0; x < 256; ++x)
    picture.y.row(0)[x] = picture.y.row(1)[x] = static_cast<uint8_t>(x);
  std::vector<uint8_t> rgb(256 * 2 * 3);
  toRgb(picture, 0, 2, rgb);
  for (std::size_t i = 0; i < rgb.size(); ++i)
    ASSERT_EQ(rgb[i], i / 3 % 256) << i;
}

TEST(Colour, LimitedRangeIsStretchedOnTheWayToRgb) {
  Picture picture({2, 2});
  picture.range = Range::limited;
  picture.y.samples = {16, 235, 16, 235};
  std::vector<uint8_t> rgb(12);
  toRgb(picture, 0, 2, rgb);
  for (std::size_t i = 0; i < 12; ++i)
    EXPECT_NEAR(rgb[i], i % 6 < 3 ? 0 : 255, 1);
}

TEST(Colour, StripsGiveTheSameRowsAsTheWhole) {
  velmora::test::Random random(3);
  for (const Size size : {Size{33, 21}, Size{16, 16}, Size{1, 9}}) {
    Picture picture(size);
    picture.y.samples = random.bytes(picture.y.samples.size());
    picture.u.samples = random.bytes(picture.u.samples.size());
    picture.v.samples = random.bytes(picture.v.samples.size());
    const std::size_t pitch = std::size_t(size.width) * 3;
    std::vector<uint8_t> whole(pitch * std::size_t(size.height));
    toRgb(picture, 0, size.height, whole);
    for (const int strip : {2, 4, 6}) {
      std::vector<uint8_t> pieces(whole.size());
      for (int first = 0; first < size.height; first += strip) {
        const int rows = std::min(strip, size.height - first);
        toRgb(picture, first, rows,
              std::span(pieces).subspan(pitch * std::size_t(first), pitch * std::size_t(rows)));
      }
      EXPECT_EQ(pieces, whole) << size.width << "x" << size.height << " by " << strip;
    }
  }
}

TEST(Colour, RangesConvertBothWays) {
  Picture picture({256, 1});
  for (int x = 0; x < 256; ++x)
    picture.y.row(0)[x] = static_cast<uint8_t>(x);
  picture.u.samples[0] = 0;
  picture.u.samples[1] = 255;
  Picture limited = picture;
  convertRange(limited, Range::limited);
  EXPECT_EQ(limited.y.row(0)[0], 16);
  EXPECT_EQ(limited.y.row(0)[255], 235);
  EXPECT_EQ(limited.u.samples[0], 16);
  EXPECT_EQ(limited.u.samples[1], 240);
  EXPECT_EQ(limited.u.samples[2], 128);
  convertRange(limited, Range::full);
  for (int x = 0; x < 256; ++x)
    EXPECT_NEAR(limited.y.row(0)[x], x, 1);
  EXPECT_EQ(limited.range, Range::full);
}

TEST(Colour, ChromaIsTheMeanOfItsBlock) {
  Plane plane({4, 2});
  plane.samples = {10, 20, 100, 101, 30, 40, 102, 103};
  const Plane half = resizedChroma(plane, {2, 1});
  EXPECT_NEAR(half.samples[0], 25, 1);
  EXPECT_NEAR(half.samples[1], 102, 1);
}

}  // namespace
}  // namespace velmora::tool
