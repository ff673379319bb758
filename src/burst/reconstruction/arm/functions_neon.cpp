// NEON functions of reconstruction, 32-bit and 64-bit ARM. Intrinsics and static functions only:
// see cmake/VelmoraCpu.cmake. What looks up tables has no variant.
#include <arm_neon.h>

#include "burst/reconstruction/function_sets.h"

namespace velmora::burst {
namespace {

void blendWeights(const uint8_t* upper, const uint8_t* lower, int32_t fraction, int32_t count,
                  int16_t* out) {
  const uint8x8_t down = vdup_n_u8(static_cast<uint8_t>(fraction));
  const uint8x8_t up = vdup_n_u8(static_cast<uint8_t>(16 - fraction));
  int32_t i = 0;
  for (; i + 8 <= count; i += 8) {
    const uint16x8_t sum = vmlal_u8(vmull_u8(vld1_u8(upper + i), up), vld1_u8(lower + i), down);
    vst1q_s16(out + i, vreinterpretq_s16_u16(sum));
  }
  scalar::blendWeights(upper + i, lower + i, fraction, count - i, out + i);
}

// Eight values in lanes of 32 bits.
struct Eight {
  int32x4_t low;
  int32x4_t high;
};

void addProduct(Eight& sums, int16x8_t a, int16x8_t b) {
  sums.low = vmlal_s16(sums.low, vget_low_s16(a), vget_low_s16(b));
  sums.high = vmlal_s16(sums.high, vget_high_s16(a), vget_high_s16(b));
}
Eight productsAt(const int16_t* const* rows, const int16_t* const* factors, int32_t terms,
                 int32_t i, int32x4_t start) {
  Eight sums = {start, start};
  for (int32_t k = 0; k < terms; ++k)
    addProduct(sums, vld1q_s16(rows[k] + i), vld1q_s16(factors[k] + i));
  return sums;
}

// The upper halves of products of eight unsigned numbers.
uint16x8_t upperProduct(uint16x8_t a, uint16x8_t b) {
  return vcombine_u16(vshrn_n_u32(vmull_u16(vget_low_u16(a), vget_low_u16(b)), 16),
                      vshrn_n_u32(vmull_u16(vget_high_u16(a), vget_high_u16(b)), 16));
}

uint16x8_t lookUp(const uint16_t* table, uint16x8_t index) {
  uint16_t values[8];
  vst1q_u16(values, index);
  for (uint16_t& value : values)
    value = table[value];
  return vld1q_u16(values);
}

void shareRow(const ShareRow& row, int32_t count) {
  int32_t i = 0;
  for (; i + 8 <= count; i += 8) {
    uint16x8_t sum = vdupq_n_u16(0);
    for (int32_t k = 0; k < row.others; ++k)
      sum = vaddw_u8(sum, vld1_u8(row.weights[k] + i));
    const uint16x8_t reciprocal = lookUp(row.reciprocals, sum);
    uint16x8_t rest = vdupq_n_u16(1 << 14);
    for (int32_t k = 0; k < row.others; ++k) {
      const uint16x8_t weight = vshll_n_u8(vld1_u8(row.weights[k] + i), 8);
      const uint16x8_t share = upperProduct(weight, reciprocal);
      vst1q_s16(row.shares[k + 1] + i, vreinterpretq_s16_u16(share));
      rest = vsubq_u16(rest, share);
    }
    vst1q_s16(row.shares[0] + i, vreinterpretq_s16_u16(rest));
    const uint16x8_t frames =
        upperProduct(vaddq_u16(sum, vdupq_n_u16(255 + 128)), vdupq_n_u16(257));
    vst1_u8(row.frames + i, vmovn_u16(frames));
    if (row.corrections == nullptr) continue;
    const Eight spread = productsAt(row.spreads, row.shares, row.others + 1, i, vdupq_n_s32(0));
    const int16x8_t common =
        vcombine_s16(vshrn_n_s32(spread.low, 14), vshrn_n_s32(spread.high, 14));
    const int16x8_t lowest = vdupq_n_s16(static_cast<int16_t>(row.lowestSpread));
    const uint16x8_t step = lookUp(row.steps, vreinterpretq_u16_s16(vsubq_s16(common, lowest)));
    for (int32_t k = 0; k <= row.others; ++k) {
      const uint16x8_t share = vreinterpretq_u16_s16(vld1q_s16(row.shares[k] + i));
      vst1q_s16(row.corrections[k] + i, vreinterpretq_s16_u16(upperProduct(share, step)));
    }
  }
  scalar::shareRowFrom(row, i, count);
}

void addProducts(const ProductRow& row, int32_t count, const int16_t* base, int16_t* out) {
  const int32x4_t half = vdupq_n_s32(1 << (row.shift - 1));
  const int32x4_t shift = vdupq_n_s32(-row.shift);
  int32_t i = 0;
  for (; i + 8 <= count; i += 8) {
    const Eight sums = productsAt(row.samples, row.factors, row.terms, i, half);
    int16x8_t sum = vcombine_s16(vqmovn_s32(vshlq_s32(sums.low, shift)),
                                 vqmovn_s32(vshlq_s32(sums.high, shift)));
    if (base != nullptr) sum = vqaddq_s16(sum, vld1q_s16(base + i));
    vst1q_s16(out + i, sum);
  }
  scalar::addProductsFrom(row, i, count, base, out);
}

void limitPositions(const PositionLimits& limits, int32_t count, int32_t* x, int32_t* y,
                    int16_t* inside) {
  const auto limited = [](int32_t* positions, int32_t low, int32_t high) {
    const int32x4_t old = vld1q_s32(positions);
    const int32x4_t now = vminq_s32(vmaxq_s32(old, vdupq_n_s32(low)), vdupq_n_s32(high));
    vst1q_s32(positions, now);
    return vceqq_s32(old, now);
  };
  int32_t i = 0;
  for (; i + 4 <= count; i += 4) {
    const uint32x4_t same = vandq_u32(limited(x + i, limits.left, limits.right),
                                      limited(y + i, limits.top, limits.bottom));
    vst1_s16(inside + i, vreinterpret_s16_u16(vmovn_u32(same)));
  }
  scalar::limitPositions(limits, count - i, x + i, y + i, inside + i);
}

// Eight means less their blurred ones, times 16.
Eight differences(const ResidualRow& row, int32_t i) {
  Eight sums = {vdupq_n_s32(0), vdupq_n_s32(0)};
  for (int32_t v = 0; v < 3; ++v) {
    const int16x8_t factor = vdupq_n_s16(v == 1 ? -2 : -1);
    const int16x8_t centre = vdupq_n_s16(v == 1 ? 12 : -2);
    addProduct(sums, vld1q_s16(row.means[v] + i - 1), factor);
    addProduct(sums, vld1q_s16(row.means[v] + i), centre);
    addProduct(sums, vld1q_s16(row.means[v] + i + 1), factor);
  }
  return sums;
}

void residualRow(const ResidualRow& row, int32_t count, int16_t* out) {
  const int32x4_t amount = vdupq_n_s32(row.sharpened);
  int32_t i = 0;
  for (; i + 8 <= count; i += 8) {
    int16x8_t mean = vld1q_s16(row.means[1] + i);
    if (row.sharpened != 0) {
      const Eight added = differences(row, i);
      const int16x4_t low = vqmovn_s32(vrshrq_n_s32(vmulq_s32(added.low, amount), 14));
      const int16x4_t high = vqmovn_s32(vrshrq_n_s32(vmulq_s32(added.high, amount), 14));
      mean = vqaddq_s16(mean, vcombine_s16(low, high));
    }
    const int16x8_t residual = vqsubq_s16(vld1q_s16(row.samples + i), mean);
    vst1q_s16(out + i, vandq_s16(residual, vld1q_s16(row.inside + i)));
  }
  scalar::residualRowFrom(row, i, count, out);
}

void roundRow(const int16_t* samples, int32_t count, uint8_t* out) {
  int32_t i = 0;
  for (; i + 8 <= count; i += 8)
    vst1_u8(out + i, vqrshrun_n_s16(vld1q_s16(samples + i), 5));
  scalar::roundRow(samples + i, count - i, out + i);
}

}  // namespace

void installNeon(ReconstructionFunctions& table) {
  table.blendWeights = blendWeights;
  table.shareRow = shareRow;
  table.addProducts = addProducts;
  table.limitPositions = limitPositions;
  table.residualRow = residualRow;
  table.roundRow = roundRow;
}

}  // namespace velmora::burst
