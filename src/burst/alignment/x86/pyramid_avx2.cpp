// Rows of pyramids with AVX2. Intrinsics and static functions only: see cmake/VelmoraCpu.cmake.
#include <immintrin.h>

#include "burst/alignment/function_sets.h"
#include "burst/alignment/x86/avx2.h"

namespace velmora::burst::avx2 {
namespace {

__m256i load(const void* from) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}
void store(void* to, __m256i value) {
  _mm256_storeu_si256(static_cast<__m256i*>(to), value);
}

// 64-bit quarters 0 2 1 3: in-lane packing leaves the middle ones exchanged.
__m256i exchangeMiddle(__m256i v) {
  return _mm256_permute4x64_epi64(v, 0xD8);
}

// Stores 1 for each of 16 counts above 1, otherwise 0.
void storeMarks(uint8_t* to, __m256i counts) {
  const __m256i above = _mm256_cmpgt_epi16(counts, _mm256_set1_epi16(1));
  const __m128i bytes =
      _mm_packs_epi16(_mm256_castsi256_si128(above), _mm256_extracti128_si256(above, 1));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_and_si128(bytes, _mm_set1_epi8(1)));
}

// 1 for each byte above 250 or below 2.
__m256i extremes(__m256i bytes) {
  const __m256i moved = _mm256_sub_epi8(bytes, _mm256_set1_epi8(2));
  const __m256i usual =
      _mm256_cmpeq_epi8(_mm256_min_epu8(moved, _mm256_set1_epi8(static_cast<char>(248))), moved);
  return _mm256_andnot_si256(usual, _mm256_set1_epi8(1));
}

__m256i pairSums(__m256i bytes) {
  return _mm256_maddubs_epi16(bytes, _mm256_set1_epi8(1));
}

// Ends of rows, where neighbours are repeated.
template <typename Sample>
int32_t smoothSum(const Sample* const* rows, int32_t x, int32_t count) {
  const auto column = [rows](int32_t i) { return rows[0][i] + 2 * rows[1][i] + rows[2][i]; };
  return column(x > 0 ? x - 1 : 0) + 2 * column(x) + column(x + 1 < count ? x + 1 : count - 1);
}

// A column's sum of samples times 1 2 1: at most 32640.
__m256i columnSums(const int16_t* const* rows, int32_t x) {
  const __m256i middle = load(rows[1] + x);
  return _mm256_add_epi16(_mm256_add_epi16(load(rows[0] + x), load(rows[2] + x)),
                          _mm256_add_epi16(middle, middle));
}
__m256i columnSums(const uint8_t* const* rows, int32_t x) {
  const auto wide = [x](const uint8_t* row) {
    return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(row + x)));
  };
  const __m256i middle = wide(rows[1]);
  return _mm256_add_epi16(_mm256_add_epi16(wide(rows[0]), wide(rows[2])),
                          _mm256_add_epi16(middle, middle));
}

__m256i orOf(const uint8_t* const* rows, int32_t x) {
  return _mm256_or_si256(_mm256_or_si256(load(rows[0] + x), load(rows[1] + x)), load(rows[2] + x));
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

}  // namespace

void halveBytes(const uint8_t* upper, const uint8_t* lower, int16_t* out, uint8_t* masked,
                int32_t count) {
  int32_t i = 0;
  for (; i + 16 <= count; i += 16) {
    const __m256i a = load(upper + 2 * i);
    const __m256i b = load(lower + 2 * i);
    store(out + i, _mm256_slli_epi16(_mm256_add_epi16(pairSums(a), pairSums(b)), 3));
    storeMarks(masked + i, pairSums(_mm256_add_epi8(extremes(a), extremes(b))));
  }
  scalar::halveBytes(upper + 2 * i, lower + 2 * i, out + i, masked + i, count - i);
}

