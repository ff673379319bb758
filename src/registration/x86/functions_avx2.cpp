// AVX2 functions of the registration family. Intrinsics and static functions only: see
// cmake/VelmoraCpu.cmake. Where an argument leaves the range that vectors serve, the
// scalar function does the work.
#include <immintrin.h>

#include "registration/features/descriptor_weights.h"
#include "registration/features/feature_functions.h"
#include "registration/function_sets.h"
#include "registration/matching/matching_functions.h"

namespace velmora {
namespace {

__m256i load(const void* from) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}
void store(void* to, __m256i value) {
  _mm256_storeu_si256(static_cast<__m256i*>(to), value);
}
__m128i load128(const void* from) {
  return _mm_loadu_si128(static_cast<const __m128i*>(from));
}
void store128(void* to, __m128i value) {
  _mm_storeu_si128(static_cast<__m128i*>(to), value);
}

// --- Reduction and integral image ---

// Sums of four neighbouring samples over four rows, eight blocks from `block` on; at most 4080.
__m256i sumEightBlocks(const uint8_t* block, std::ptrdiff_t stride) {
  const __m256i ones = _mm256_set1_epi8(1);
  __m256i pairs = _mm256_maddubs_epi16(load(block), ones);
  for (std::ptrdiff_t y = 1; y < 4; ++y) {
    pairs = _mm256_add_epi16(pairs, _mm256_maddubs_epi16(load(block + y * stride), ones));
  }
  return _mm256_madd_epi16(pairs, _mm256_set1_epi16(1));
}

void reduceBox4(const uint8_t* src, std::ptrdiff_t stride, uint8_t* dst, int32_t count) {
  const __m256i round = _mm256_set1_epi16(8);
  int32_t i = 0;
  for (; i + 16 <= count; i += 16) {
    const uint8_t* block = src + std::ptrdiff_t{4} * i;
    __m256i sums =
        _mm256_packus_epi32(sumEightBlocks(block, stride), sumEightBlocks(block + 32, stride));
    sums = _mm256_srli_epi16(_mm256_add_epi16(sums, round), 4);
    const __m256i bytes = _mm256_permutevar8x32_epi32(_mm256_packus_epi16(sums, sums),
                                                      _mm256_setr_epi32(0, 4, 1, 5, 0, 0, 0, 0));
    store128(dst + i, _mm256_castsi256_si128(bytes));
  }
  if (i < count) scalar::reduceBox4(src + std::ptrdiff_t{4} * i, stride, dst + i, count - i);
}

void integrateRow(const uint8_t* src, int32_t* dst, int32_t count) {
  dst[0] = 0;
  __m256i carry = _mm256_setzero_si256();
  int32_t i = 0;
  for (; i + 8 <= count; i += 8) {
    // Running sums of eight samples: at most 2040, so 16 bits do.
    __m128i sums = _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(src + i)));
    sums = _mm_add_epi16(sums, _mm_slli_si128(sums, 2));
    sums = _mm_add_epi16(sums, _mm_slli_si128(sums, 4));
    sums = _mm_add_epi16(sums, _mm_slli_si128(sums, 8));
    carry = _mm256_add_epi32(carry, _mm256_cvtepu16_epi32(sums));
    store(dst + i + 1, carry);
    carry = _mm256_permutevar8x32_epi32(carry, _mm256_set1_epi32(7));
  }
  auto sum = static_cast<uint32_t>(_mm256_cvtsi256_si32(carry));
  for (; i < count; ++i) {
    sum += src[i];
    dst[i + 1] = static_cast<int32_t>(sum);
  }
}

void addRow(const int32_t* above, int32_t* row, int32_t count) {
  int32_t i = 0;
  for (; i + 8 <= count; i += 8)
    store(row + i, _mm256_add_epi32(load(row + i), load(above + i)));
  if (i < count) scalar::addRow(above + i, row + i, count - i);
}

// --- Detector ---

// The integral image around eight filters in a row.
struct Integral {
  const int32_t* origin;
  std::ptrdiff_t stride;
  __m256i at(int32_t y, int32_t x) const { return load(origin + y * stride + x); }
  __m256i box(int32_t y0, int32_t y1, int32_t x0, int32_t x1) const {
    return _mm256_add_epi32(_mm256_sub_epi32(at(y1, x1), at(y0, x1)),
                            _mm256_sub_epi32(at(y0, x0), at(y1, x0)));
  }
};

