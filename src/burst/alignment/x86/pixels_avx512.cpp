// Residuals of pixels and their sums with AVX-512 (F, BW, DQ, VL). Intrinsics and static functions
// only: see cmake/VelmoraCpu.cmake.
#include <immintrin.h>

#include "burst/alignment/function_sets.h"

namespace velmora::burst {
namespace {

__m512 set(float value) {
  return _mm512_set1_ps(value);
}
__m256i load256(const void* from) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}

__m512i columnsAt(const PixelRow& row, int32_t i) {
  return _mm512_cvtepu16_epi32(load256(row.columns + i));
}
// The X coordinates of sixteen pixels.
__m512 coordinates(const PixelRow& row, __m512i columns) {
  return _mm512_mul_ps(_mm512_sub_ps(_mm512_cvtepi32_ps(columns), set(row.centre)), set(row.scale));
}
// Sixteen 16-bit values as floats in units of `unit`.
__m512 floats(const int16_t* from, float unit) {
  return _mm512_mul_ps(_mm512_cvtepi32_ps(_mm512_cvtepi16_epi32(load256(from))), set(unit));
}

// Catmull-Rom's taps for positions f behind the second sample.
struct Taps {
  explicit Taps(__m512 f) {
    const __m512 ff = _mm512_mul_ps(f, f);
    const __m512 half = _mm512_mul_ps(set(0.5f), f);
    const __m512 more = _mm512_mul_ps(set(1.5f), f);
    of[0] = _mm512_mul_ps(
        f, _mm512_sub_ps(_mm512_mul_ps(f, _mm512_sub_ps(set(1.0f), half)), set(0.5f)));
    of[1] = _mm512_add_ps(_mm512_mul_ps(ff, _mm512_sub_ps(more, set(2.5f))), set(1.0f));
    of[2] = _mm512_mul_ps(
        f, _mm512_add_ps(_mm512_mul_ps(f, _mm512_sub_ps(set(2.0f), more)), set(0.5f)));
    of[3] = _mm512_mul_ps(ff, _mm512_sub_ps(half, set(0.5f)));
  }
  __m512 of[4];
};

// The same as Q14 integers, in 64 bits a pixel: pixels 4 n, 4 n + 1 and 4 n + 2, 4 n + 3.
struct IntegerTaps {
  explicit IntegerTaps(const Taps& taps) {
    const __m512i first = rounded(taps.of[0]);
    const __m512i third = rounded(taps.of[2]);
    const __m512i fourth = rounded(taps.of[3]);
    const __m512i second = _mm512_sub_epi32(
        _mm512_set1_epi32(16384), _mm512_add_epi32(_mm512_add_epi32(first, third), fourth));
    const __mmask32 odd = 0xAAAAAAAA;
    const __m512i front = _mm512_mask_blend_epi16(odd, first, _mm512_slli_epi32(second, 16));
    const __m512i back = _mm512_mask_blend_epi16(odd, third, _mm512_slli_epi32(fourth, 16));
    low = _mm512_unpacklo_epi32(front, back);
    high = _mm512_unpackhi_epi32(front, back);
  }
  // By the addition of a large number, as the scalar function does.
  static __m512i rounded(__m512 tap) {
    const __m512 magic = set(12582912.0f);
    const __m512 sum = _mm512_add_ps(_mm512_mul_ps(tap, set(16384)), magic);
    return _mm512_sub_epi32(_mm512_castps_si512(sum), _mm512_castps_si512(magic));
  }
  __m512i low;
  __m512i high;
};

// Four samples from each of eight places: o[0], o[1], o[4], o[5], o[8] and so on.
__m512i eightFours(const int16_t* row, const int32_t* o) {
  const auto pair = [row](const int32_t* two) {
    const auto four = [row](int32_t offset) {
      return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + offset));
    };
    return _mm_unpacklo_epi64(four(two[0]), four(two[1]));
  };
  const __m256i front = _mm256_inserti128_si256(_mm256_castsi128_si256(pair(o)), pair(o + 4), 1);
  const __m256i back =
      _mm256_inserti128_si256(_mm256_castsi128_si256(pair(o + 8)), pair(o + 12), 1);
  return _mm512_inserti64x4(_mm512_castsi256_si512(front), back, 1);
}

// Four samples of each of sixteen pixels times their taps, summed: below 2^28.
__m512i rowSums(const int16_t* row, const int32_t* offsets, const IntegerTaps& taps) {
  const __m512 a = _mm512_castsi512_ps(_mm512_madd_epi16(eightFours(row, offsets), taps.low));
  const __m512 b = _mm512_castsi512_ps(_mm512_madd_epi16(eightFours(row, offsets + 2), taps.high));
  return _mm512_add_epi32(_mm512_castps_si512(_mm512_shuffle_ps(a, b, 0x88)),
                          _mm512_castps_si512(_mm512_shuffle_ps(a, b, 0xDD)));
}

// Those of sixteen places whose bit 1 is clear. Rows go on for some bytes behind their last sample:
// nothing else is read by the three bytes that come along.
__mmask16 unmarked(const uint8_t* masked, const int32_t* offsets) {
  const __m512i marks = _mm512_i32gather_epi32(_mm512_load_si512(offsets), masked, 1);
  return _mm512_testn_epi32_mask(marks, _mm512_set1_epi32(2));
}

