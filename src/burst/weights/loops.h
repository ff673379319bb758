// The functions of the weights: plain loops, which every instruction set compiles for itself. All
// arithmetic is on integers, or on floats element by element, so that the results are the same.
#ifndef VELMORA_SRC_BURST_WEIGHTS_LOOPS_H
#define VELMORA_SRC_BURST_WEIGHTS_LOOPS_H

#include "burst/weights/function_sets.h"

namespace velmora::burst {
namespace {  // each including file gets copies of its own, compiled for its set

// Five differences of up to 8191 squared stay below 2^31 when five rows of them are added up:
// 25 * 8191^2 = 1.68e9.
constexpr int32_t kLargestDifference = 8191;

void findInside(const int32_t* __restrict x, const int32_t* __restrict y, int32_t lastX,
                int32_t lastY, int32_t count, uint8_t* __restrict inside) {
  for (int32_t i = 0; i < count; ++i) {
    // Negative positions are large ones without their sign.
    const bool inX = static_cast<uint32_t>(x[i]) <= static_cast<uint32_t>(lastX);
    const bool inY = static_cast<uint32_t>(y[i]) <= static_cast<uint32_t>(lastY);
    inside[i] = static_cast<uint8_t>(inX & inY);
  }
}

void subtract(const int16_t* __restrict warped, const uint8_t* __restrict reference, int32_t count,
              int16_t* __restrict difference) {
  for (int32_t i = 0; i < count; ++i) {
    int32_t d = warped[i] - 32 * reference[i];
    d = d < -kLargestDifference ? -kLargestDifference : d;
    d = d > kLargestDifference ? kLargestDifference : d;
    difference[i] = static_cast<int16_t>(d);
  }
}

void slide(const int16_t* __restrict addedDifference, const uint8_t* __restrict addedSample,
           const int16_t* __restrict removedDifference, const uint8_t* __restrict removedSample,
           int32_t count, const ColumnSums& sums) {
  int32_t* __restrict d = sums.difference;
  int32_t* __restrict dd = sums.squaredDifference;
  int32_t* __restrict s = sums.sample;
  int32_t* __restrict ss = sums.squaredSample;
  for (int32_t i = 0; i < count; ++i) {
    const int32_t a = addedDifference[i];
    const int32_t r = removedDifference[i];
    d[i] += a - r;
    dd[i] += a * a - r * r;
  }
  for (int32_t i = 0; i < count; ++i) {
    const int32_t a = addedSample[i];
    const int32_t r = removedSample[i];
    s[i] += a - r;
    ss[i] += a * a - r * r;
  }
}

int32_t sumOf5(const int32_t* columns) {
  return columns[0] + columns[1] + columns[2] + columns[3] + columns[4];
}

// Two tests. The mean square of the difference over 5 x 5 must be what noise and, with half of the
// picture's own variance, aliasing explain: full weight up to 1.6 times that, none from 3 times on.
// The square of its mean must be what is left of the noise there, or of a hundredth of the
// picture's variance: full weight up to 6 times that, none from 14 times on.
void weigh(const ColumnSums& sums, const uint8_t* __restrict inside, const WeightBounds& bounds,
           int32_t count, uint8_t* __restrict weights) {
  const int32_t* __restrict d = sums.difference;
  const int32_t* __restrict dd = sums.squaredDifference;
  const int32_t* __restrict s = sums.sample;
  const int32_t* __restrict ss = sums.squaredSample;
  const float noise = bounds.noise;
  const float pair = bounds.pair;
  const float meanOf25 = bounds.meanOf25;
  for (int32_t i = 0; i < count; ++i) {
    const auto mean = static_cast<float>(sumOf5(d + i)) * (1.0f / (25 * 32));
    const auto square = static_cast<float>(sumOf5(dd + i)) * (1.0f / (25 * 1024));
    const int32_t sum = sumOf5(s + i);  // up to 6375; 25 times the squares up to 41 million
    const int32_t spread = 25 * sumOf5(ss + i) - sum * sum;
    float signal = static_cast<float>(spread) * (1.0f / 625) - noise;
    signal = signal < 0 ? 0 : signal;
    const float energy = square / (pair + 0.5f * signal + 1.0f);
    const float shift = mean * mean / (meanOf25 + 0.01f * signal);
    const float byEnergy = (3.0f - energy) * (255 / 1.4f);
    const float byShift = (14.0f - shift) * (255 / 8.0f);
    float weight = byEnergy < byShift ? byEnergy : byShift;
    weight = weight < 0 ? 0 : weight;
    weight = weight > 255 ? 255 : weight;
    const auto rounded = static_cast<int32_t>(weight + 0.5f);
    weights[i] = static_cast<uint8_t>(inside[i] != 0 ? rounded : 0);
  }
}

uint8_t smaller(uint8_t a, uint8_t b) {
  return a < b ? a : b;
}

void smallestOf9(const uint8_t* const* rows, int32_t count, uint8_t* __restrict out) {
  const uint8_t* __restrict a = rows[0];
  const uint8_t* __restrict b = rows[1];
  const uint8_t* __restrict c = rows[2];
  for (int32_t i = 0; i < count; ++i) {
    const uint8_t left = smaller(a[i], smaller(b[i], c[i]));
    const uint8_t middle = smaller(a[i + 1], smaller(b[i + 1], c[i + 1]));
    const uint8_t right = smaller(a[i + 2], smaller(b[i + 2], c[i + 2]));
    out[i] = smaller(left, smaller(middle, right));
  }
}

void meanOf9(const uint8_t* const* rows, int32_t count, uint8_t* __restrict out) {
  const uint8_t* __restrict a = rows[0];
  const uint8_t* __restrict b = rows[1];
  const uint8_t* __restrict c = rows[2];
  for (int32_t i = 0; i < count; ++i) {
    const auto sum = static_cast<uint32_t>(a[i] + a[i + 1] + a[i + 2] + b[i] + b[i + 1] + b[i + 2] +
                                           c[i] + c[i + 1] + c[i + 2]);  // up to 2295
    out[i] = static_cast<uint8_t>((sum * 7282 + 32768) >> 16);           // 65536 / 9, rounded up
  }
}

constexpr WeightFunctions kLoops = {
    .findInside = findInside,
    .subtract = subtract,
    .slide = slide,
    .weigh = weigh,
    .smallestOf9 = smallestOf9,
    .meanOf9 = meanOf9,
};

}  // namespace
}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_WEIGHTS_LOOPS_H
