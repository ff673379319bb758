#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "registration/feature_support.h"
#include "support/guarded_buffer.h"

namespace {

using velmora::test::GuardedBuffer;
using velmora::test::Integral;
using velmora::test::noise;
using velmora::test::Picture;

/// Geometry and factors of one filter size, worked out by hand.
struct Filter {
  int32_t size, lobe, inset, across, corner, quadrant;
  int64_t direct, mixed;
};
constexpr Filter kFilters[] = {
    {9, 3, 2, 5, 0, 4, 4660, 3317},
    {15, 5, 3, 9, 1, 6, 517, 655},
    {21, 7, 5, 11, 1, 9, 176, 129},
    {27, 9, 6, 15, 2, 11, 57, 58},
    {33, 11, 7, 19, 3, 13, 24, 29},
    {18, 6, 4, 10, 2, 7, 291, 353},
    {30, 10, 7, 16, 3, 12, 40, 40},
    {42, 14, 9, 24, 5, 16, 9, 12},
    {54, 18, 12, 30, 6, 21, 3, 4},
    {36, 12, 8, 20, 4, 14, 18, 22},
    {405, 135, 90, 225, 44, 158, 0, 0},
    {1023, 341, 227, 569, 113, 398, -1, -1},  // the scale of its determinant leaves 64 bits
};

int32_t low32(int64_t value) {
  return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(value)));
}

/// The response of the filter whose top-left pixel is (y, x), from sums of pixels.
int32_t response(const Picture& picture, const Filter& f, int32_t y, int32_t x) {
  const int32_t l = f.lobe;
  const auto box = [&](int32_t y0, int32_t y1, int32_t x0, int32_t x1) {
    return picture.box(y + y0, y + y1, x + x0, x + x1);
  };
  const int32_t a0 = f.inset, a1 = f.inset + f.across;
  const int64_t dxx = box(a0, a1, 0, l) - 2 * box(a0, a1, l, 2 * l) + box(a0, a1, 2 * l, 3 * l);
  const int64_t dyy = box(0, l, a0, a1) - 2 * box(l, 2 * l, a0, a1) + box(2 * l, 3 * l, a0, a1);
  const int32_t c0 = f.corner, c1 = c0 + f.quadrant, c2 = c1 + f.quadrant;
  const int64_t dxy =
      box(c0, c1, c0, c1) - box(c0, c1, c1, c2) - box(c1, c2, c0, c1) + box(c1, c2, c1, c2);
  const int64_t product = low32(dxx * dyy);
  return low32(int64_t{low32((product * f.direct) >> 16)} - low32((dxy * dxy * f.mixed) >> 16));
}

/// All entries of a layer: responses at its grid points, canaries elsewhere.
std::vector<int32_t> expectedLayer(const Picture& picture, const Filter& f, int32_t step) {
  const int32_t cols = picture.width / step;
  const int32_t rows = picture.height / step;
  std::vector<int32_t> plane(static_cast<std::size_t>(cols) * rows,
                             GuardedBuffer<int32_t>::unwritten());
  const int32_t border = f.size / 2 / step;
  for (int32_t i = 0; i * step + f.size <= picture.height; ++i) {
    for (int32_t j = 0; j * step + f.size <= picture.width; ++j) {
      plane[static_cast<std::size_t>(border + i) * cols + border + j] =
          response(picture, f, i * step, j * step);
    }
  }
  return plane;
}

std::vector<int32_t> computedLayer(const Picture& picture, int32_t size, int32_t step) {
  Integral integral(picture);
  const int32_t cols = picture.width / step;
  const int32_t rows = picture.height / step;
  GuardedBuffer<int32_t> det(static_cast<std::size_t>(cols) * rows);
  tagOctaveLayer layer = {det.data(), size, step, cols, rows};
  CalcLayerDet_0123_neon(&integral.record, &layer);
  EXPECT_TRUE(det.intact()) << size << ", " << step;
  return det.values();
}

TEST(CalcLayerDet, EqualsSumsOfPixels) {
  for (const Filter& f : kFilters) {
    if (f.size > 100) continue;
    // Steps of octaves 0, 1 and 2; sizes with one grid point and with some.
    for (const int32_t step : {1, 2, 4}) {
      for (const int32_t more : {0, 1, 6}) {
        const Picture picture = noise(f.size + 2 * more, f.size + more, 11);
        EXPECT_EQ(computedLayer(picture, f.size, step), expectedLayer(picture, f, step))
            << "size " << f.size << ", step " << step << ", " << more;
      }
    }
  }
}

TEST(CalcLayerDet, EqualsSumsOfPixelsAcrossVectorLengths) {
  for (int32_t more = 0; more <= 36; ++more) {
    const Picture picture = noise(9 + more, 10, static_cast<uint64_t>(more));
    EXPECT_EQ(computedLayer(picture, 9, 1), expectedLayer(picture, kFilters[0], 1)) << more;
  }
}

