#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "registration/feature_support.h"
#include "support/digest.h"
#include "support/page_buffer.h"

namespace velmora::test {
namespace {

/// The plane of a picture of noise, the same by all forms, added to a digest; kUnwritten where the
/// filter or its response has no room.
void addPlane(Digest& digest, int32_t size, int32_t step, int32_t width, int32_t height,
              int32_t cols, int32_t rows) {
  Integral integral(noise(width, height, 11));
  for (int32_t& sum : integral.sums)  // as if it had wrapped: a constant drops out of every box
    sum = static_cast<int32_t>(static_cast<uint32_t>(sum) + 0x7FFFFF00u);
  PageBuffer<int32_t> det(static_cast<std::size_t>(cols) * rows);
  tagOctaveLayer layer = {det.data(), size, step, cols, rows};
  LayerDetJob job = {&integral.record, &layer};
  std::vector<int32_t> first;
  for (const auto form :
       {decltype(&CalcLayerDet_0123_neon_multi){nullptr}, CalcLayerDet_0123_neon_multi,
        CalcLayerDet_0123_neon_multi_dxdydxy, CalcLayerDet_0123_neon_multi_dxdy_dxy}) {
    std::fill_n(det.data(), det.size(), kUnwritten);
    if (form == nullptr) {
      CalcLayerDet_0123_neon(&integral.record, &layer);
      first = det.values();
    } else {
      form(&job, 14);
    }
    EXPECT_EQ(det.values(), first) << size << ", " << step << ": " << cols << " x " << rows;
    EXPECT_TRUE(det.intact());
  }
  digest.addAll(first);
}

// The digests are those of responses from sums of pixels, with the filters worked out by hand.

TEST(CalcLayerDet, EqualsSumsOfPixels) {
  Digest digest;
  // The scale of the determinant is 0 for 405 and leaves 64 bits for 1023.
  for (const int32_t size : {9, 15, 21, 27, 33, 18, 30, 42, 54, 36, 405, 1023}) {
    // Steps of octaves 0, 1 and 2; sizes with one grid point and with some.
    for (const int32_t step : {1, 2, 4}) {
      for (const int32_t more : {0, 1, 6}) {
        if (size > 100 && step + more != 2) continue;
        const int32_t width = size + 2 * more, height = size + more;
        addPlane(digest, size, step, width, height, width / step, height / step);
      }
    }
  }
  for (int32_t width = 9; width <= 45; ++width)  // across vector lengths
    addPlane(digest, 9, 1, width, 10, width, 10);
  EXPECT_EQ(digest.value(), 554465017u);
}

TEST(CalcLayerDet, WritesOnlyWhatHasRoom) {
  Digest digest;
  for (const int32_t size : {13, 15, 21, 27, 0x7FFFFFFF, 8, 3, 1, 0, -9})
    addPlane(digest, size, 1, 20, 12, 20, 12);
  for (const int32_t step : {0, -1})
    addPlane(digest, 9, step, 20, 12, 20, 12);
  for (const int32_t cols : {0, 1, 4, 5, 8, 29}) {
    for (const int32_t rows : {0, 1, 5, 9})
      addPlane(digest, 9, 1, 30, 30, cols, rows);
  }
  EXPECT_EQ(digest.value(), 1974406308u);
}

}  // namespace
}  // namespace velmora::test
