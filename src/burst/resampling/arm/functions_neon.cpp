// NEON functions of resampling, 32-bit and 64-bit ARM. Intrinsics and static functions only: see
// cmake/VelmoraCpu.cmake.
#include <arm_neon.h>

#include "burst/resampling/function_sets.h"

namespace velmora::burst {
namespace {

constexpr int32_t kCell = 8;  // samples from node to node

// One axis of the positions of a cell from its left node on.
void fillCell(int32x4_t whole, int32x4_t fraction, int32x4_t slope, int32_t* out) {
  const int32_t steps[8] = {0, 1, 2, 3, 4, 5, 6, 7};
  const int32x4_t front = vmlaq_s32(fraction, slope, vld1q_s32(steps));
  const int32x4_t back = vmlaq_s32(fraction, slope, vld1q_s32(steps + 4));
  vst1q_s32(out, vaddq_s32(whole, vshrq_n_s32(front, 14)));
  vst1q_s32(out + 4, vaddq_s32(whole, vshrq_n_s32(back, 14)));
}

void positions(const NodeRow& row, int32_t left, int32_t right, int32_t* x, int32_t* y) {
  const int32_t first = (left + kCell - 1) / kCell;
  const int32_t last = right / kCell;
  if (first >= last) {
    scalar::positions(row, left, right, x, y);
    return;
  }
  scalar::positions(row, left, first * kCell, x, y);
  const int32x2_t up = vdup_n_s32(kCell - row.down);
  const int32x2_t down = vdup_n_s32(row.down);
  // Both axes of a node, moved down to the row: 17 fraction bits.
  const auto nodeAt = [&](int32_t i) {
    return vmlal_s32(vmull_s32(vld1_s32(row.upper + 2 * i), up), vld1_s32(row.lower + 2 * i), down);
  };
  int64x2_t node = nodeAt(first);
  for (int32_t i = first; i < last; ++i) {
    const int64x2_t next = nodeAt(i + 1);
    const int64x2_t rounded = vaddq_s64(vshlq_n_s64(node, 3), vdupq_n_s64(1 << 13));
    const int32x2_t whole = vmovn_s64(vshrq_n_s64(rounded, 14));
    const int32x2_t fraction = vand_s32(vmovn_s64(rounded), vdup_n_s32((1 << 14) - 1));
    const int32x2_t slope = vmovn_s64(vsubq_s64(next, node));
    const int32_t at = i * kCell - left;
    fillCell(vdupq_lane_s32(whole, 0), vdupq_lane_s32(fraction, 0), vdupq_lane_s32(slope, 0),
             x + at);
    fillCell(vdupq_lane_s32(whole, 1), vdupq_lane_s32(fraction, 1), vdupq_lane_s32(slope, 1),
             y + at);
    node = next;
  }
  const int32_t done = last * kCell - left;
  scalar::positions(row, last * kCell, right, x + done, y + done);
}

// Two sums of samples times taps whose total is that of a window.
int32x2_t windowParts(const WindowRow& row, int32_t i) {
  const int32_t x = row.x[i];
  const int32_t y = row.y[i];
  const int16_t* samples = row.source + ((y >> 6) - 1) * row.pitch + ((x >> 6) - 1);
  const int16_t* window = row.taps + std::ptrdiff_t{16} * (((y & 63) << 6) + (x & 63));
  const int16x8_t front = vld1q_s16(window);
  const int16x8_t back = vld1q_s16(window + 8);
  int32x4_t sum = vmull_s16(vld1_s16(samples), vget_low_s16(front));
  sum = vmlal_s16(sum, vld1_s16(samples + row.pitch), vget_high_s16(front));
  sum = vmlal_s16(sum, vld1_s16(samples + 2 * row.pitch), vget_low_s16(back));
  sum = vmlal_s16(sum, vld1_s16(samples + 3 * row.pitch), vget_high_s16(back));
  return vadd_s32(vget_low_s32(sum), vget_high_s32(sum));
}

void windowSums(const WindowRow& row, int32_t count, int16_t* out) {
  const int32x4_t half = vdupq_n_s32(1 << (row.shift - 1));
  const int32x4_t shift = vdupq_n_s32(-row.shift);
  const auto four = [&](int32_t i) {
    const int32x2_t front = vpadd_s32(windowParts(row, i), windowParts(row, i + 1));
    const int32x2_t back = vpadd_s32(windowParts(row, i + 2), windowParts(row, i + 3));
    return vqmovn_s32(vshlq_s32(vaddq_s32(vcombine_s32(front, back), half), shift));
  };
  int32_t i = 0;
  for (; i + 8 <= count; i += 8)
    vst1q_s16(out + i, vcombine_s16(four(i), four(i + 4)));
  WindowRow rest = row;
  rest.x += i;
  rest.y += i;
  scalar::windowSums(rest, count - i, out + i);
}

}  // namespace

void installNeon(ResamplingFunctions& table) {
  table.positions = positions;
  table.windowSums = windowSums;
}

}  // namespace velmora::burst
