// NEON functions of the registration family, 32-bit and 64-bit ARM. Intrinsics and static functions
// only: see cmake/VelmoraCpu.cmake. Where an argument leaves the range that vectors
// serve, the scalar function does the work.
#include <arm_neon.h>

#include "registration/features/descriptor_weights.h"
#include "registration/features/feature_functions.h"
#include "registration/function_sets.h"
#include "registration/matching/matching_functions.h"

namespace velmora {
namespace {

// --- Reduction and integral image ---

void reduceBox4(const uint8_t* src, std::ptrdiff_t stride, uint8_t* dst, int32_t count) {
  int32_t i = 0;
  for (; i + 8 <= count; i += 8) {
    const uint8_t* block = src + std::ptrdiff_t{4} * i;
    // Pairs over four rows reach 2040, blocks 4080.
    uint16x8_t left = vpaddlq_u8(vld1q_u8(block));
    uint16x8_t right = vpaddlq_u8(vld1q_u8(block + 16));
    for (std::ptrdiff_t y = 1; y < 4; ++y) {
      left = vpadalq_u8(left, vld1q_u8(block + y * stride));
      right = vpadalq_u8(right, vld1q_u8(block + y * stride + 16));
    }
    const uint16x8_t sums = vcombine_u16(vpadd_u16(vget_low_u16(left), vget_high_u16(left)),
                                         vpadd_u16(vget_low_u16(right), vget_high_u16(right)));
    vst1_u8(dst + i, vrshrn_n_u16(sums, 4));
  }
  if (i < count) scalar::reduceBox4(src + std::ptrdiff_t{4} * i, stride, dst + i, count - i);
}

void integrateRow(const uint8_t* src, int32_t* dst, int32_t count) {
  const uint16x8_t zero = vdupq_n_u16(0);
  uint32_t carry = 0;
  int32_t i = 0;
  dst[0] = 0;
  for (; i + 8 <= count; i += 8) {
    // Running sums of eight samples: at most 2040, so 16 bits do.
    uint16x8_t sums = vmovl_u8(vld1_u8(src + i));
    sums = vaddq_u16(sums, vextq_u16(zero, sums, 7));
    sums = vaddq_u16(sums, vextq_u16(zero, sums, 6));
    sums = vaddq_u16(sums, vextq_u16(zero, sums, 4));
    const uint32x4_t before = vdupq_n_u32(carry);
    vst1q_s32(dst + i + 1, vreinterpretq_s32_u32(vaddw_u16(before, vget_low_u16(sums))));
    vst1q_s32(dst + i + 5, vreinterpretq_s32_u32(vaddw_u16(before, vget_high_u16(sums))));
    carry += vgetq_lane_u16(sums, 7);
  }
  for (; i < count; ++i) {
    carry += src[i];
    dst[i + 1] = static_cast<int32_t>(carry);
  }
}

void addRow(const int32_t* above, int32_t* row, int32_t count) {
  int32_t i = 0;
  for (; i + 4 <= count; i += 4)
    vst1q_s32(row + i, vaddq_s32(vld1q_s32(row + i), vld1q_s32(above + i)));
  if (i < count) scalar::addRow(above + i, row + i, count - i);
}

// --- Detector ---

// The integral image around four filters in a row.
struct Integral {
  const int32_t* origin;
  std::ptrdiff_t stride;
  int32x4_t at(int32_t y, int32_t x) const { return vld1q_s32(origin + y * stride + x); }
  int32x4_t box(int32_t y0, int32_t y1, int32_t x0, int32_t x1) const {
    return vaddq_s32(vsubq_s32(at(y1, x1), at(y0, x1)), vsubq_s32(at(y0, x0), at(y1, x0)));
  }
};

// Low 32 bits of (direct * scale) >> 16.
int32x2_t scaled(int32x2_t direct, int32x2_t scale) {
  return vshrn_n_s64(vmull_s32(direct, scale), 16);
}

// Low 32 bits of (mixed^2 * scale) >> 16 for a scale below 2^31, the product modulo 2^64.
int32x2_t scaledSquare(int32x2_t mixed, uint32x2_t scale) {
  const uint64x2_t square = vreinterpretq_u64_s64(vmull_s32(mixed, mixed));
  const uint64x2_t low = vmull_u32(vmovn_u64(square), scale);
  const uint64x2_t high = vmull_u32(vshrn_n_u64(square, 32), scale);
  return vreinterpret_s32_u32(vshrn_n_u64(vaddq_u64(low, vshlq_n_u64(high, 32)), 16));
}

void hessianRow(const int32_t* integral, std::ptrdiff_t stride, const HessianFilter& filter,
                int32_t* det, int32_t count) {
  const auto fits = [](int64_t scale) { return scale >= 0 && scale <= INT32_MAX; };
  int32_t i = 0;
  if (filter.step == 1 && fits(filter.directScale) && fits(filter.mixedScale)) {
    const int32x2_t directScale = vdup_n_s32(static_cast<int32_t>(filter.directScale));
    const uint32x2_t mixedScale = vdup_n_u32(static_cast<uint32_t>(filter.mixedScale));
    const int32_t lobe = filter.lobe;
    const int32_t in0 = filter.inset;
    const int32_t in1 = in0 + filter.across;
    const int32_t q0 = filter.corner;
    const int32_t q1 = q0 + filter.quadrant;
    const int32_t q2 = q1 + filter.quadrant;
    for (; i + 4 <= count; i += 4) {
      const Integral sums{integral + i, stride};
      const int32x4_t dxx =
          vmlsq_n_s32(sums.box(in0, in1, 0, 3 * lobe), sums.box(in0, in1, lobe, 2 * lobe), 3);
      const int32x4_t dyy =
          vmlsq_n_s32(sums.box(0, 3 * lobe, in0, in1), sums.box(lobe, 2 * lobe, in0, in1), 3);
      // The four quadrants share their corners: once, twice and four times.
      const int32x4_t corners = vaddq_s32(vaddq_s32(sums.at(q0, q0), sums.at(q0, q2)),
                                          vaddq_s32(sums.at(q2, q0), sums.at(q2, q2)));
      const int32x4_t sides = vaddq_s32(vaddq_s32(sums.at(q0, q1), sums.at(q1, q0)),
                                        vaddq_s32(sums.at(q1, q2), sums.at(q2, q1)));
      const int32x4_t dxy =
          vsubq_s32(vaddq_s32(corners, vshlq_n_s32(sums.at(q1, q1), 2)), vshlq_n_s32(sides, 1));
      const int32x4_t direct = vmulq_s32(dxx, dyy);
      const int32x4_t a = vcombine_s32(scaled(vget_low_s32(direct), directScale),
                                       scaled(vget_high_s32(direct), directScale));
      const int32x4_t b = vcombine_s32(scaledSquare(vget_low_s32(dxy), mixedScale),
                                       scaledSquare(vget_high_s32(dxy), mixedScale));
      vst1q_s32(det + i, vsubq_s32(a, b));
    }
  }
  if (i < count) {
    scalar::hessianRow(integral + std::ptrdiff_t{i} * filter.step, stride, filter, det + i,
                       count - i);
  }
}

bool noneSet(uint32x4_t mask) {
  const uint32x2_t half = vorr_u32(vget_low_u32(mask), vget_high_u32(mask));
  return (vget_lane_u32(half, 0) | vget_lane_u32(half, 1)) == 0;
}

int32x4_t max3(const int32_t* centre) {
  return vmaxq_s32(vmaxq_s32(vld1q_s32(centre - 1), vld1q_s32(centre + 1)), vld1q_s32(centre));
}

int32x4_t maxBlock(const int32_t* centre, std::ptrdiff_t stride) {
  return vmaxq_s32(vmaxq_s32(max3(centre - stride), max3(centre + stride)), max3(centre));
}

int32_t maximaInRow(const int32_t* const planes[3], std::ptrdiff_t stride, int32_t threshold,
                    int32_t count, int32_t* columns) {
  const int32x4_t limit = vdupq_n_s32(threshold);
  int32_t found = 0;
  int32_t c = 0;
  for (; c + 4 <= count; c += 4) {
    const int32_t* centre = planes[1] + c;
    const int32x4_t value = vld1q_s32(centre);
    uint32x4_t candidates = vcgtq_s32(value, limit);
    if (noneSet(candidates)) continue;
    int32x4_t around = vmaxq_s32(max3(centre - stride), max3(centre + stride));
    around = vmaxq_s32(around, vmaxq_s32(vld1q_s32(centre - 1), vld1q_s32(centre + 1)));
    around = vmaxq_s32(around, maxBlock(planes[0] + c, stride));
    around = vmaxq_s32(around, maxBlock(planes[2] + c, stride));
    candidates = vandq_u32(candidates, vcgtq_s32(value, around));
    if (noneSet(candidates)) continue;
    uint32_t lanes[4];
    vst1q_u32(lanes, candidates);
    for (int32_t lane = 0; lane < 4; ++lane) {
      if (lanes[lane] != 0) columns[found++] = c + lane;
    }
  }
  if (c < count) {
    const int32_t* const rest[3] = {planes[0] + c, planes[1] + c, planes[2] + c};
    const int32_t more = scalar::maximaInRow(rest, stride, threshold, count - c, columns + found);
    for (int32_t i = 0; i < more; ++i)
      columns[found + i] += c;
    found += more;
  }
  return found;
}

// --- Descriptor ---

// Rounded means of eight blocks of 2 x 2 samples.
uint8x8_t meansOfTwo(const uint8_t* row, std::ptrdiff_t stride) {
  return vrshrn_n_u16(vpadalq_u8(vpaddlq_u8(vld1q_u8(row)), vld1q_u8(row + stride)), 2);
}

void reducePatch(const uint8_t* window, std::ptrdiff_t stride, int32_t spacing, uint8_t* patch) {
  // Rows of 21 bytes: overlapping stores end exactly at the row's end.
  if (spacing == 1) {
    for (int32_t y = 0; y < kPatchSide; ++y, window += stride, patch += kPatchSide) {
      const uint8x16_t left = vld1q_u8(window);
      const uint8x16_t right = vld1q_u8(window + 5);
      vst1q_u8(patch, left);
      vst1q_u8(patch + 5, right);
    }
  } else if (spacing == 2) {
    for (int32_t y = 0; y < kPatchSide; ++y, window += 2 * stride, patch += kPatchSide) {
      const uint8x8_t means[3] = {meansOfTwo(window, stride), meansOfTwo(window + 16, stride),
                                  meansOfTwo(window + 26, stride)};
      vst1_u8(patch, means[0]);
      vst1_u8(patch + 8, means[1]);
      vst1_u8(patch + 13, means[2]);
    }
  } else {
    scalar::reducePatch(window, stride, spacing, patch);
  }
}

struct CellSums {
  int32x4_t dx, dy, absDx, absDy;
};

int16x8_t eightBytes(const uint8_t* from) {
  return vreinterpretq_s16_u16(vmovl_u8(vld1_u8(from)));
}

void addWeighted(int16x4_t dx, int16x4_t dy, const int32_t* weights, CellSums& sums) {
  const int32x4_t weight = vld1q_s32(weights);
  const int32x4_t x = vmulq_s32(vmovl_s16(dx), weight);
  const int32x4_t y = vmulq_s32(vmovl_s16(dy), weight);
  sums.dx = vaddq_s32(sums.dx, x);
  sums.dy = vaddq_s32(sums.dy, y);
  sums.absDx = vaddq_s32(sums.absDx, vabsq_s32(x));
  sums.absDy = vaddq_s32(sums.absDy, vabsq_s32(y));
}

// The patch is read as rows of 20 bytes, see the scalar function. A row of cells is five vectors.
void haarSums(const uint8_t* patch, int32_t* sums) {
  constexpr int32_t kRegionCells = kHaarSide / 4;
  const int32x4_t zero = vdupq_n_s32(0);
  for (int32_t regionRow = 0; regionRow < 4; ++regionRow) {
    CellSums columns[6];
    for (CellSums& column : columns)
      column = {zero, zero, zero, zero};
    for (int32_t i = 0; i < kRegionCells; ++i) {
      const int32_t k = kHaarSide * (kRegionCells * regionRow + i);
      const int32_t* weights = kDescriptorWeights.data() + k;
      for (int32_t part = 0; part < 3; ++part) {
        const uint8_t* cell = patch + k + 8 * part;
        const int16x8_t falling = vsubq_s16(eightBytes(cell + kHaarSide + 1), eightBytes(cell));
        const int16x8_t rising = vsubq_s16(eightBytes(cell + 1), eightBytes(cell + kHaarSide));
        const int16x8_t dx = vaddq_s16(falling, rising);
        const int16x8_t dy = vsubq_s16(falling, rising);
        addWeighted(vget_low_s16(dx), vget_low_s16(dy), weights + 8 * part, columns[2 * part]);
        if (part == 2) break;  // the sixth vector lies beyond the row
        addWeighted(vget_high_s16(dx), vget_high_s16(dy), weights + 8 * part + 4,
                    columns[2 * part + 1]);
      }
    }
    uint32_t values[4][20];
    for (int32_t part = 0; part < 5; ++part) {
      vst1q_u32(values[0] + 4 * part, vreinterpretq_u32_s32(columns[part].dx));
      vst1q_u32(values[1] + 4 * part, vreinterpretq_u32_s32(columns[part].dy));
      vst1q_u32(values[2] + 4 * part, vreinterpretq_u32_s32(columns[part].absDx));
      vst1q_u32(values[3] + 4 * part, vreinterpretq_u32_s32(columns[part].absDy));
    }
    for (int32_t region = 0; region < 4; ++region) {
      for (int32_t value = 0; value < 4; ++value) {
        const uint32_t* cell = values[value] + kRegionCells * region;
        sums[16 * regionRow + 4 * region + value] =
            static_cast<int32_t>(cell[0] + cell[1] + cell[2] + cell[3] + cell[4]);
      }
    }
  }
}

// --- kd-trees ---

constexpr int kVectors = 16;  // of a descriptor

int32_t descriptorDistance(const int32_t* a, const int32_t* b) {
  int32x4_t sums[2] = {vdupq_n_s32(0), vdupq_n_s32(0)};
  for (int v = 0; v < kVectors; ++v) {
    const int32x4_t difference =
        vshrq_n_s32(vsubq_s32(vld1q_s32(a + 4 * v), vld1q_s32(b + 4 * v)), 8);
    sums[v % 2] = vmlaq_s32(sums[v % 2], difference, difference);
  }
  const int32x4_t sum = vaddq_s32(sums[0], sums[1]);
  const int32x2_t half = vadd_s32(vget_low_s32(sum), vget_high_s32(sum));
  return vget_lane_s32(vpadd_s32(half, half), 0);
}

void descriptorSums(const int32_t* const* descriptors, const int32_t* indices, int32_t count,
                    int32_t* sums) {
  int32x4_t total[kVectors];
  for (auto& sum : total)
    sum = vdupq_n_s32(0);
  for (int32_t i = 0; i < count; ++i) {
    const int32_t* descriptor = descriptors[indices[i]];
    for (int v = 0; v < kVectors; ++v)
      total[v] = vaddq_s32(total[v], vld1q_s32(descriptor + 4 * v));
  }
  for (int v = 0; v < kVectors; ++v)
    vst1q_s32(sums + 4 * v, total[v]);
}

void descriptorSpreads(const int32_t* const* descriptors, const int32_t* indices, int32_t count,
                       const int32_t* means, int32_t* spreads) {
  int32x4_t total[kVectors];
  for (auto& sum : total)
    sum = vdupq_n_s32(0);
  for (int32_t i = 0; i < count; ++i) {
    const int32_t* descriptor = descriptors[indices[i]];
    for (int v = 0; v < kVectors; ++v) {
      const int32x4_t difference =
          vshrq_n_s32(vsubq_s32(vld1q_s32(descriptor + 4 * v), vld1q_s32(means + 4 * v)), 12);
      total[v] = vmlaq_s32(total[v], difference, difference);
    }
  }
  for (int v = 0; v < kVectors; ++v)
    vst1q_s32(spreads + 4 * v, total[v]);
}

int32_t firstSmallest(const int32_t* values, int32_t count) {
  if (count < 8) return scalar::firstSmallest(values, count);
  int32x4_t smallest = vld1q_s32(values + count - 4);
  for (int32_t i = 0; i + 4 <= count; i += 4)
    smallest = vminq_s32(smallest, vld1q_s32(values + i));
  const int32x2_t half = vmin_s32(vget_low_s32(smallest), vget_high_s32(smallest));
  const int32_t least = vget_lane_s32(vpmin_s32(half, half), 0);
  const int32x4_t wanted = vdupq_n_s32(least);
  int32_t i = 0;
  while (i + 4 <= count && noneSet(vceqq_s32(wanted, vld1q_s32(values + i))))
    i += 4;
  while (values[i] != least)
    ++i;
  return i;
}

// --- Position maps ---

// 32-bit NEON has no division and takes tiny numbers for zero, which shows in positions near the
// vanishing line and under wild homographies: there the scalar function stays.
#ifdef __aarch64__
// Cut toward zero; saturated, and the smallest value where there is no number.
int32x4_t fixedPoint(float32x4_t position) {
  return vbslq_s32(vceqq_f32(position, position), vcvtq_s32_f32(position), vdupq_n_s32(INT32_MIN));
}

void positionRow(const float* homography, int32_t y, int32_t* posX, int32_t* posY, int32_t count) {
  const float* h = homography;
  const auto row = static_cast<float>(y);
  const float32x4_t rowX = vdupq_n_f32(h[2] + row * h[1]);
  const float32x4_t rowY = vdupq_n_f32(h[5] + row * h[4]);
  const float32x4_t rowW = vdupq_n_f32(h[7] * row + 1.0f);
  const auto four = [&](float32x4_t column, int32x4_t& x, int32x4_t& z) {
    const float32x4_t w = vdivq_f32(vdupq_n_f32(1.0f), vaddq_f32(rowW, vmulq_n_f32(column, h[6])));
    x = fixedPoint(vmulq_f32(vmulq_n_f32(vaddq_f32(rowX, vmulq_n_f32(column, h[0])), 65536.0f), w));
    z = fixedPoint(vmulq_f32(vmulq_n_f32(vaddq_f32(rowY, vmulq_n_f32(column, h[3])), 65536.0f), w));
  };
  int32x4_t columns =
      vcombine_s32(vcreate_s32(0x0000000100000000u), vcreate_s32(0x0000000300000002u));
  int32x4_t x;
  int32x4_t z;
  int32_t i = 0;
  for (; i + 4 <= count; i += 4) {
    four(vcvtq_f32_s32(columns), x, z);
    vst1q_s32(posX + i, x);
    vst1q_s32(posY + i, z);
    columns = vaddq_s32(columns, vdupq_n_s32(4));
  }
  if (i < count) {
    int32_t rest[2][4];
    four(vcvtq_f32_s32(columns), x, z);
    vst1q_s32(rest[0], x);
    vst1q_s32(rest[1], z);
    for (int32_t k = 0; i < count; ++i, ++k) {
      posX[i] = rest[0][k];
      posY[i] = rest[1][k];
    }
  }
}
#endif

}  // namespace

void installNeon(RegistrationFunctions& table) {
  table.reduceBox4 = reduceBox4;
  table.integrateRow = integrateRow;
  table.addRow = addRow;
  table.hessianRow = hessianRow;
  table.maximaInRow = maximaInRow;
  table.reducePatch = reducePatch;
  table.haarSums = haarSums;
  table.descriptorDistance = descriptorDistance;
  table.descriptorSums = descriptorSums;
  table.descriptorSpreads = descriptorSpreads;
  table.firstSmallest = firstSmallest;
#ifdef __aarch64__
  table.positionRow = positionRow;
#endif
}

}  // namespace velmora
