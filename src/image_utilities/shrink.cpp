// Shrinking of depth, image and mask planes.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "velmora_sr/image_utilities.h"

namespace {

bool isEmpty(const void* src, const void* dst, int inW, int inH, int outW, int outH) {
  return src == nullptr || dst == nullptr || inW < 1 || inH < 1 || outW < 1 || outH < 1;
}

float stepOf(int inSize, int outSize) {
  return static_cast<float>(inSize - 1) / static_cast<float>(outSize);
}

/// Where an output sample lies between two input samples of one axis.
struct Position {
  std::ptrdiff_t index;  ///< the sample at or before it, inside the plane
  float weight;          ///< of the sample behind it, in [0, 1)
  bool hasNext;          ///< whether that sample exists; where it does not, its weight would be 0
};

Position positionOf(int outIndex, float step, int inSize) {
  const float exact = static_cast<float>(outIndex) * step;
  const auto whole = static_cast<int64_t>(exact);
  // Rounding can carry a position past the last sample on sides of millions of samples only.
  const int64_t index = std::min<int64_t>(whole, inSize - 1);
  return {static_cast<std::ptrdiff_t>(index), exact - static_cast<float>(whole),
          index + 1 < inSize};
}

template <typename Sample>
float blendAlongRow(const Sample* row, const Position& x) {
  const auto value = static_cast<float>(row[x.index]);
  if (!x.hasNext) return value;
  return value * (1.0f - x.weight) + static_cast<float>(row[x.index + 1]) * x.weight;
}

/// Samples a plane bilinearly and stores what `toOutput` makes of each value.
template <typename Sample, typename ToOutput>
void shrinkBilinear(const Sample* src, Sample* dst, int inW, int inH, int outW, int outH,
                    ToOutput toOutput) {
  const float stepX = stepOf(inW, outW);
  const float stepY = stepOf(inH, outH);
  for (int i = 0; i < outH; ++i) {
    const Position y = positionOf(i, stepY, inH);
    const Sample* upper = src + y.index * inW;
    for (int j = 0; j < outW; ++j) {
      const Position x = positionOf(j, stepX, inW);
      float value = blendAlongRow(upper, x);
      if (y.hasNext) {
        value = value * (1.0f - y.weight) + blendAlongRow(upper + inW, x) * y.weight;
      }
      *dst++ = toOutput(value);
    }
  }
}

/// Step of the mask's positions, 12 fraction bits. The quotient is in single precision, the rest in
/// double.
int64_t fixedStepOf(int inSize, int outSize) {
  const double scaled = static_cast<double>(stepOf(inSize, outSize)) * 4096.0;
  return static_cast<int64_t>(std::floor(scaled + 0.5));
}

}  // namespace

void ShrinkDepthData(const float* src, float* dst, int inW, int inH, int outW, int outH) {
  if (isEmpty(src, dst, inW, inH, outW, outH)) return;
  const float ratio = static_cast<float>(outW) / static_cast<float>(inW);
  shrinkBilinear(src, dst, inW, inH, outW, outH, [ratio](float value) { return value * ratio; });
}

void ShrinkImage(const char* src, char* dst, int inW, int inH, int outW, int outH) {
  if (isEmpty(src, dst, inW, inH, outW, outH)) return;
  // Weights sum to 1, so values stay below 256 and the cut to a whole number is exact.
  shrinkBilinear(reinterpret_cast<const uint8_t*>(src), reinterpret_cast<uint8_t*>(dst), inW, inH,
                 outW, outH, [](float value) { return static_cast<uint8_t>(value); });
}

void ShrinkBWImage(const unsigned char* src, unsigned char* dst, int inW, int inH, int outW,
                   int outH) {
  if (isEmpty(src, dst, inW, inH, outW, outH)) return;
  const int64_t stepX = fixedStepOf(inW, outW);
  const int64_t stepY = fixedStepOf(inH, outH);
  int64_t rowPosition = 0;
  for (int i = 0; i < outH; ++i, rowPosition += stepY) {
    // The rounded steps add up to more than the plane on long sides; 64 bits keep that from
    // wrapping.
    const auto row = static_cast<std::ptrdiff_t>(std::min<int64_t>(rowPosition >> 12, inH - 1));
    const unsigned char* samples = src + row * inW;
    int64_t columnPosition = 0;
    for (int j = 0; j < outW; ++j, columnPosition += stepX)
      *dst++ = samples[std::min<int64_t>(columnPosition >> 12, inW - 1)];
  }
}
