// Rows of pyramids with NEON, 32-bit and 64-bit ARM. Intrinsics and static functions only: see
// cmake/VelmoraCpu.cmake.
#include <arm_neon.h>

#include "burst/alignment/arm/neon.h"
#include "burst/alignment/function_sets.h"

namespace velmora::burst {
namespace {

// 1 for each byte above 250 or below 2.
uint8x16_t extremes(uint8x16_t bytes) {
  const uint8x16_t moved = vsubq_u8(bytes, vdupq_n_u8(2));
  return vandq_u8(vcgtq_u8(moved, vdupq_n_u8(248)), vdupq_n_u8(1));
}

// 1 for each count above 1, otherwise 0.
uint8x8_t marks(uint16x8_t counts) {
  return vand_u8(vmovn_u16(vcgtq_u16(counts, vdupq_n_u16(1))), vdup_n_u8(1));
}

void halveBytes(const uint8_t* upper, const uint8_t* lower, int16_t* out, uint8_t* masked,
                int32_t count) {
  int32_t i = 0;
  for (; i + 8 <= count; i += 8) {
    const uint8x16_t a = vld1q_u8(upper + 2 * i);
    const uint8x16_t b = vld1q_u8(lower + 2 * i);
    const uint16x8_t sum = vpadalq_u8(vpaddlq_u8(a), b);
    vst1q_s16(out + i, vreinterpretq_s16_u16(vshlq_n_u16(sum, 3)));
    vst1_u8(masked + i, marks(vpaddlq_u8(vaddq_u8(extremes(a), extremes(b)))));
  }
  scalar::halveBytes(upper + 2 * i, lower + 2 * i, out + i, masked + i, count - i);
}

void halve(const int16_t* const* rows, const uint8_t* const* maskedRows, int16_t* out,
           uint8_t* masked, int32_t count) {
  int32_t i = 0;
  for (; i + 8 <= count; i += 8) {
    const int16x8x2_t a = vld2q_s16(rows[0] + 2 * i);
    const int16x8x2_t b = vld2q_s16(rows[1] + 2 * i);
    const int16x8_t sum =
        vaddq_s16(vaddq_s16(a.val[0], a.val[1]), vaddq_s16(b.val[0], b.val[1]));  // up to 32640
    vst1q_s16(out + i, vrshrq_n_s16(sum, 2));
    const uint8x16_t both =
        vaddq_u8(vld1q_u8(maskedRows[0] + 2 * i), vld1q_u8(maskedRows[1] + 2 * i));
    vst1_u8(masked + i, marks(vpaddlq_u8(both)));
  }
  const int16_t* const restRows[] = {rows[0] + 2 * i, rows[1] + 2 * i};
  const uint8_t* const restMasked[] = {maskedRows[0] + 2 * i, maskedRows[1] + 2 * i};
  scalar::halve(restRows, restMasked, out + i, masked + i, count - i);
}

// Ends of rows, where neighbours are repeated.
template <typename Sample>
int32_t smoothSum(const Sample* const* rows, int32_t x, int32_t count) {
  const auto column = [rows](int32_t i) { return rows[0][i] + 2 * rows[1][i] + rows[2][i]; };
  return column(x > 0 ? x - 1 : 0) + 2 * column(x) + column(x + 1 < count ? x + 1 : count - 1);
}

// A column's sum of samples times 1 2 1: at most 32640.
int16x8_t columnSums(const int16_t* const* rows, int32_t x) {
  return vaddq_s16(vaddq_s16(vld1q_s16(rows[0] + x), vld1q_s16(rows[2] + x)),
                   vshlq_n_s16(vld1q_s16(rows[1] + x), 1));
}
uint16x8_t columnSums(const uint8_t* const* rows, int32_t x) {
  return vaddq_u16(vaddl_u8(vld1_u8(rows[0] + x), vld1_u8(rows[2] + x)),
                   vshll_n_u8(vld1_u8(rows[1] + x), 1));
}

void smooth(const int16_t* const* rows, int16_t* out, int32_t count) {
  const auto end = [rows, count](int32_t x) {
    return static_cast<int16_t>((smoothSum(rows, x, count) + 8) >> 4);
  };
  int32_t x = 0;
  for (; x < count && x < 1; ++x)
    out[x] = end(x);
  for (; x + 9 <= count; x += 8) {
    const int16x8_t left = columnSums(rows, x - 1);
    const int16x8_t middle = columnSums(rows, x);
    const int16x8_t right = columnSums(rows, x + 1);
    const int32x4_t low = vaddq_s32(vaddl_s16(vget_low_s16(left), vget_low_s16(right)),
                                    vshll_n_s16(vget_low_s16(middle), 1));
    const int32x4_t high = vaddq_s32(vaddl_s16(vget_high_s16(left), vget_high_s16(right)),
                                     vshll_n_s16(vget_high_s16(middle), 1));
    vst1q_s16(out + x, vcombine_s16(vrshrn_n_s32(low, 4), vrshrn_n_s32(high, 4)));
  }
  for (; x < count; ++x)
    out[x] = end(x);
}

void smoothBytes(const uint8_t* const* rows, int16_t* out, int32_t count) {
  int32_t x = 0;
  for (; x < count && x < 1; ++x)
    out[x] = static_cast<int16_t>(2 * smoothSum(rows, x, count));
  for (; x + 9 <= count; x += 8) {
    const uint16x8_t sides = vaddq_u16(columnSums(rows, x - 1), columnSums(rows, x + 1));
    const uint16x8_t sum = vaddq_u16(sides, vshlq_n_u16(columnSums(rows, x), 1));
    vst1q_s16(out + x, vreinterpretq_s16_u16(vshlq_n_u16(sum, 1)));
  }
  for (; x < count; ++x)
    out[x] = static_cast<int16_t>(2 * smoothSum(rows, x, count));
}

uint8x16_t orOf(const uint8_t* const* rows, int32_t x) {
  return vorrq_u8(vorrq_u8(vld1q_u8(rows[0] + x), vld1q_u8(rows[1] + x)), vld1q_u8(rows[2] + x));
}

uint8_t widenOne(const uint8_t* const* rows, int32_t x, int32_t count) {
  int32_t near = 0;
  int32_t below = 0;
  for (int32_t i = x - 1; i <= x + 2; ++i) {
    const int32_t column = i < 0 ? 0 : i < count ? i : count - 1;
    const int32_t three = rows[0][column] | rows[1][column] | rows[2][column];
    if (i < x + 2) near |= three;
    below |= three | rows[3][column];
  }
  return static_cast<uint8_t>(near | 2 * (near | below));
}

void widenMask(const uint8_t* const* rows, uint8_t* out, int32_t count) {
  int32_t x = 0;
  for (; x < count && x < 1; ++x)
    out[x] = widenOne(rows, x, count);
  for (; x + 18 <= count; x += 16) {
    const uint8x16_t near = vorrq_u8(vorrq_u8(orOf(rows, x - 1), orOf(rows, x)), orOf(rows, x + 1));
    const uint8x16_t below =
        vorrq_u8(vorrq_u8(vld1q_u8(rows[3] + x - 1), vld1q_u8(rows[3] + x)),
                 vorrq_u8(vld1q_u8(rows[3] + x + 1), vld1q_u8(rows[3] + x + 2)));
    const uint8x16_t any = vorrq_u8(vorrq_u8(near, orOf(rows, x + 2)), below);
    vst1q_u8(out + x, vorrq_u8(near, vaddq_u8(any, any)));
  }
  for (; x < count; ++x)
    out[x] = widenOne(rows, x, count);
}

}  // namespace

void installNeon(AlignmentFunctions& table) {
  table.halveBytes = halveBytes;
  table.halve = halve;
  table.smooth = smooth;
  table.smoothBytes = smoothBytes;
  table.widenMask = widenMask;
#ifdef __aarch64__
  table.residuals = neon::residuals;
  table.addUp = neon::addUp;
  table.addCells = neon::addCells;
#endif
}

}  // namespace velmora::burst
