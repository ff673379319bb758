#include <gtest/gtest.h>

#include <vector>

#include "registration/feature_support.h"
#include "support/guarded_buffer.h"

namespace velmora::test {
namespace {

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

/// A layer of a picture; every entry shows whether it was written.
struct Layer {
  const Picture& picture;
  int32_t size, step, cols, rows;

  Layer(const Picture& p, int32_t filterSize, int32_t gridStep)
      : picture(p),
        size(filterSize),
        step(gridStep),
        cols(p.width / std::max(step, 1)),
        rows(p.height / std::max(step, 1)) {}

  [[nodiscard]] std::vector<int32_t> computed(const Integral& integral) const {
    GuardedBuffer<int32_t> det(static_cast<std::size_t>(cols) * rows);
    tagOctaveLayer layer = {det.data(), size, step, cols, rows};
    CalcLayerDet_0123_neon(&integral.record, &layer);
    EXPECT_TRUE(det.intact()) << size << ", " << step << ": " << cols << " x " << rows;
    return det.values();
  }
  [[nodiscard]] std::vector<int32_t> computed() const { return computed(Integral(picture)); }

  /// Responses at the grid points that have room, nothing elsewhere.
  [[nodiscard]] std::vector<int32_t> expected(const Filter& f) const {
    std::vector<int32_t> plane(static_cast<std::size_t>(cols) * rows,
                               GuardedBuffer<int32_t>::unwritten());
    const int32_t border = f.size / 2 / step;
    for (int32_t i = 0; i * step + f.size <= picture.height && border + i < rows; ++i) {
      for (int32_t j = 0; j * step + f.size <= picture.width && border + j < cols; ++j) {
        plane[static_cast<std::size_t>(border + i) * cols + border + j] =
            response(picture, f, i * step, j * step);
      }
    }
    return plane;
  }
};

TEST(CalcLayerDet, EqualsSumsOfPixels) {
  for (const Filter& f : kFilters) {
    // Steps of octaves 0, 1 and 2; sizes with one grid point and with some.
    for (const int32_t step : {1, 2, 4}) {
      for (const int32_t more : {0, 1, 6}) {
        if (f.size > 100 && step + more != 2) continue;
        const Picture picture = noise(f.size + 2 * more, f.size + more, 11);
        const Layer layer(picture, f.size, step);
        EXPECT_EQ(layer.computed(), layer.expected(f)) << f.size << ", " << step << ", " << more;
      }
    }
  }
  for (int32_t more = 0; more <= 36; ++more) {  // across vector lengths
    const Picture picture = noise(9 + more, 10, static_cast<uint64_t>(more));
    const Layer layer(picture, 9, 1);
    EXPECT_EQ(layer.computed(), layer.expected(kFilters[0])) << more;
  }
}

TEST(CalcLayerDet, WrapsWhereTheProductLeaves32Bits) {
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
  const Layer layer(picture, 27, 1);
  EXPECT_EQ(layer.computed(), layer.expected(kFilters[3]));
  EXPECT_LT(layer.computed()[13 * 27 + 13], 0);
}

TEST(CalcLayerDet, IsExactWhereTheIntegralImageHasWrapped) {
  const Picture picture = noise(40, 30, 13);
  Integral integral(picture);
  for (int32_t& sum : integral.sums)  // a constant drops out of every box sum
    sum = low32(int64_t{sum} + 0x7FFFFF00);
  const Layer layer(picture, 9, 1);
  EXPECT_EQ(layer.computed(integral), layer.expected(kFilters[0]));
}

TEST(CalcLayerDet, WritesNothingWithoutAGridPoint) {
  const Picture picture = noise(20, 12, 14);
  const std::vector<int32_t> untouched(20 * 12, GuardedBuffer<int32_t>::unwritten());
  for (const int32_t size : {13, 15, 21, 27, 0x7FFFFFFF, 8, 3, 1, 0, -9})
    EXPECT_EQ(Layer(picture, size, 1).computed(), untouched) << size;
  for (const int32_t step : {0, -1})
    EXPECT_EQ(Layer(picture, 9, step).computed(), untouched) << step;
}

TEST(CalcLayerDet, StaysInsideAPlaneThatIsTooSmall) {
  const Picture picture = noise(30, 30, 15);
  for (const int32_t cols : {0, 1, 4, 5, 8, 29}) {
    for (const int32_t rows : {0, 1, 5, 9}) {
      Layer layer(picture, 9, 1);
      layer.cols = cols;
      layer.rows = rows;
      EXPECT_EQ(layer.computed(), layer.expected(kFilters[0])) << cols << " x " << rows;
    }
  }
}

TEST(CalcLayerDet, HasThreadJobsThatDoTheSame) {
  const Picture picture = noise(30, 20, 16);
  Integral integral(picture);
  const std::vector<int32_t> expected = Layer(picture, 15, 1).expected(kFilters[1]);
  for (const auto job : {CalcLayerDet_0123_neon_multi, CalcLayerDet_0123_neon_multi_dxdydxy,
                         CalcLayerDet_0123_neon_multi_dxdy_dxy}) {
    std::vector<int32_t> det(expected.size(), GuardedBuffer<int32_t>::unwritten());
    tagOctaveLayer layer = {det.data(), 15, 1, 30, 20};
    LayerDetJob record = {&integral.record, &layer};
    job(&record, 14);
    EXPECT_EQ(det, expected);
  }
}

}  // namespace
}  // namespace velmora::test
