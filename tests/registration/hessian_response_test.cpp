#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "registration/feature_support.h"
#include "support/page_buffer.h"

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
int32_t response(Frame& frame, const Filter& f, int32_t y, int32_t x) {
  const auto box = [&](int32_t y0, int32_t y1, int32_t x0, int32_t x1) {
    int64_t sum = 0;
    for (int32_t row = y0; row < y1; ++row) {
      for (int32_t column = x0; column < x1; ++column)
        sum += frame.at(y + row, x + column);
    }
    return sum;
  };
  const int32_t l = f.lobe, a0 = f.inset, a1 = f.inset + f.across;
  const int64_t dxx = box(a0, a1, 0, l) - 2 * box(a0, a1, l, 2 * l) + box(a0, a1, 2 * l, 3 * l);
  const int64_t dyy = box(0, l, a0, a1) - 2 * box(l, 2 * l, a0, a1) + box(2 * l, 3 * l, a0, a1);
  const int32_t c0 = f.corner, c1 = c0 + f.quadrant, c2 = c1 + f.quadrant;
  const int64_t dxy =
      box(c0, c1, c0, c1) - box(c0, c1, c1, c2) - box(c1, c2, c0, c1) + box(c1, c2, c1, c2);
  const int64_t product = low32(dxx * dyy);
  return low32(int64_t{low32((product * f.direct) >> 16)} - low32((dxy * dxy * f.mixed) >> 16));
}

/// Expects responses in a plane of a picture of noise wherever the filter and its response have
/// room, and nothing elsewhere.
void expectResponses(const Filter& f, int32_t step, int32_t width, int32_t height, int32_t cols,
                     int32_t rows) {
  Frame frame = noise(width, height, 11);
  Integral integral(frame);
  for (int32_t& sum : integral.sums)  // as if it had wrapped: a constant drops out of every box
    sum = low32(int64_t{sum} + 0x7FFFFF00);
  std::vector<int32_t> expected(static_cast<std::size_t>(cols) * rows, kUnwritten);
  if (f.size >= 9 && step > 0) {
    const int32_t border = f.size / 2 / step;
    for (int32_t i = 0; i * step + f.size <= height && border + i < rows; ++i) {
      for (int32_t j = 0; j * step + f.size <= width && border + j < cols; ++j) {
        expected[static_cast<std::size_t>(border + i) * cols + border + j] =
            response(frame, f, i * step, j * step);
      }
    }
  }
  PageBuffer<int32_t> det(expected.size());
  tagOctaveLayer layer = {det.data(), f.size, step, cols, rows};
  LayerDetJob job = {&integral.record, &layer};
  const auto expectPlane = [&](auto compute) {
    std::fill_n(det.data(), expected.size(), kUnwritten);
    compute();
    EXPECT_EQ(std::vector<int32_t>(det.data(), det.data() + expected.size()), expected)
        << f.size << ", " << step << ": " << cols << " x " << rows;
    EXPECT_TRUE(det.intact());
  };
  expectPlane([&] { CalcLayerDet_0123_neon(&integral.record, &layer); });
  for (const auto form : {CalcLayerDet_0123_neon_multi, CalcLayerDet_0123_neon_multi_dxdydxy,
                          CalcLayerDet_0123_neon_multi_dxdy_dxy})
    expectPlane([&] { form(&job, 14); });
}

TEST(CalcLayerDet, EqualsSumsOfPixels) {
  for (const Filter& f : kFilters) {
    // Steps of octaves 0, 1 and 2; sizes with one grid point and with some.
    for (const int32_t step : {1, 2, 4}) {
      for (const int32_t more : {0, 1, 6}) {
        if (f.size > 100 && step + more != 2) continue;
        const int32_t width = f.size + 2 * more, height = f.size + more;
        expectResponses(f, step, width, height, width / step, height / step);
      }
    }
  }
  for (int32_t width = 9; width <= 45; ++width)  // across vector lengths
    expectResponses(kFilters[0], 1, width, 10, width, 10);
}

TEST(CalcLayerDet, WritesOnlyWhatHasRoom) {
  for (const int32_t size : {13, 15, 21, 27, 0x7FFFFFFF, 8, 3, 1, 0, -9})
    expectResponses({size, 0, 0, 0, 0, 0, 0, 0}, 1, 20, 12, 20, 12);
  for (const int32_t step : {0, -1})
    expectResponses(kFilters[0], step, 20, 12, 20, 12);
  for (const int32_t cols : {0, 1, 4, 5, 8, 29}) {
    for (const int32_t rows : {0, 1, 5, 9})
      expectResponses(kFilters[0], 1, 30, 30, cols, rows);
  }
}

}  // namespace
}  // namespace velmora::test