void halve(const int16_t* const* rows, const uint8_t* const* maskedRows, int16_t* out,
           uint8_t* masked, int32_t count) {
  const auto fours = [rows](int32_t i) {  // eight sums of four, at most 32640
    const __m256i two = _mm256_add_epi16(load(rows[0] + 2 * i), load(rows[1] + 2 * i));
    const __m256i sum = _mm256_madd_epi16(two, _mm256_set1_epi16(1));
    return _mm256_srli_epi32(_mm256_add_epi32(sum, _mm256_set1_epi32(2)), 2);
  };
  int32_t i = 0;
  for (; i + 16 <= count; i += 16) {
    store(out + i, exchangeMiddle(_mm256_packs_epi32(fours(i), fours(i + 8))));
    storeMarks(masked + i,
               pairSums(_mm256_add_epi8(load(maskedRows[0] + 2 * i), load(maskedRows[1] + 2 * i))));
  }
  const int16_t* const restRows[] = {rows[0] + 2 * i, rows[1] + 2 * i};
  const uint8_t* const restMasked[] = {maskedRows[0] + 2 * i, maskedRows[1] + 2 * i};
  scalar::halve(restRows, restMasked, out + i, masked + i, count - i);
}

void smooth(const int16_t* const* rows, int16_t* out, int32_t count) {
  const __m256i ones = _mm256_set1_epi16(1);
  const __m256i oneTwo = _mm256_set1_epi32(0x00020001);
  const __m256i eights = _mm256_set1_epi16(8);
  int32_t x = 0;
  for (; x < count && x < 1; ++x)
    out[x] = static_cast<int16_t>((smoothSum(rows, x, count) + 8) >> 4);
  for (; x + 17 <= count; x += 16) {
    const __m256i left = columnSums(rows, x - 1);
    const __m256i middle = columnSums(rows, x);
    const __m256i right = columnSums(rows, x + 1);
    const __m256i low =
        _mm256_add_epi32(_mm256_madd_epi16(_mm256_unpacklo_epi16(left, middle), oneTwo),
                         _mm256_madd_epi16(_mm256_unpacklo_epi16(right, eights), ones));
    const __m256i high =
        _mm256_add_epi32(_mm256_madd_epi16(_mm256_unpackhi_epi16(left, middle), oneTwo),
                         _mm256_madd_epi16(_mm256_unpackhi_epi16(right, eights), ones));
    store(out + x, _mm256_packs_epi32(_mm256_srli_epi32(low, 4), _mm256_srli_epi32(high, 4)));
  }
  for (; x < count; ++x)
    out[x] = static_cast<int16_t>((smoothSum(rows, x, count) + 8) >> 4);
}

void smoothBytes(const uint8_t* const* rows, int16_t* out, int32_t count) {
  int32_t x = 0;
  for (; x < count && x < 1; ++x)
    out[x] = static_cast<int16_t>(2 * smoothSum(rows, x, count));
  for (; x + 17 <= count; x += 16) {
    const __m256i middle = columnSums(rows, x);
    const __m256i sum =
        _mm256_add_epi16(_mm256_add_epi16(columnSums(rows, x - 1), columnSums(rows, x + 1)),
                         _mm256_add_epi16(middle, middle));
    store(out + x, _mm256_add_epi16(sum, sum));
  }
  for (; x < count; ++x)
    out[x] = static_cast<int16_t>(2 * smoothSum(rows, x, count));
}

void widenMask(const uint8_t* const* rows, uint8_t* out, int32_t count) {
  int32_t x = 0;
  for (; x < count && x < 1; ++x)
    out[x] = widenOne(rows, x, count);
  for (; x + 34 <= count; x += 32) {
    const __m256i near =
        _mm256_or_si256(_mm256_or_si256(orOf(rows, x - 1), orOf(rows, x)), orOf(rows, x + 1));
    const __m256i below =
        _mm256_or_si256(_mm256_or_si256(load(rows[3] + x - 1), load(rows[3] + x)),
                        _mm256_or_si256(load(rows[3] + x + 1), load(rows[3] + x + 2)));
    const __m256i any = _mm256_or_si256(_mm256_or_si256(near, orOf(rows, x + 2)), below);
    store(out + x, _mm256_or_si256(near, _mm256_add_epi8(any, any)));
  }
  for (; x < count; ++x)
    out[x] = widenOne(rows, x, count);
}

}  // namespace velmora::burst::avx2
