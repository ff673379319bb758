// Fusion with AVX2: one 16-tap dot product per frame and sample, eight samples at a time.
// Intrinsics and static functions only: see cmake/VelmoraKernels.cmake.
#include <immintrin.h>

#include "interpolation/kernels.h"
#include "interpolation/x86/avx2.h"

namespace velmora::avx2 {
namespace {

__m256i load(const void* from) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}
__m128i load128(const void* from) {
  return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

int fourBytes(const uint8_t* from) {
  int value;
  __builtin_memcpy(&value, from, sizeof value);
  return value;
}

// The 4 x 4 samples from `samples` on times 16 taps, as eight partial sums.
__m256i weightedBlock(const uint8_t* row0, const uint8_t* row1, const uint8_t* row2,
                      const uint8_t* row3, const int16_t* taps) {
  const __m128i samples =
      _mm_setr_epi32(fourBytes(row0), fourBytes(row1), fourBytes(row2), fourBytes(row3));
  return _mm256_madd_epi16(_mm256_cvtepu8_epi16(samples), load(taps));
}

// Adds the second frame's share of column j, if its position lies in the frame.
void addSecondFrame(const FusionRow& row, const FusionColumns& columns, int32_t j, __m256i& sum,
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
  const int64_t pitch = row.sourceWidth;
  const uint8_t* samples = row.second + (line + 1) * pitch + column + 1;
  sum = _mm256_add_epi32(
      sum, weightedBlock(samples, samples + pitch, samples + 2 * pitch, samples + 3 * pitch, taps));
  weight += taps[16];
}

// (sums + weights / 2) / weights, truncated. A weight of 0 makes the conversion give the smallest
// integer, which the clamp turns into the 0 that is wanted.
__m128i quotients(__m128i sums, __m128i weights) {
  const __m128i rounded = _mm_add_epi32(sums, _mm_srai_epi32(weights, 1));
  return _mm256_cvttpd_epi32(
      _mm256_div_pd(_mm256_cvtepi32_pd(rounded), _mm256_cvtepi32_pd(weights)));
}

// Eight columns from j on, whose first-frame samples all lie in the row.
void fuseEight(const FusionRow& row, const FusionColumns& columns, int32_t j, uint8_t* out) {
  __m256i sums[8];
  int32_t weights[8];
  for (int k = 0; k < 8; ++k) {
    const int32_t first = columns.first[j + k];
    const int16_t* taps = row.taps[columns.phase[j + k]];
    sums[k] = weightedBlock(row.rows[0] + first, row.rows[1] + first, row.rows[2] + first,
                            row.rows[3] + first, taps);
    weights[k] = taps[16];
    addSecondFrame(row, columns, j + k, sums[k], weights[k]);
  }
  // Partial sums of columns 0..3 and 4..7, folded to one 32-bit sum each.
  const __m256i low =
      _mm256_hadd_epi32(_mm256_hadd_epi32(sums[0], sums[1]), _mm256_hadd_epi32(sums[2], sums[3]));
  const __m256i high =
      _mm256_hadd_epi32(_mm256_hadd_epi32(sums[4], sums[5]), _mm256_hadd_epi32(sums[6], sums[7]));
  const __m128i sum0 = _mm_add_epi32(_mm256_castsi256_si128(low), _mm256_extracti128_si256(low, 1));
  const __m128i sum1 =
      _mm_add_epi32(_mm256_castsi256_si128(high), _mm256_extracti128_si256(high, 1));
  const __m128i words =
      _mm_packs_epi32(quotients(sum0, load128(weights)), quotients(sum1, load128(weights + 4)));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out + j), _mm_packus_epi16(words, words));
}

}  // namespace

void fuseRow(const FusionRow& row, const FusionColumns& columns, int32_t begin, int32_t end,
             uint8_t* out) {
  const int32_t insideBegin = columns.insideBegin > begin ? columns.insideBegin : begin;
  const int32_t insideEnd = columns.insideEnd < end ? columns.insideEnd : end;
  if (insideEnd - insideBegin < 8) return scalar::fuseRow(row, columns, begin, end, out);
  if (begin < insideBegin) scalar::fuseRow(row, columns, begin, insideBegin, out);
  int32_t j = insideBegin;
  for (; j + 8 <= insideEnd; j += 8)
    fuseEight(row, columns, j, out);
  if (j < end) scalar::fuseRow(row, columns, j, end, out);
}

}  // namespace velmora::avx2
