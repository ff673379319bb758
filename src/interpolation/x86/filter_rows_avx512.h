// The vertical filter with AVX-512: internal linkage, so that each file has its own copy compiled
// with its own flags.
#ifndef VELMORA_SRC_INTERPOLATION_X86_FILTER_ROWS_AVX512_H
#define VELMORA_SRC_INTERPOLATION_X86_FILTER_ROWS_AVX512_H

#include <immintrin.h>

#include "interpolation/x86/tails.h"

namespace velmora {
namespace {  // NOLINT(cert-dcl59-cpp)
// NOLINTBEGIN(misc-definitions-in-headers)

// sum + the products of pairs of 16-bit values; one instruction where the set has dot products.
__m512i addProducts(__m512i sum, __m512i samples, __m512i taps) {
#ifdef __AVX512VNNI__
  return _mm512_dpwssd_epi32(sum, samples, taps);
#else
  return _mm512_add_epi32(sum, _mm512_madd_epi16(samples, taps));
#endif
}

// 32 samples of one output row, the first ones of `wanted`, before the clamp.
__m512i filterThirtyTwo(const int16_t* const* rows, int32_t j, __mmask32 wanted, __m512i taps01,
                        __m512i taps23) {
  const __m512i r0 = _mm512_maskz_loadu_epi16(wanted, rows[0] + j);
  const __m512i r1 = _mm512_maskz_loadu_epi16(wanted, rows[1] + j);
  const __m512i r2 = _mm512_maskz_loadu_epi16(wanted, rows[2] + j);
  const __m512i r3 = _mm512_maskz_loadu_epi16(wanted, rows[3] + j);
  const __m512i round = _mm512_set1_epi32(2048);
  __m512i low = addProducts(round, _mm512_unpacklo_epi16(r0, r1), taps01);
  __m512i high = addProducts(round, _mm512_unpackhi_epi16(r0, r1), taps01);
  low = addProducts(low, _mm512_unpacklo_epi16(r2, r3), taps23);
  high = addProducts(high, _mm512_unpackhi_epi16(r2, r3), taps23);
  return _mm512_packs_epi32(_mm512_srai_epi32(low, 12), _mm512_srai_epi32(high, 12));
}

void filterRows(const int16_t* const* rows, const int16_t* taps, uint8_t* out, int32_t count) {
  const __m512i taps01 = _mm512_set1_epi32(tapPair(taps));
  const __m512i taps23 = _mm512_set1_epi32(tapPair(taps + 2));
  const __m512i zero = _mm512_setzero_si512();
  for (int32_t j = 0; j < count; j += 32) {
    const int32_t left = count - j;
    const __mmask32 wanted = left >= 32 ? ~__mmask32{0} : (__mmask32{1} << left) - 1;
    const __m512i v = _mm512_max_epi16(filterThirtyTwo(rows, j, wanted, taps01, taps23), zero);
    // The unsigned saturation of the narrowing is the upper clamp.
    _mm256_mask_storeu_epi8(out + j, wanted, _mm512_cvtusepi16_epi8(v));
  }
}

// NOLINTEND(misc-definitions-in-headers)
}  // namespace
}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_X86_FILTER_ROWS_AVX512_H