__m256i times3(__m256i v) {
  return _mm256_add_epi32(v, _mm256_slli_epi32(v, 1));
}

// Bits 16..47 of the 64-bit lanes that belong to the even and the odd 32-bit lanes.
__m256i joinShifted(__m256i even, __m256i odd) {
  return _mm256_blend_epi32(_mm256_srli_epi64(even, 16), _mm256_slli_epi64(odd, 16), 0xAA);
}

// Low 64 bits of square * scale for a scale below 2^31.
__m256i scaledSquare(__m256i square, __m256i scale) {
  const __m256i high = _mm256_mul_epu32(_mm256_srli_epi64(square, 32), scale);
  return _mm256_add_epi64(_mm256_mul_epu32(square, scale), _mm256_slli_epi64(high, 32));
}

__m256i determinants(__m256i dxx, __m256i dyy, __m256i dxy, __m256i directScale,
                     __m256i mixedScale) {
  const __m256i direct = _mm256_mullo_epi32(dxx, dyy);
  const __m256i a = joinShifted(_mm256_mul_epi32(direct, directScale),
                                _mm256_mul_epi32(_mm256_srli_epi64(direct, 32), directScale));
  const __m256i dxyOdd = _mm256_srli_epi64(dxy, 32);
  const __m256i b = joinShifted(scaledSquare(_mm256_mul_epi32(dxy, dxy), mixedScale),
                                scaledSquare(_mm256_mul_epi32(dxyOdd, dxyOdd), mixedScale));
  return _mm256_sub_epi32(a, b);
}

void hessianRow(const int32_t* integral, std::ptrdiff_t stride, const HessianFilter& filter,
                int32_t* det, int32_t count) {
  const auto fits = [](int64_t scale) { return scale >= 0 && scale <= INT32_MAX; };
  int32_t i = 0;
  if (filter.step == 1 && fits(filter.directScale) && fits(filter.mixedScale)) {
    const __m256i directScale = _mm256_set1_epi64x(filter.directScale);
    const __m256i mixedScale = _mm256_set1_epi64x(filter.mixedScale);
    const int32_t lobe = filter.lobe;
    const int32_t in0 = filter.inset;
    const int32_t in1 = in0 + filter.across;
    const int32_t q0 = filter.corner;
    const int32_t q1 = q0 + filter.quadrant;
    const int32_t q2 = q1 + filter.quadrant;
    for (; i + 8 <= count; i += 8) {
      const Integral sums{integral + i, stride};
      const __m256i dxx = _mm256_sub_epi32(sums.box(in0, in1, 0, 3 * lobe),
                                           times3(sums.box(in0, in1, lobe, 2 * lobe)));
      const __m256i dyy = _mm256_sub_epi32(sums.box(0, 3 * lobe, in0, in1),
                                           times3(sums.box(lobe, 2 * lobe, in0, in1)));
      // The four quadrants share their corners: once, twice and four times.
      const __m256i corners = _mm256_add_epi32(_mm256_add_epi32(sums.at(q0, q0), sums.at(q0, q2)),
                                               _mm256_add_epi32(sums.at(q2, q0), sums.at(q2, q2)));
      const __m256i sides = _mm256_add_epi32(_mm256_add_epi32(sums.at(q0, q1), sums.at(q1, q0)),
                                             _mm256_add_epi32(sums.at(q1, q2), sums.at(q2, q1)));
      const __m256i centre = _mm256_slli_epi32(sums.at(q1, q1), 2);
      const __m256i dxy =
          _mm256_sub_epi32(_mm256_add_epi32(corners, centre), _mm256_slli_epi32(sides, 1));
      store(det + i, determinants(dxx, dyy, dxy, directScale, mixedScale));
    }
  }
  if (i < count) {
    scalar::hessianRow(integral + std::ptrdiff_t{i} * filter.step, stride, filter, det + i,
                       count - i);
  }
}

__m256i max3(const int32_t* centre) {
  return _mm256_max_epi32(_mm256_max_epi32(load(centre - 1), load(centre + 1)), load(centre));
}

__m256i maxBlock(const int32_t* centre, std::ptrdiff_t stride) {
  return _mm256_max_epi32(_mm256_max_epi32(max3(centre - stride), max3(centre + stride)),
                          max3(centre));
}

