// NEON kernels of the interpolation family, 32-bit and 64-bit ARM. Intrinsics and static functions
// only: see cmake/VelmoraKernels.cmake.
#include <arm_neon.h>

#include <cstring>

#include "interpolation/kernels.h"

namespace velmora {
namespace {

void splitPairs(const uint8_t* pairs, uint8_t* even, uint8_t* odd, int32_t count) {
  int32_t j = 0;
  for (; j + 16 <= count; j += 16) {
    const uint8x16x2_t both = vld2q_u8(pairs + 2 * j);
    vst1q_u8(even + j, both.val[0]);
    vst1q_u8(odd + j, both.val[1]);
  }
  for (; j < count; ++j) {
    even[j] = pairs[2 * j];
    odd[j] = pairs[2 * j + 1];
  }
}

void mergePairs(const uint8_t* even, const uint8_t* odd, uint8_t* pairs, int32_t count) {
  int32_t j = 0;
  for (; j + 16 <= count; j += 16) {
    vst2q_u8(pairs + 2 * j, uint8x16x2_t{{vld1q_u8(even + j), vld1q_u8(odd + j)}});
  }
  for (; j < count; ++j) {
    pairs[2 * j] = even[j];
    pairs[2 * j + 1] = odd[j];
  }
}

// The four samples of two columns.
uint8x8_t twoColumns(const uint8_t* row, const int32_t* first) {
  uint32_t words[2];
  std::memcpy(&words[0], row + first[0], 4);
  std::memcpy(&words[1], row + first[1], 4);
  return vreinterpret_u8_u32(vset_lane_u32(words[1], vdup_n_u32(words[0]), 1));
}

int16x8_t widened(uint8x8_t samples) {
  return vreinterpretq_s16_u16(vmovl_u8(samples));
}

// Eight columns whose samples all lie in the row: the samples are gathered column by column and
// turned into one vector per tap, as the de-interleaving load turns the taps.
void filterEight(const uint8_t* row, const int32_t* first, const int16_t* columnTaps,
                 int16_t* out) {
  const uint8x8x2_t a = vuzp_u8(twoColumns(row, first), twoColumns(row, first + 2));
  const uint8x8x2_t b = vuzp_u8(twoColumns(row, first + 4), twoColumns(row, first + 6));
  const uint8x8x2_t even = vuzp_u8(a.val[0], b.val[0]);
  const uint8x8x2_t odd = vuzp_u8(a.val[1], b.val[1]);
  const int16x8_t samples[4] = {widened(even.val[0]), widened(odd.val[0]), widened(even.val[1]),
                                widened(odd.val[1])};
  const int16x8x4_t taps = vld4q_s16(columnTaps);
  int32x4_t low = vmull_s16(vget_low_s16(samples[0]), vget_low_s16(taps.val[0]));
  int32x4_t high = vmull_s16(vget_high_s16(samples[0]), vget_high_s16(taps.val[0]));
  for (int t = 1; t < 4; ++t) {
    low = vmlal_s16(low, vget_low_s16(samples[t]), vget_low_s16(taps.val[t]));
    high = vmlal_s16(high, vget_high_s16(samples[t]), vget_high_s16(taps.val[t]));
  }
  vst1q_s16(out, vcombine_s16(vrshrn_n_s32(low, 12), vrshrn_n_s32(high, 12)));
}

// Column j with its source samples clamped to the row.
void filterOne(const uint8_t* row, const ColumnPlan& plan, int32_t j, int16_t* out) {
  int32_t sum = 2048;
  for (int32_t t = 0; t < 4; ++t) {
    int32_t column = plan.first[j] + t;
    column = column < 0 ? 0 : column;
    column = column < plan.sourceWidth ? column : plan.sourceWidth - 1;
    sum += row[column] * plan.taps[int64_t{4} * j + t];
  }
  out[j] = static_cast<int16_t>(sum >> 12);
}

void filterColumnsOfRow(const uint8_t* row, const ColumnPlan& plan, int32_t begin, int32_t end,
                        int16_t* out) {
  const int32_t insideEnd = plan.insideEnd < end ? plan.insideEnd : end;
  int32_t j = begin;
  for (; j < end && j < plan.insideBegin; ++j)
    filterOne(row, plan, j, out);
  for (; j + 8 <= insideEnd; j += 8) {
    filterEight(row, plan.first + j, plan.taps + int64_t{4} * j, out + j);
  }
  for (; j < end; ++j)
    filterOne(row, plan, j, out);
}

void filterColumns(const FilterBlock& block, const ColumnPlan& plan, int32_t begin, int32_t end) {
  for (std::ptrdiff_t row = 0; row < block.rows; ++row) {
    filterColumnsOfRow(block.source + row * block.sourcePitch, plan, begin, end,
                       block.out + row * block.outPitch);
  }
}

void filterRows(const int16_t* const* rows, const int16_t* taps, uint8_t* out, int32_t count) {
  const int16x4_t t = vld1_s16(taps);
  int32_t j = 0;
  for (; j + 8 <= count; j += 8) {
    const int16x8_t r0 = vld1q_s16(rows[0] + j);
    const int16x8_t r1 = vld1q_s16(rows[1] + j);
    const int16x8_t r2 = vld1q_s16(rows[2] + j);
    const int16x8_t r3 = vld1q_s16(rows[3] + j);
    int32x4_t low = vmull_lane_s16(vget_low_s16(r0), t, 0);
    int32x4_t high = vmull_lane_s16(vget_high_s16(r0), t, 0);
    low = vmlal_lane_s16(low, vget_low_s16(r1), t, 1);
    high = vmlal_lane_s16(high, vget_high_s16(r1), t, 1);
    low = vmlal_lane_s16(low, vget_low_s16(r2), t, 2);
    high = vmlal_lane_s16(high, vget_high_s16(r2), t, 2);
    low = vmlal_lane_s16(low, vget_low_s16(r3), t, 3);
    high = vmlal_lane_s16(high, vget_high_s16(r3), t, 3);
    // Rounding shift, saturated to 16 bits, then to 0..255.
    vst1_u8(out + j, vqmovun_s16(vcombine_s16(vqrshrn_n_s32(low, 12), vqrshrn_n_s32(high, 12))));
  }
  for (; j < count; ++j) {
    int32_t sum = 2048;
    for (int32_t k = 0; k < 4; ++k)
      sum += rows[k][j] * taps[k];
    sum >>= 12;
    out[j] = static_cast<uint8_t>(sum < 0 ? 0 : sum > 255 ? 255 : sum);
  }
}

}  // namespace

void installNeonKernels(InterpolationKernels& table) {
  table.splitPairs = splitPairs;
  table.mergePairs = mergePairs;
  table.filterColumns = filterColumns;
  table.filterRows = filterRows;
}

}  // namespace velmora
