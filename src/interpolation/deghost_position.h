// Where samples of the first frame lie in the guide, and what de-ghosting weighs them with.
#ifndef VELMORA_SRC_INTERPOLATION_DEGHOST_POSITION_H
#define VELMORA_SRC_INTERPOLATION_DEGHOST_POSITION_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "interpolation/functions.h"

namespace velmora {

/// A sample's position in the guide: that of its block's top-left sample, read from the maps, plus
/// its place in the block; all samples of a block share the fraction.
struct GuidePosition {
  int32_t x, y;
  int32_t fractionX, fractionY;  // 0 .. 255

  /// @param block   first column of the block
  /// @param c, r    place in the block
  static GuidePosition of(const DeghostRow& row, int32_t block, int32_t c, int32_t r) {
    const int32_t mapX = row.mapX[block];
    const int32_t mapY = row.mapY[block];
    return {(mapX >> 16) + c, (mapY >> 16) + r, (mapX >> 8) & 0xFF, (mapY >> 8) & 0xFF};
  }

  [[nodiscard]] bool inGuide(const DeghostRow& row) const {
    return y >= 0 && y < row.height - 1 && x >= 0 && x < row.width - 1;
  }
};

/// The chroma pairs and guide luma that a sample is compared by. A position in the guide means at
/// least 2 x 2 samples, so there is chroma. Samples of an odd last column or row have no pair of
/// their own and are compared by the nearest one.
struct DeghostSample {
  const uint8_t* own;    ///< U and V
  const uint8_t* other;  ///< U and V of the guide
  const uint8_t* guide;  ///< luma

  DeghostSample(const DeghostRow& row, int32_t x, int32_t y, const GuidePosition& position) {
    const int32_t chromaWidth = row.width / 2;
    const std::ptrdiff_t chromaPitch = std::ptrdiff_t{2} * chromaWidth;
    own = row.chroma + std::min(y / 2, row.height / 2 - 1) * chromaPitch +
          std::min(x / 2, chromaWidth - 1) * 2;
    other = row.guideChroma + position.y / 2 * chromaPitch + position.x / 2 * 2;
    guide = row.guideLuma + position.y * std::ptrdiff_t{row.width} + position.x;
  }

  /// Q12 weight of the first frame.
  [[nodiscard]] int32_t weight(const DeghostRow& row, int32_t luma) const {
    return row.weights[std::max(
        {std::abs(luma - guide[0]), std::abs(own[0] - other[0]), std::abs(own[1] - other[1])})];
  }
};

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_DEGHOST_POSITION_H