int32_t maximaInRow(const int32_t* const planes[3], std::ptrdiff_t stride, int32_t threshold,
                    int32_t count, int32_t* columns) {
  const __m256i limit = _mm256_set1_epi32(threshold);
  int32_t found = 0;
  int32_t c = 0;
  for (; c + 8 <= count; c += 8) {
    const int32_t* centre = planes[1] + c;
    const __m256i value = load(centre);
    __m256i candidates = _mm256_cmpgt_epi32(value, limit);
    if (_mm256_testz_si256(candidates, candidates)) continue;
    __m256i ring = _mm256_max_epi32(max3(centre - stride), max3(centre + stride));
    ring = _mm256_max_epi32(ring, _mm256_max_epi32(load(centre - 1), load(centre + 1)));
    candidates = _mm256_and_si256(candidates, _mm256_cmpgt_epi32(value, ring));
    if (_mm256_testz_si256(candidates, candidates)) continue;
    const __m256i around =
        _mm256_max_epi32(maxBlock(planes[0] + c, stride), maxBlock(planes[2] + c, stride));
    candidates = _mm256_and_si256(candidates, _mm256_cmpgt_epi32(value, around));
    auto mask = static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(candidates)));
    for (; mask != 0; mask &= mask - 1)
      columns[found++] = c + __builtin_ctz(mask);
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

// Spacing 1: the window is the patch, with rows of 21 bytes in two overlapping loads.
void copyPatch(const uint8_t* window, std::ptrdiff_t stride, uint8_t* patch) {
  for (int32_t y = 0; y < kPatchSide; ++y, window += stride, patch += kPatchSide) {
    const __m128i left = load128(window);
    const __m128i right = load128(window + 5);
    store128(patch, left);
    store128(patch + 5, right);
  }
}

// Rounded means of 16 blocks of 2 x 2 samples.
__m128i meansOfTwo(const uint8_t* row, std::ptrdiff_t stride) {
  const __m256i ones = _mm256_set1_epi8(1);
  __m256i sums = _mm256_add_epi16(_mm256_maddubs_epi16(load(row), ones),
                                  _mm256_maddubs_epi16(load(row + stride), ones));
  sums = _mm256_srli_epi16(_mm256_add_epi16(sums, _mm256_set1_epi16(2)), 2);
  return _mm_packus_epi16(_mm256_castsi256_si128(sums), _mm256_extracti128_si256(sums, 1));
}

void reducePatchOfTwo(const uint8_t* window, std::ptrdiff_t stride, uint8_t* patch) {
  for (int32_t y = 0; y < kPatchSide; ++y, window += 2 * stride, patch += kPatchSide) {
    const __m128i left = meansOfTwo(window, stride);
    const __m128i right = meansOfTwo(window + 10, stride);
    store128(patch, left);
    store128(patch + 5, right);
  }
}

// Adds `rows` rows of `width` >= 16 samples column by column; 256 rows of 255 fit 16 bits.
void sumColumns(const uint8_t* window, std::ptrdiff_t stride, int32_t rows, int32_t width,
                uint16_t* sums) {
  for (int32_t x = 0; x < width; x += 16) {
    const int32_t from = x + 16 <= width ? x : width - 16;
    __m256i sum = _mm256_setzero_si256();
    for (int32_t y = 0; y < rows; ++y) {
      sum = _mm256_add_epi16(sum, _mm256_cvtepu8_epi16(load128(window + y * stride + from)));
    }
    store(sums + from, sum);
  }
}

void reducePatch(const uint8_t* window, std::ptrdiff_t stride, int32_t spacing, uint8_t* patch) {
  if (spacing == 1) return copyPatch(window, stride, patch);
  if (spacing == 2) return reducePatchOfTwo(window, stride, patch);
  constexpr int32_t kLargest = 16;
  if (spacing > kLargest) return scalar::reducePatch(window, stride, spacing, patch);
  const auto reciprocal = static_cast<uint32_t>(65536 / (spacing * spacing));
  uint16_t columns[kLargest * kPatchSide];
  for (int32_t y = 0; y < kPatchSide; ++y, window += spacing * stride) {
    sumColumns(window, stride, spacing, spacing * kPatchSide, columns);
    const uint16_t* column = columns;
    for (int32_t x = 0; x < kPatchSide; ++x) {
      uint32_t sum = 0;
      for (int32_t i = 0; i < spacing; ++i)
        sum += *column++;  // NOLINT(clang-analyzer-core.uninitialized.Assign): vectors wrote them
      *patch++ = static_cast<uint8_t>((sum * reciprocal + 32768) >> 16);
    }
  }
}

