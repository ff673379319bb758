// NEON functions of the interpolation family, 32-bit and 64-bit ARM. Intrinsics and static
// functions only: see cmake/VelmoraCpu.cmake.
#include <arm_neon.h>

#include <cstddef>
#include <cstring>

#include "interpolation/function_sets.h"

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
    const uint8x16x2_t both = {{vld1q_u8(even + j), vld1q_u8(odd + j)}};
    vst2q_u8(pairs + 2 * j, both);
  }
  for (; j < count; ++j) {
    pairs[2 * j] = even[j];
    pairs[2 * j + 1] = odd[j];
  }
}

// Four bytes from each of two places.
uint8x8_t fourAndFour(const uint8_t* a, const uint8_t* b) {
  uint32_t words[2];
  std::memcpy(&words[0], a, 4);
  std::memcpy(&words[1], b, 4);
  return vreinterpret_u8_u32(vset_lane_u32(words[1], vdup_n_u32(words[0]), 1));
}

// The four samples of two columns.
uint8x8_t twoColumns(const uint8_t* row, const int32_t* first) {
  return fourAndFour(row + first[0], row + first[1]);
}

int16x8_t widened(uint8x8_t samples) {
  return vreinterpretq_s16_u16(vmovl_u8(samples));
}

// Eight columns of a row whose samples all lie in it: the samples are gathered column by column and
// turned into one vector per tap, as the taps are.
void filterEight(const uint8_t* row, const int32_t* first, const int16x8x4_t& taps, int16_t* out) {
  const uint8x8x2_t a = vuzp_u8(twoColumns(row, first), twoColumns(row, first + 2));
  const uint8x8x2_t b = vuzp_u8(twoColumns(row, first + 4), twoColumns(row, first + 6));
  const uint8x8x2_t even = vuzp_u8(a.val[0], b.val[0]);
  const uint8x8x2_t odd = vuzp_u8(a.val[1], b.val[1]);
  const int16x8_t samples[4] = {widened(even.val[0]), widened(odd.val[0]), widened(even.val[1]),
                                widened(odd.val[1])};
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

void filterColumns(const FilterBlock& block, const ColumnPlan& plan, int32_t begin, int32_t end) {
  const auto oneByOne = [&](int32_t from, int32_t to) {
    for (std::ptrdiff_t r = 0; r < block.rows; ++r) {
      for (int32_t j = from; j < to; ++j)
        filterOne(block.source + r * block.sourcePitch, plan, j, block.out + r * block.outPitch);
    }
  };
  const int32_t insideEnd = plan.insideEnd < end ? plan.insideEnd : end;
  int32_t j = plan.insideBegin > begin ? plan.insideBegin : begin;
  j = j < end ? j : end;
  oneByOne(begin, j);
  // All rows of eight columns at once: their taps are loaded and taken apart only once.
  for (; j + 8 <= insideEnd; j += 8) {
    const int16x8x4_t taps = vld4q_s16(plan.taps + std::ptrdiff_t{4} * j);
    for (std::ptrdiff_t r = 0; r < block.rows; ++r) {
      filterEight(block.source + r * block.sourcePitch, plan.first + j, taps,
                  block.out + r * block.outPitch + j);
    }
  }
  oneByOne(j, end);
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

// --- Fusion ---

// Adds the 4 x 4 samples of four rows times 16 taps, as four partial sums.
int32x4_t addBlock(int32x4_t sums, const uint8_t* row0, const uint8_t* row1, const uint8_t* row2,
                   const uint8_t* row3, const int16_t* taps) {
  const int16x8_t upper = widened(fourAndFour(row0, row1));
  const int16x8_t lower = widened(fourAndFour(row2, row3));
  const int16x8_t upperTaps = vld1q_s16(taps);
  const int16x8_t lowerTaps = vld1q_s16(taps + 8);
  sums = vmlal_s16(sums, vget_low_s16(upper), vget_low_s16(upperTaps));
  sums = vmlal_s16(sums, vget_high_s16(upper), vget_high_s16(upperTaps));
  sums = vmlal_s16(sums, vget_low_s16(lower), vget_low_s16(lowerTaps));
  return vmlal_s16(sums, vget_high_s16(lower), vget_high_s16(lowerTaps));
}

// Adds the second frame's share of column j, if its position lies in the frame.
void addSecondFrame(const FusionRow& row, const FusionColumns& columns, int32_t j, int32x4_t& sums,
                    int32_t& weight) {
  const int32_t map = columns.mapColumn[j];
  const auto x = static_cast<int32_t>(static_cast<uint32_t>(row.mapX[map]) +
                                      static_cast<uint32_t>(columns.fraction[j]));
  const auto y = static_cast<int32_t>(static_cast<uint32_t>(row.mapY[map]) +
                                      static_cast<uint32_t>(row.fraction));
  const int32_t column = x >> 16;
  const int32_t line = y >> 16;
  if (line < 0 || line >= row.height || column < 0 || column >= row.width) return;
  const int32_t phaseX = (row.phases * (x & 0xFFFF)) >> 16;
  const int32_t phaseY = (row.phases * (y & 0xFFFF)) >> 16;
  const int16_t* taps = row.table[phaseY * row.phases + phaseX];
  const std::ptrdiff_t pitch = row.sourceWidth;
  const uint8_t* samples = row.second + (line + 1) * pitch + column + 1;
  sums = addBlock(sums, samples, samples + pitch, samples + 2 * pitch, samples + 3 * pitch, taps);
  weight += taps[16];
}

// (sums + weights / 2) / weights, cut toward zero and below 0; what exceeds 255 gives 255 or more.
// Sums are below 2^28 in magnitude, weights at most 2^16.
uint16x4_t quotients(int32x4_t sums, int32x4_t weights) {
  const int32x4_t zero = vdupq_n_s32(0);
  // The quotient of the magnitudes, as only a quotient that is not negative counts.
  const int32x4_t rounded = vaddq_s32(sums, vshrq_n_s32(weights, 1));
  const int32x4_t negative = vshrq_n_s32(weights, 31);
  const int32x4_t dividend = vmaxq_s32(vsubq_s32(veorq_s32(rounded, negative), negative), zero);
  const int32x4_t divisor = vabsq_s32(weights);
  // One step of Newton's leaves the 8-bit estimate of the reciprocal 15 good bits, so that a
  // quotient up to 255 is off by less than 1 / 64, and by at most 1 once cut to an integer: the
  // rest of the division tells where.
  const float32x4_t d = vcvtq_f32_s32(divisor);
  float32x4_t reciprocal = vrecpeq_f32(d);
  reciprocal = vmulq_f32(reciprocal, vrecpsq_f32(d, reciprocal));
  const float32x4_t estimate = vmulq_f32(vcvtq_f32_s32(dividend), reciprocal);
  int32x4_t quotient = vcvtq_s32_f32(vminq_f32(estimate, vdupq_n_f32(255.0f)));
  const int32x4_t rest = vmlsq_s32(dividend, quotient, divisor);
  quotient = vaddq_s32(quotient, vshrq_n_s32(rest, 31));
  quotient = vsubq_s32(quotient, vreinterpretq_s32_u32(vcgeq_s32(rest, divisor)));
  return vmovn_u32(vandq_u32(vreinterpretq_u32_s32(quotient), vcgtq_s32(divisor, zero)));
}

// Four columns from j on, whose first-frame samples all lie in the row.
uint16x4_t fuseFour(const FusionRow& row, const FusionColumns& columns, int32_t j) {
  int32x4_t sums[4];
  int32_t weights[4];
  for (int k = 0; k < 4; ++k) {
    const int32_t first = columns.first[j + k];
    const int16_t* taps = row.taps[columns.phase[j + k]];
    sums[k] = addBlock(vdupq_n_s32(0), row.rows[0] + first, row.rows[1] + first,
                       row.rows[2] + first, row.rows[3] + first, taps);
    weights[k] = taps[16];
    addSecondFrame(row, columns, j + k, sums[k], weights[k]);
  }
  const auto folded = [&](int k) {
    return vadd_s32(vget_low_s32(sums[k]), vget_high_s32(sums[k]));
  };
  return quotients(vcombine_s32(vpadd_s32(folded(0), folded(1)), vpadd_s32(folded(2), folded(3))),
                   vld1q_s32(weights));
}

void fuseRow(const FusionRow& row, const FusionColumns& columns, int32_t begin, int32_t end,
             uint8_t* out) {
  const int32_t insideBegin = columns.insideBegin > begin ? columns.insideBegin : begin;
  const int32_t insideEnd = columns.insideEnd < end ? columns.insideEnd : end;
  if (insideEnd - insideBegin < 8) return scalar::fuseRow(row, columns, begin, end, out);
  if (begin < insideBegin) scalar::fuseRow(row, columns, begin, insideBegin, out);
  int32_t j = insideBegin;
  for (; j + 8 <= insideEnd; j += 8) {
    const uint16x4_t left = fuseFour(row, columns, j);
    vst1_u8(out + j, vqmovn_u16(vcombine_u16(left, fuseFour(row, columns, j + 4))));
  }
  if (j < end) scalar::fuseRow(row, columns, j, end, out);
}

// --- De-ghosting ---

// weight of 4096 gives `own`, 0 gives `other`, which is in -2 .. 255: other + weight * (own -
// other), rounded. With any 16-bit weight the correction stays below 2057.
uint8x8_t blended(int16x8_t weight, uint8x8_t own, int16x8_t other) {
  const int16x8_t step = vsubq_s16(widened(own), other);
  const int16x8_t correction =
      vcombine_s16(vrshrn_n_s32(vmull_s16(vget_low_s16(weight), vget_low_s16(step)), 12),
                   vrshrn_n_s32(vmull_s16(vget_high_s16(weight), vget_high_s16(step)), 12));
  return vqmovun_s16(vaddq_s16(other, correction));
}

void storeTwoWords(uint8_t* a, uint8_t* b, uint8x8_t bytes) {
  const uint32x2_t words = vreinterpret_u32_u8(bytes);
  const uint32_t values[2] = {vget_lane_u32(words, 0), vget_lane_u32(words, 1)};
  std::memcpy(a, &values[0], 4);
  std::memcpy(b, &values[1], 4);
}

// The guide in a block of 4 x 4 whose positions all lie in it: bilinear values and differences.
struct GuideBlock {
  const uint8_t* luma;  // at the block's first position
  std::ptrdiff_t pitch;
  int32_t fractionX, fractionY;  // 0 .. 255

  // One row between its columns, -255 .. 65280; see the scalar function for the weights.
  int32x4_t between(int32_t r) const {
    const uint8_t* from = luma + r * pitch;
    const int16x8_t samples = widened(fourAndFour(from, from + 1));
    const auto a = static_cast<int16_t>(256 - fractionX);
    const auto b = static_cast<int16_t>(fractionX - 1);
    return vmlal_n_s16(vmull_n_s16(vget_low_s16(samples), a), vget_high_s16(samples), b);
  }
  int16x4_t value(int32x4_t upper, int32x4_t lower) const {
    return vrshrn_n_s32(vmlaq_n_s32(vmulq_n_s32(upper, 256 - fractionY), lower, fractionY - 1), 16);
  }
};

// U of the four samples of a row, then V, from the pairs below them, and the distance to those of
// the guide. A row of samples that begins at an odd column of the guide reaches three of its pairs:
// the third one comes last in the second word.
uint8x8_t chromaDistance(const uint8_t* own, const uint8_t* guide, bool odd) {
  constexpr uint64_t kFromEven = 0x0303010102020000u;
  constexpr uint64_t kFromOdd = 0x0703030106020200u;
  const uint8x8_t ownSamples = vtbl1_u8(fourAndFour(own, own), vcreate_u8(kFromEven));
  const uint8x8_t guideSamples =
      vtbl1_u8(fourAndFour(guide, guide + (odd ? 2 : 0)), vcreate_u8(odd ? kFromOdd : kFromEven));
  return vabd_u8(ownSamples, guideSamples);
}

// The block of 4 x 4 at column x; its positions begin at (guideX, guideY) and lie in the guide.
void deghostBlock(const DeghostRow& row, int32_t x, int32_t guideX, int32_t guideY) {
  const std::ptrdiff_t pitch = row.width;
  const std::ptrdiff_t chromaPitch = row.width / 2 * 2;
  const int32_t chromaHeight = row.height / 2;
  const GuideBlock guide = {row.guideLuma + guideY * pitch + guideX, pitch,
                            (row.mapX[x] >> 8) & 0xFF, (row.mapY[x] >> 8) & 0xFF};
  const uint8_t* own[4];
  const uint8_t* other[4];
  for (int32_t r = 0; r < 4; ++r) {
    // The odd last row has no pair below it.
    const int32_t y = (row.firstRow + r) / 2;
    own[r] = row.chroma + (y < chromaHeight ? y : chromaHeight - 1) * chromaPitch + x;
    other[r] = row.guideChroma + (guideY + r) / 2 * chromaPitch + guideX / 2 * 2;
  }
  const bool odd = guideX % 2 != 0;
  int16_t weights[4][4];
  int32x4_t upper = guide.between(0);
  for (int32_t r = 0; r < 4; r += 2) {
    const uint32x2x2_t chroma =
        vtrn_u32(vreinterpret_u32_u8(chromaDistance(own[r], other[r], odd)),
                 vreinterpret_u32_u8(chromaDistance(own[r + 1], other[r + 1], odd)));
    uint8_t* luma = row.luma + (row.firstRow + r) * pitch + x;
    const uint8_t* guideLuma = guide.luma + r * pitch;
    const uint8x8_t samples = fourAndFour(luma, luma + pitch);
    const uint8x8_t distance =
        vmax_u8(vabd_u8(samples, fourAndFour(guideLuma, guideLuma + pitch)),
                vmax_u8(vreinterpret_u8_u32(chroma.val[0]), vreinterpret_u8_u32(chroma.val[1])));
    uint8_t distances[8];
    vst1_u8(distances, distance);
    for (int k = 0; k < 8; ++k)
      weights[r + k / 4][k % 4] = row.weights[distances[k]];
    const int32x4_t middle = guide.between(r + 1);
    const int32x4_t lower = guide.between(r + 2);
    const int16x8_t values = vcombine_s16(guide.value(upper, middle), guide.value(middle, lower));
    storeTwoWords(luma, luma + pitch, blended(vld1q_s16(weights[r]), samples, values));
    upper = lower;
  }

  // Two of the four rows are even; each has two pairs, those of its samples 0 and 2.
  const int32_t even = row.firstRow % 2;
  const int16_t* top = weights[even];
  const int16_t* bottom = weights[even + 2];
  const int16_t pairWeights[8] = {top[0],    top[0],    top[2],    top[2],
                                  bottom[0], bottom[0], bottom[2], bottom[2]};
  uint8_t pairs[8];
  vst1_u8(pairs, blended(vld1q_s16(pairWeights), fourAndFour(own[even], own[even + 2]),
                         widened(fourAndFour(other[even], other[even + 2]))));
  for (int32_t k = 0; k < 2; ++k) {
    const int32_t y = (row.firstRow + even) / 2 + k;
    if (y < chromaHeight) std::memcpy(row.newChroma + y * chromaPitch + x, pairs + 4 * k, 4);
  }
}

void deghostBlocks(const DeghostRow& row, int32_t begin, int32_t end) {
  for (int32_t x = begin; x < end; x += 4) {
    const int32_t guideX = row.mapX[x] >> 16;
    const int32_t guideY = row.mapY[x] >> 16;
    const bool whole = row.rows == 4 && x + 4 <= end;
    if (whole && guideX >= 0 && guideX + 4 < row.width && guideY >= 0 && guideY + 4 < row.height) {
      deghostBlock(row, x, guideX, guideY);
    } else {
      scalar::deghostBlocks(row, x, x + 4 <= end ? x + 4 : end);
    }
  }
}

}  // namespace

void installNeon(InterpolationFunctions& table) {
  table.splitPairs = splitPairs;
  table.mergePairs = mergePairs;
  table.filterColumns = filterColumns;
  table.filterRows = filterRows;
  table.fuseRow = fuseRow;
  table.deghostBlocks = deghostBlocks;
}

}  // namespace velmora