TEST(CalcLayerDet, WrapsWhereProductsLeaveTheirBits) {
  // A bright cross over the middle lobes: Dxx = Dyy = -255 * 216, whose product wraps to a negative
  // one.
  Picture picture(27, 27, 0);
  const auto inside = [](int32_t v, int32_t from, int32_t to) { return v >= from && v < to; };
  for (int32_t y = 0; y < 27; ++y) {
    for (int32_t x = 0; x < 27; ++x) {
      const bool bright = (inside(x, 9, 18) && inside(y, 6, 21)) ||  //
                          (inside(y, 9, 18) && inside(x, 6, 21));
      picture.at(y, x) = bright ? 255 : 0;
    }
  }
  const auto plane = computedLayer(picture, 27, 1);
  EXPECT_EQ(plane, expectedLayer(picture, kFilters[3], 1));
  EXPECT_LT(plane[13 * 27 + 13], 0);

  // Sizes whose factors have wrapped: 1023 has the factors -1 and -1, 405 both 0.
  for (const Filter& large : kFilters) {
    if (large.size < 100) continue;
    const Picture wide = noise(large.size + 1, large.size + 1, 12);
    EXPECT_EQ(computedLayer(wide, large.size, 1), expectedLayer(wide, large, 1)) << large.size;
  }
}

TEST(CalcLayerDet, IsExactWhereTheIntegralImageHasWrapped) {
  const Picture picture = noise(40, 30, 13);
  Integral integral(picture);
  for (std::size_t i = 0; i < integral.sums.size(); ++i) {
    // A constant drops out of every box sum; this one takes the entries beyond 2^31.
    integral.sums[i] = low32(int64_t{integral.sums[i]} + 0x7FFFFF00);
  }
  std::vector<int32_t> det(40 * 30, GuardedBuffer<int32_t>::unwritten());
  tagOctaveLayer layer = {det.data(), 9, 1, 40, 30};
  CalcLayerDet_0123_neon(&integral.record, &layer);
  EXPECT_EQ(det, expectedLayer(picture, kFilters[0], 1));
}

TEST(CalcLayerDet, WritesNothingWithoutAGridPoint) {
  const Picture picture = noise(20, 12, 14);
  const std::vector<int32_t> untouched(20 * 12, GuardedBuffer<int32_t>::unwritten());
  for (const int32_t size : {13, 15, 21, 27, 0x7FFFFFFF, 8, 3, 1, 0, -9})
    EXPECT_EQ(computedLayer(picture, size, 1), untouched) << size;
  // A step that is no step.
  Integral integral(picture);
  GuardedBuffer<int32_t> det(20 * 12);
  for (const int32_t step : {0, -1}) {
    tagOctaveLayer layer = {det.data(), 9, step, 20, 12};
    CalcLayerDet_0123_neon(&integral.record, &layer);
    EXPECT_EQ(det.values(), untouched);
  }
}

TEST(CalcLayerDet, StaysInsideAPlaneThatIsTooSmall) {
  const Picture picture = noise(30, 30, 15);
  Integral integral(picture);
  for (const int32_t cols : {0, 1, 4, 5, 8, 29}) {
    for (const int32_t rows : {0, 1, 5, 9}) {
      GuardedBuffer<int32_t> det(static_cast<std::size_t>(cols) * rows);
      tagOctaveLayer layer = {det.data(), 9, 1, cols, rows};
      CalcLayerDet_0123_neon(&integral.record, &layer);
      EXPECT_TRUE(det.intact()) << cols << " x " << rows;
      for (int32_t r = 4; r < rows; ++r) {
        for (int32_t c = 4; c < cols && c < 26; ++c) {
          EXPECT_EQ(det.data()[r * cols + c], response(picture, kFilters[0], r - 4, c - 4));
        }
      }
    }
  }
}

TEST(CalcLayerDet, HasThreadJobsThatDoTheSame) {
  const Picture picture = noise(30, 20, 16);
  Integral integral(picture);
  const std::vector<int32_t> expected = expectedLayer(picture, kFilters[1], 1);
  for (const auto job : {CalcLayerDet_0123_neon_multi, CalcLayerDet_0123_neon_multi_dxdydxy,
                         CalcLayerDet_0123_neon_multi_dxdy_dxy}) {
    for (const int32_t slot : {12, 15}) {
      std::vector<int32_t> det(expected.size(), GuardedBuffer<int32_t>::unwritten());
      tagOctaveLayer layer = {det.data(), 15, 1, 30, 20};
      LayerDetJob record = {&integral.record, &layer};
      job(&record, slot);
      EXPECT_EQ(det, expected);
    }
  }
}

}  // namespace