__m256i eightBytes(const uint8_t* from) {
  return _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(from)));
}

// Weighted responses of eight cells, added to column sums of dx, dy, |dx|, |dy|.
void addCells(const uint8_t* cell, __m256i weights, __m256i (&sums)[4]) {
  const __m256i a = eightBytes(cell);
  const __m256i b = eightBytes(cell + 1);
  const __m256i c = eightBytes(cell + kHaarSide);
  const __m256i d = eightBytes(cell + kHaarSide + 1);
  const __m256i falling = _mm256_sub_epi32(d, a);
  const __m256i rising = _mm256_sub_epi32(b, c);
  const __m256i dx = _mm256_mullo_epi32(_mm256_add_epi32(falling, rising), weights);
  const __m256i dy = _mm256_mullo_epi32(_mm256_sub_epi32(falling, rising), weights);
  sums[0] = _mm256_add_epi32(sums[0], dx);
  sums[1] = _mm256_add_epi32(sums[1], dy);
  sums[2] = _mm256_add_epi32(sums[2], _mm256_abs_epi32(dx));
  sums[3] = _mm256_add_epi32(sums[3], _mm256_abs_epi32(dy));
}

// The patch is read as rows of 20 bytes, see the scalar function. Twenty cells of a row are three
// vectors, the last one half used.
void haarSums(const uint8_t* patch, int32_t* sums) {
  constexpr int32_t kRegionCells = kHaarSide / 4;
  const __m256i half = _mm256_setr_epi32(-1, -1, -1, -1, 0, 0, 0, 0);
  for (int32_t regionRow = 0; regionRow < 4; ++regionRow) {
    __m256i columns[3][4] = {};
    for (int32_t i = 0; i < kRegionCells; ++i) {
      const int32_t k = kHaarSide * (kRegionCells * regionRow + i);
      const int32_t* weights = kDescriptorWeights.data() + k;
      addCells(patch + k, load(weights), columns[0]);
      addCells(patch + k + 8, load(weights + 8), columns[1]);
      addCells(patch + k + 16, _mm256_maskload_epi32(weights + 16, half), columns[2]);
    }
    for (int32_t value = 0; value < 4; ++value) {
      uint32_t column[24];
      for (int32_t part = 0; part < 3; ++part)
        store(column + 8 * part, columns[part][value]);
      for (int32_t region = 0; region < 4; ++region) {
        const uint32_t* cell = column + kRegionCells * region;
        sums[16 * regionRow + 4 * region + value] =
            static_cast<int32_t>(cell[0] + cell[1] + cell[2] + cell[3] + cell[4]);
      }
    }
  }
}

// --- kd-trees ---

constexpr int kVectors = 8;  // of a descriptor

__m256i shiftedSquare(__m256i a, __m256i b, int shift) {
  const __m256i difference = _mm256_srai_epi32(_mm256_sub_epi32(a, b), shift);
  return _mm256_mullo_epi32(difference, difference);
}

int32_t descriptorDistance(const int32_t* a, const int32_t* b) {
  __m256i sum = _mm256_setzero_si256();
  for (int v = 0; v < kVectors; ++v) {
    sum = _mm256_add_epi32(sum, shiftedSquare(load(a + 8 * v), load(b + 8 * v), 8));
  }
  __m128i quarter = _mm_add_epi32(_mm256_castsi256_si128(sum), _mm256_extracti128_si256(sum, 1));
  quarter = _mm_add_epi32(quarter, _mm_shuffle_epi32(quarter, 0x4E));
  quarter = _mm_add_epi32(quarter, _mm_shuffle_epi32(quarter, 0xB1));
  return _mm_cvtsi128_si32(quarter);
}

void descriptorSums(const int32_t* const* descriptors, const int32_t* indices, int32_t count,
                    int32_t* sums) {
  __m256i total[kVectors] = {};
  for (int32_t i = 0; i < count; ++i) {
    const int32_t* descriptor = descriptors[indices[i]];
    for (int v = 0; v < kVectors; ++v) {
      total[v] = _mm256_add_epi32(total[v], load(descriptor + 8 * v));
    }
  }
  for (int v = 0; v < kVectors; ++v)
    store(sums + 8 * v, total[v]);
}

