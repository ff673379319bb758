// The de-ghosting of a row of 4 x 4 blocks.
#include <algorithm>
#include <cstddef>
#include <cstdlib>

#include "interpolation/kernels.h"

namespace velmora::scalar {
namespace {

/// Where a block lies in the guide: the position of its top-left sample and its fraction, which all
/// samples of the block share.
struct GuidePosition {
  int32_t x, y;
  int32_t fractionX, fractionY;  // 0 .. 255
};

/// The weights of an axis are 256 - f and f - 1: they sum to 255, and without a fraction the next
/// sample is subtracted once. The small loss of brightness is kept, since all pictures of the
/// library have it. A row of weights gives -255 .. 65280, the result lies in -2 .. 255.
int32_t bilinear(const uint8_t* guide, int32_t pitch, const GuidePosition& position) {
  const int32_t a = 256 - position.fractionX;
  const int32_t b = 255 - a;
  const int32_t c = 256 - position.fractionY;
  const int32_t d = 255 - c;
  const uint8_t* next = guide + pitch;
  const int32_t upper = a * guide[0] + b * guide[1];
  const int32_t lower = a * next[0] + b * next[1];
  return (upper * c + lower * d + 32768) >> 16;
}

/// weight of 4096 keeps `own`, 0 takes `other`. With any 16-bit weight below 2^25 in magnitude.
uint8_t blended(int32_t weight, int32_t own, int32_t other) {
  return static_cast<uint8_t>(
      std::clamp((weight * own + (4096 - weight) * other + 2048) >> 12, 0, 255));
}

void deghostSample(const DeghostRow& row, int32_t x, int32_t y, const GuidePosition& position) {
  const std::ptrdiff_t pitch = row.width;
  const int32_t chromaWidth = row.width / 2;
  const int32_t chromaHeight = row.height / 2;
  const std::ptrdiff_t chromaPitch = std::ptrdiff_t{2} * chromaWidth;
  const bool ownsPair = x % 2 == 0 && y % 2 == 0 && x / 2 < chromaWidth && y / 2 < chromaHeight;
  const std::ptrdiff_t pair = y / 2 * chromaPitch + x / 2 * 2;

  const bool inGuide = position.y >= 0 && position.y < row.height - 1 && position.x >= 0 &&
                       position.x < row.width - 1;
  if (!inGuide) {
    if (ownsPair) {
      row.newChroma[pair] = row.chroma[pair];
      row.newChroma[pair + 1] = row.chroma[pair + 1];
    }
    return;
  }
  // A position in the guide means at least 2 x 2 samples, so there is chroma. Samples of an odd
  // last column or row have no pair of their own and are compared by the nearest one.
  const uint8_t* own = row.chroma + std::min(y / 2, chromaHeight - 1) * chromaPitch +
                       std::min(x / 2, chromaWidth - 1) * 2;
  const uint8_t* other = row.guideChroma + position.y / 2 * chromaPitch + position.x / 2 * 2;
  const uint8_t* guide = row.guideLuma + position.y * pitch + position.x;
  uint8_t& luma = row.luma[y * pitch + x];
  const int32_t difference = std::max(
      {std::abs(luma - guide[0]), std::abs(own[0] - other[0]), std::abs(own[1] - other[1])});
  const int32_t weight = row.weights[difference];
  luma = blended(weight, luma, bilinear(guide, row.width, position));
  if (ownsPair) {
    row.newChroma[pair] = blended(weight, own[0], other[0]);
    row.newChroma[pair + 1] = blended(weight, own[1], other[1]);
  }
}

}  // namespace

void deghostBlocks(const DeghostRow& row, int32_t begin, int32_t end) {
  for (int32_t block = begin; block < end; block += 4) {
    const int32_t mapX = row.mapX[block];
    const int32_t mapY = row.mapY[block];
    const int32_t columns = std::min(4, end - block);
    for (int32_t r = 0; r < row.rows; ++r) {
      for (int32_t c = 0; c < columns; ++c) {
        deghostSample(row, block + c, row.firstRow + r,
                      {(mapX >> 16) + c, (mapY >> 16) + r, (mapX >> 8) & 0xFF, (mapY >> 8) & 0xFF});
      }
    }
  }
}

}  // namespace velmora::scalar
