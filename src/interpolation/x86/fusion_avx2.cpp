// Fusion with AVX2: one 16-tap dot product per frame and sample, eight samples at a time.
// Intrinsics and static functions only: see cmake/VelmoraCpu.cmake.
#include <immintrin.h>

#include "interpolation/function_sets.h"
#include "interpolation/x86/avx2.h"

namespace velmora::avx2 {
namespace {

__m256i load(const void* from) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}
void store(void* to, __m256i value) {
  _mm256_storeu_si256(static_cast<__m256i*>(to), value);
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

constexpr int kGroup = 8;
constexpr int kStretch = 16 * kGroup;

// Columns between the loops.
struct Stretch {
  alignas(32) int32_t offsets[kStretch];    // of the second frame's block from its first sample
  alignas(32) int32_t tableRows[kStretch];  // of its taps; -1 outside the frame
  alignas(32) int32_t sums[kStretch];
  alignas(32) int32_t weights[kStretch];
};

// What a sample outside the second frame is weighted with.
constexpr int16_t kNoTaps[17] = {};

// Where the eight columns from j on lie in the second frame. A frame without 2^31 samples.
void locate(const FusionRow& row, const FusionColumns& columns, int32_t j, int32_t* offsets,
            int32_t* tableRows) {
  const __m256i map = load(columns.mapColumn + j);
  const __m256i x =
      _mm256_add_epi32(_mm256_i32gather_epi32(row.mapX, map, 4), load(columns.fraction + j));
  const __m256i y =
      _mm256_add_epi32(_mm256_i32gather_epi32(row.mapY, map, 4), _mm256_set1_epi32(row.fraction));
  const __m256i column = _mm256_srai_epi32(x, 16);
  const __m256i line = _mm256_srai_epi32(y, 16);
  const __m256i before = _mm256_srai_epi32(_mm256_or_si256(column, line), 31);
  const __m256i inColumns = _mm256_cmpgt_epi32(_mm256_set1_epi32(row.width), column);
  const __m256i inLines = _mm256_cmpgt_epi32(_mm256_set1_epi32(row.height), line);
  const __m256i inside = _mm256_andnot_si256(before, _mm256_and_si256(inColumns, inLines));

  // Tap 0 lies one sample above and before the position: padded line + 1, column + 1.
  const __m256i pitch = _mm256_set1_epi32(row.sourceWidth);
  const __m256i offset =
      _mm256_add_epi32(_mm256_mullo_epi32(line, pitch),
                       _mm256_add_epi32(column, _mm256_set1_epi32(row.sourceWidth + 1)));
  const __m256i phases = _mm256_set1_epi32(row.phases);
  const auto phase = [&](__m256i position) {
    const __m256i fraction = _mm256_blend_epi16(position, _mm256_setzero_si256(), 0xAA);
    return _mm256_srli_epi32(_mm256_mullo_epi32(phases, fraction), 16);
  };
  const __m256i tableRow = _mm256_add_epi32(_mm256_mullo_epi32(phase(y), phases), phase(x));
  store(offsets, _mm256_and_si256(offset, inside));
  store(tableRows, _mm256_blendv_epi8(_mm256_set1_epi32(-1), tableRow, inside));
}

// Sums and weights of the eight columns from j on.
void addUp(const FusionRow& row, const FusionColumns& columns, int32_t j, const int32_t* offsets,
           const int32_t* tableRows, int32_t* sums, int32_t* weights) {
  const int64_t pitch = row.sourceWidth;
  __m256i parts[kGroup];
  for (int k = 0; k < kGroup; ++k) {
    const int32_t first = columns.first[j + k];
    const int16_t* firstTaps = row.taps[columns.phase[j + k]];
    const uint8_t* second = row.second + offsets[k];
    const int16_t* secondTaps = tableRows[k] < 0 ? kNoTaps : row.table[tableRows[k]];
    parts[k] = _mm256_add_epi32(
        weightedBlock(row.rows[0] + first, row.rows[1] + first, row.rows[2] + first,
                      row.rows[3] + first, firstTaps),
        weightedBlock(second, second + pitch, second + 2 * pitch, second + 3 * pitch, secondTaps));
    weights[k] = firstTaps[16] + secondTaps[16];
  }
  const __m256i low = _mm256_hadd_epi32(_mm256_hadd_epi32(parts[0], parts[1]),
                                        _mm256_hadd_epi32(parts[2], parts[3]));
  const __m256i high = _mm256_hadd_epi32(_mm256_hadd_epi32(parts[4], parts[5]),
                                         _mm256_hadd_epi32(parts[6], parts[7]));
  store(sums, _mm256_add_epi32(_mm256_permute2x128_si256(low, high, 0x20),
                               _mm256_permute2x128_si256(low, high, 0x31)));
}

// Quotients of four, truncated. A weight of 0 makes the conversion give the smallest integer, which
// the clamp turns into the 0 that is wanted.
__m128i exactQuotients(__m128i numerators, __m128i weights) {
  return _mm256_cvttpd_epi32(
      _mm256_div_pd(_mm256_cvtepi32_pd(numerators), _mm256_cvtepi32_pd(weights)));
}

// (sums + weights / 2) / weights, truncated; exact where it lies in 0 .. 255, on its side of that
// range elsewhere.
__m256i quotients(__m256i sums, __m256i weights) {
  const __m256i zero = _mm256_setzero_si256();
  const __m256i numerator = _mm256_add_epi32(sums, _mm256_srai_epi32(weights, 1));
  if (_mm256_movemask_epi8(_mm256_cmpgt_epi32(weights, zero)) != -1) {
    return _mm256_inserti128_si256(
        _mm256_castsi128_si256(
            exactQuotients(_mm256_castsi256_si128(numerator), _mm256_castsi256_si128(weights))),
        exactQuotients(_mm256_extracti128_si256(numerator, 1),
                       _mm256_extracti128_si256(weights, 1)),
        1);
  }
  // The single-precision quotient of sums below 2^29 is off by one at most where it lies below 256,
  // which the remainder tells.
  const __m256i positive = _mm256_max_epi32(numerator, zero);
  const __m256i quotient =
      _mm256_cvttps_epi32(_mm256_div_ps(_mm256_cvtepi32_ps(positive), _mm256_cvtepi32_ps(weights)));
  const __m256i rest = _mm256_sub_epi32(positive, _mm256_mullo_epi32(quotient, weights));
  const __m256i tooLarge = _mm256_srai_epi32(rest, 31);
  const __m256i fits = _mm256_cmpgt_epi32(weights, rest);
  // One less where the rest is negative, one more where it is not below the weight.
  return _mm256_add_epi32(_mm256_add_epi32(quotient, tooLarge),
                          _mm256_add_epi32(fits, _mm256_set1_epi32(1)));
}

// `count` columns from j on, a multiple of 8 up to kStretch, whose first-frame samples all lie in
// the row.
void fuseStretch(const FusionRow& row, const FusionColumns& columns, int32_t j, int32_t count,
                 uint8_t* out) {
  Stretch s;
  for (int32_t i = 0; i < count; i += kGroup)
    locate(row, columns, j + i, s.offsets + i, s.tableRows + i);
  for (int32_t i = 0; i < count; i += kGroup)
    addUp(row, columns, j + i, s.offsets + i, s.tableRows + i, s.sums + i, s.weights + i);
  for (int32_t i = 0; i < count; i += kGroup) {
    const __m256i result = quotients(load(s.sums + i), load(s.weights + i));
    const __m128i words =
        _mm_packs_epi32(_mm256_castsi256_si128(result), _mm256_extracti128_si256(result, 1));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + j + i), _mm_packus_epi16(words, words));
  }
}

}  // namespace

void fuseRow(const FusionRow& row, const FusionColumns& columns, int32_t begin, int32_t end,
             uint8_t* out) {
  const int32_t insideBegin = columns.insideBegin > begin ? columns.insideBegin : begin;
  const int32_t insideEnd = columns.insideEnd < end ? columns.insideEnd : end;
  const int64_t samples = (int64_t{row.height} + 4) * row.sourceWidth;
  if (insideEnd - insideBegin < kGroup || samples > INT32_MAX)
    return scalar::fuseRow(row, columns, begin, end, out);
  if (begin < insideBegin) scalar::fuseRow(row, columns, begin, insideBegin, out);
  int32_t j = insideBegin;
  while (j + kGroup <= insideEnd) {
    const int32_t left = (insideEnd - j) / kGroup * kGroup;
    const int32_t count = left < kStretch ? left : kStretch;
    fuseStretch(row, columns, j, count, out);
    j += count;
  }
  if (j < end) scalar::fuseRow(row, columns, j, end, out);
}

}  // namespace velmora::avx2