void descriptorSpreads(const int32_t* const* descriptors, const int32_t* indices, int32_t count,
                       const int32_t* means, int32_t* spreads) {
  __m256i total[kVectors] = {};
  for (int32_t i = 0; i < count; ++i) {
    const int32_t* descriptor = descriptors[indices[i]];
    for (int v = 0; v < kVectors; ++v) {
      total[v] = _mm256_add_epi32(total[v],
                                  shiftedSquare(load(descriptor + 8 * v), load(means + 8 * v), 12));
    }
  }
  for (int v = 0; v < kVectors; ++v)
    store(spreads + 8 * v, total[v]);
}

int32_t firstSmallest(const int32_t* values, int32_t count) {
  if (count < 16) return scalar::firstSmallest(values, count);
  __m256i smallest = load(values + count - 8);
  for (int32_t i = 0; i + 8 <= count; i += 8)
    smallest = _mm256_min_epi32(smallest, load(values + i));
  smallest = _mm256_min_epi32(smallest, _mm256_permute2x128_si256(smallest, smallest, 1));
  smallest = _mm256_min_epi32(smallest, _mm256_shuffle_epi32(smallest, 0x4E));
  smallest = _mm256_min_epi32(smallest, _mm256_shuffle_epi32(smallest, 0xB1));
  for (int32_t i = 0; i + 8 <= count; i += 8) {
    const __m256i equal = _mm256_cmpeq_epi32(smallest, load(values + i));
    const auto mask = static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(equal)));
    if (mask != 0) return i + __builtin_ctz(mask);
  }
  int32_t last = count - 8;
  while (values[last] != _mm256_cvtsi256_si32(smallest))
    ++last;
  return last;
}

// --- Position maps ---

// Cut toward zero. The conversion gives the smallest value for what is too small, too large or no
// number; what is too large becomes the largest.
__m256i fixedPoint(__m256 position) {
  const __m256 tooLarge = _mm256_cmp_ps(position, _mm256_set1_ps(2147483648.0f), _CMP_GE_OQ);
  return _mm256_xor_si256(_mm256_cvttps_epi32(position), _mm256_castps_si256(tooLarge));
}

void positionRow(const float* homography, int32_t y, int32_t* posX, int32_t* posY, int32_t count) {
  const float* h = homography;
  const auto row = static_cast<float>(y);
  const __m256 rowX = _mm256_set1_ps(h[2] + row * h[1]);
  const __m256 rowY = _mm256_set1_ps(h[5] + row * h[4]);
  const __m256 rowW = _mm256_set1_ps(h[7] * row + 1.0f);
  const __m256 h0 = _mm256_set1_ps(h[0]);
  const __m256 h3 = _mm256_set1_ps(h[3]);
  const __m256 h6 = _mm256_set1_ps(h[6]);
  const __m256 scale = _mm256_set1_ps(65536.0f);
  __m256i columns = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
  for (int32_t x = 0; x < count; x += 8) {
    const __m256 column = _mm256_cvtepi32_ps(columns);
    const __m256 w =
        _mm256_div_ps(_mm256_set1_ps(1.0f), _mm256_add_ps(rowW, _mm256_mul_ps(h6, column)));
    const auto position = [&](__m256 start, __m256 step) {
      const __m256 at = _mm256_add_ps(start, _mm256_mul_ps(column, step));
      return fixedPoint(_mm256_mul_ps(_mm256_mul_ps(at, scale), w));
    };
    const __m256i newX = position(rowX, h0);
    const __m256i newY = position(rowY, h3);
    if (x + 8 <= count) {
      store(posX + x, newX);
      store(posY + x, newY);
    } else {
      const __m256i wanted = _mm256_cmpgt_epi32(_mm256_set1_epi32(count), columns);
      _mm256_maskstore_epi32(posX + x, wanted, newX);
      _mm256_maskstore_epi32(posY + x, wanted, newY);
    }
    columns = _mm256_add_epi32(columns, _mm256_set1_epi32(8));
  }
}

}  // namespace

void installAvx2(RegistrationFunctions& table) {
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
  table.positionRow = positionRow;
}

}  // namespace velmora