__mmask16 within(__m512i value, int32_t high) {
  return _mm512_mask_cmple_epi32_mask(_mm512_cmpgt_epi32_mask(value, _mm512_setzero_si512()), value,
                                      _mm512_set1_epi32(high));
}
__mmask16 near(__m512 distance) {
  return _mm512_cmp_ps_mask(_mm512_abs_ps(distance), set(1e5f), _CMP_LT_OQ);
}

// Pixels between the loops: each is long enough to keep the processor waiting for its end.
constexpr int32_t kStretch = 256;
struct Places {
  alignas(64) int32_t offsets[kStretch];  // of the samples at whole positions
  alignas(64) int32_t marks[kStretch];    // of their marks
  alignas(64) float right[kStretch];      // fractions of the positions
  alignas(64) float down[kStretch];
  __mmask16 inside[kStretch / 16];
};

// Where pixels [begin, end) of a row lie. Those outside the frame get the place (1, 1).
void locate(const PixelRow& row, const WarpedRow& warp, int32_t begin, int32_t end, Places& to) {
  const __m512i pitch = _mm512_set1_epi32(static_cast<int32_t>(warp.pitch));
  const __m512i maskedPitch = _mm512_set1_epi32(static_cast<int32_t>(warp.maskedPitch));
  const __m512i ones = _mm512_set1_epi32(1);
  for (int32_t i = begin; i < end; i += 16) {
    const __m512i columns = columnsAt(row, i);
    const __m512 x = coordinates(row, columns);
    const __m512 inverse =
        _mm512_div_ps(set(1.0f), _mm512_add_ps(set(warp.w0), _mm512_mul_ps(x, set(warp.w1))));
    const __m512 bent = _mm512_add_ps(set(warp.x1), _mm512_mul_ps(x, set(warp.x2)));
    const __m512 dx = _mm512_mul_ps(_mm512_add_ps(set(warp.x0), _mm512_mul_ps(x, bent)), inverse);
    const __m512 dy =
        _mm512_mul_ps(_mm512_add_ps(set(warp.y0), _mm512_mul_ps(x, set(warp.y1))), inverse);
    const __m512 wholeX = _mm512_floor_ps(dx);
    const __m512 wholeY = _mm512_floor_ps(dy);
    const __m512i column = _mm512_add_epi32(columns, _mm512_cvttps_epi32(wholeX));
    const __m512i line = _mm512_add_epi32(_mm512_set1_epi32(warp.y), _mm512_cvttps_epi32(wholeY));
    const __mmask16 real = _mm512_cmpneq_epi32_mask(columns, _mm512_set1_epi32(kNoColumn));
    const auto inside =
        static_cast<__mmask16>(near(dx) & near(dy) & within(column, warp.width - 3) &
                               within(line, warp.height - 3) & real);
    const __m512i safeColumn = _mm512_mask_mov_epi32(ones, inside, column);
    const __m512i safeLine = _mm512_mask_mov_epi32(ones, inside, line);
    const int32_t at = i - begin;
    _mm512_store_si512(to.offsets + at,
                       _mm512_add_epi32(_mm512_mullo_epi32(safeLine, pitch), safeColumn));
    _mm512_store_si512(to.marks + at,
                       _mm512_add_epi32(_mm512_mullo_epi32(safeLine, maskedPitch), safeColumn));
    _mm512_store_ps(to.right + at, _mm512_sub_ps(dx, wholeX));
    _mm512_store_ps(to.down + at, _mm512_sub_ps(dy, wholeY));
    to.inside[at / 16] = inside;
  }
}

void residuals(const PixelRow& row, const WarpedRow& warp, float* residuals, float* warped) {
  // Offsets have 32 bits.
  if (warp.height * static_cast<int64_t>(warp.pitch) > INT32_MAX) {
    scalar::residuals(row, warp, residuals, warped);
    return;
  }
  const __m512 gain = set(warp.gain * (1.0f / 524288));
  const int16_t* const first = warp.samples - warp.pitch - 1;
  Places places;
  for (int32_t i = 0; i < row.count; i += 16) {
    const int32_t at = i % kStretch;
    if (at == 0) {
      const int32_t end = i + kStretch < row.count ? i + kStretch : row.count;
      locate(row, warp, i, end, places);
    }
    const IntegerTaps across(Taps(_mm512_load_ps(places.right + at)));
    const Taps down(_mm512_load_ps(places.down + at));
    __m512 terms[4];
    for (int j = 0; j < 4; ++j) {
      const __m512i sums = rowSums(first + j * warp.pitch, places.offsets + at, across);
      terms[j] = _mm512_mul_ps(_mm512_cvtepi32_ps(sums), down.of[j]);
    }
    const __m512 sample =
        _mm512_add_ps(_mm512_add_ps(terms[0], terms[1]), _mm512_add_ps(terms[2], terms[3]));
    __mmask16 usable = places.inside[at / 16];
    if (warp.masked != nullptr) {
      usable = static_cast<__mmask16>(usable & unmarked(warp.masked, places.marks + at));
    }
    const __m512 scaled = _mm512_maskz_mul_ps(usable, sample, gain);
    _mm512_storeu_ps(warped + i, scaled);
    const __m512 residual =
        _mm512_mask_sub_ps(set(kNoResidual), usable, _mm512_add_ps(scaled, set(warp.bias)),
                           floats(row.values + i, 1.0f / 32));
    _mm512_storeu_ps(residuals + i, residual);
  }
}

}  // namespace

void installAvx512(AlignmentFunctions& table) {
  table.residuals = residuals;
}

}  // namespace velmora::burst
