#include "burst/handle/region_weights.h"

#include <algorithm>
#include <numeric>

namespace velmora::burst {
namespace {

/// The two chroma samples on either side of a luma sample along one axis; the first is nearer.
struct Neighbours {
  int32_t near;
  int32_t far;
};

Neighbours neighbours(int32_t luma, int32_t chromaCount) {
  const int32_t near = luma / 2;
  const int32_t far = luma % 2 == 0 ? near - 1 : near + 1;
  return {near, std::clamp(far, 0, chromaCount - 1)};
}

}  // namespace

uint64_t sumOfWeights(const Weights& weights, const Rect& region) {
  const Plane<uint8_t> half = weights.half.plane();
  const int32_t first = region.left / 2;
  const int32_t last = (region.right - 1) / 2;
  uint64_t sum = 0;
  for (int32_t y = region.top / 2; y <= (region.bottom - 1) / 2; ++y) {
    const uint8_t* const row = half.row(y);
    // Up to 32768 weights of 255.
    uint32_t ofRow = 2 * std::accumulate(row + first, row + last + 1, uint32_t{0});
    if (region.left % 2 != 0) ofRow -= row[first];
    if (region.right % 2 != 0) ofRow -= row[last];
    const int32_t rows = std::min(region.bottom, 2 * y + 2) - std::max(region.top, 2 * y);
    sum += static_cast<uint64_t>(ofRow) * static_cast<uint64_t>(rows);
  }
  return sum;
}

void drawWeights(const Weights& weights, Size luma, uint8_t* out, std::ptrdiff_t stride) {
  const Plane<uint8_t> half = weights.half.plane();
  for (int32_t y = 0; y < luma.height; ++y, out += stride) {
    const Neighbours rows = neighbours(y, half.size.height);
    const uint8_t* const near = half.row(rows.near);
    const uint8_t* const far = half.row(rows.far);
    for (int32_t x = 0; x < luma.width; ++x) {
      const Neighbours columns = neighbours(x, half.size.width);
      const int32_t sum = 3 * (3 * near[columns.near] + near[columns.far]) + 3 * far[columns.near] +
                          far[columns.far];
      out[x] = static_cast<uint8_t>((sum + 8) / 16);
    }
  }
}

}  // namespace velmora::burst
