// The de-ghosting of a row of 4 x 4 blocks.
#include <algorithm>
#include <cstddef>
#include <cstdlib>

#include "interpolation/deghost_position.h"
#include "interpolation/function_sets.h"

namespace velmora::scalar {
namespace {

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

  if (!position.inGuide(row)) {
    if (ownsPair) {
      row.newChroma[pair] = row.chroma[pair];
      row.newChroma[pair + 1] = row.chroma[pair + 1];
    }
    return;
  }
  const DeghostSample sample(row, x, y, position);
  uint8_t& luma = row.luma[y * pitch + x];
  const int32_t weight = sample.weight(row, luma);
  luma = blended(weight, luma, bilinear(sample.guide, row.width, position));
  if (ownsPair) {
    row.newChroma[pair] = blended(weight, sample.own[0], sample.other[0]);
    row.newChroma[pair + 1] = blended(weight, sample.own[1], sample.other[1]);
  }
}

}  // namespace

void deghostBlocks(const DeghostRow& row, int32_t begin, int32_t end) {
  for (int32_t block = begin; block < end; block += 4) {
    const int32_t columns = std::min(4, end - block);
    for (int32_t r = 0; r < row.rows; ++r) {
      for (int32_t c = 0; c < columns; ++c) {
        deghostSample(row, block + c, row.firstRow + r, GuidePosition::of(row, block, c, r));
      }
    }
  }
}

}  // namespace velmora::scalar
