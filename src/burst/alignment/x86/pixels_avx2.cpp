// Residuals of pixels and their sums with AVX2, eight pixels at a time. Intrinsics and static
// functions only: see cmake/VelmoraCpu.cmake.
#include <immintrin.h>

#include "burst/alignment/function_sets.h"
#include "burst/alignment/x86/avx2.h"

namespace velmora::burst {
namespace {

__m128i load128(const void* from) {
  return _mm_loadu_si128(static_cast<const __m128i*>(from));
}
__m256i load(const void* from) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}

// Bit x of the result tells whether pixel x of the 16 is not masked and as steep as the threshold.
// Differences are below 2^13 in magnitude.
struct Steepness {
  Steepness(const int16_t* const* rows, const uint8_t* masked, int32_t x, __m256i threshold) {
    const __m256i gx = _mm256_sub_epi16(load(rows[1] + x + 1), load(rows[1] + x - 1));
    const __m256i gy = _mm256_sub_epi16(load(rows[2] + x), load(rows[0] + x));
    const __m256i size = _mm256_add_epi16(_mm256_abs_epi16(gx), _mm256_abs_epi16(gy));
    const __m256i flat = _mm256_cmpgt_epi16(threshold, size);
    const __m128i mask = _mm_slli_epi16(load128(masked + x), 7);  // bit 0 to the sign
    const __m128i packed =
        _mm_packs_epi16(_mm256_castsi256_si128(flat), _mm256_extracti128_si256(flat, 1));
    bits = ~static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(packed, mask))) & 0xFFFFu;
  }
  unsigned bits;
};

bool steepOne(const int16_t* const* rows, const uint8_t* masked, int32_t x, int32_t threshold) {
  const int32_t gx = rows[1][x + 1] - rows[1][x - 1];
  const int32_t gy = rows[2][x] - rows[0][x];
  return (masked[x] & 1) == 0 && (gx < 0 ? -gx : gx) + (gy < 0 ? -gy : gy) >= threshold;
}

int32_t countSteep(const int16_t* const* rows, const uint8_t* masked, int32_t width,
                   int32_t threshold) {
  const __m256i limit = _mm256_set1_epi16(static_cast<int16_t>(threshold));
  int32_t count = 0;
  int32_t x = 1;
  for (; x + 16 <= width - 1; x += 16)
    count += __builtin_popcount(Steepness(rows, masked, x, limit).bits);
  for (; x < width - 1; ++x)
    count += steepOne(rows, masked, x, threshold) ? 1 : 0;
  return count;
}

void takeOne(const int16_t* const* rows, int32_t x, const PixelArrays& to, int32_t at) {
  to.columns[at] = static_cast<uint16_t>(x);
  to.values[at] = rows[1][x];
  to.gradientsX[at] = static_cast<int16_t>(rows[1][x + 1] - rows[1][x - 1]);
  to.gradientsY[at] = static_cast<int16_t>(rows[2][x] - rows[0][x]);
}

void takeSteep(const int16_t* const* rows, const uint8_t* masked, int32_t width, int32_t threshold,
               const PixelArrays& to) {
  const __m256i limit = _mm256_set1_epi16(static_cast<int16_t>(threshold));
  int32_t count = 0;
  int32_t x = 1;
  for (; x + 16 <= width - 1; x += 16) {
    for (unsigned bits = Steepness(rows, masked, x, limit).bits; bits != 0; bits &= bits - 1)
      takeOne(rows, x + __builtin_ctz(bits), to, count++);
  }
  for (; x < width - 1; ++x) {
    if (steepOne(rows, masked, x, threshold)) takeOne(rows, x, to, count++);
  }
}

__m256 set(float value) {
  return _mm256_set1_ps(value);
}

// The X coordinates of eight pixels.
__m256 coordinates(const PixelRow& row, __m256i columns) {
  return _mm256_mul_ps(_mm256_sub_ps(_mm256_cvtepi32_ps(columns), set(row.centre)), set(row.scale));
}

__m256i columnsAt(const PixelRow& row, int32_t i) {
  return _mm256_cvtepu16_epi32(load128(row.columns + i));
}

// Eight 16-bit values as floats in units of `unit`.
__m256 floats(const int16_t* from, float unit) {
  return _mm256_mul_ps(_mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(load128(from))), set(unit));
}

// Catmull-Rom's taps for positions f behind the second sample.
struct Taps {
  explicit Taps(__m256 f) {
    const __m256 ff = _mm256_mul_ps(f, f);
    const __m256 half = _mm256_mul_ps(set(0.5f), f);
    const __m256 more = _mm256_mul_ps(set(1.5f), f);
    of[0] = _mm256_mul_ps(
        f, _mm256_sub_ps(_mm256_mul_ps(f, _mm256_sub_ps(set(1.0f), half)), set(0.5f)));
    of[1] = _mm256_add_ps(_mm256_mul_ps(ff, _mm256_sub_ps(more, set(2.5f))), set(1.0f));
    of[2] = _mm256_mul_ps(
        f, _mm256_add_ps(_mm256_mul_ps(f, _mm256_sub_ps(set(2.0f), more)), set(0.5f)));
    of[3] = _mm256_mul_ps(ff, _mm256_sub_ps(half, set(0.5f)));
  }
  __m256 of[4];
};

// The same as Q14 integers, in 64 bits a pixel: pixels 0 1 4 5 and 2 3 6 7.
struct IntegerTaps {
  explicit IntegerTaps(const Taps& taps) {
    const __m256i first = rounded(taps.of[0]);
    const __m256i third = rounded(taps.of[2]);
    const __m256i fourth = rounded(taps.of[3]);
    const __m256i second = _mm256_sub_epi32(
        _mm256_set1_epi32(16384), _mm256_add_epi32(_mm256_add_epi32(first, third), fourth));
    const __m256i front = _mm256_blend_epi16(first, _mm256_slli_epi32(second, 16), 0xAA);
    const __m256i back = _mm256_blend_epi16(third, _mm256_slli_epi32(fourth, 16), 0xAA);
    low = _mm256_unpacklo_epi32(front, back);
    high = _mm256_unpackhi_epi32(front, back);
  }
  // By the addition of a large number, as the scalar function does.
  static __m256i rounded(__m256 tap) {
    const __m256 magic = set(12582912.0f);
    const __m256 sum = _mm256_add_ps(_mm256_mul_ps(tap, set(16384)), magic);
    return _mm256_sub_epi32(_mm256_castps_si256(sum), _mm256_castps_si256(magic));
  }
  __m256i low;
  __m256i high;
};

// Four samples from each of four places.
__m256i fourFours(const int16_t* row, int32_t a, int32_t b, int32_t c, int32_t d) {
  const auto four = [row](int32_t offset) {
    return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + offset));
  };
  return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_unpacklo_epi64(four(a), four(b))),
                                 _mm_unpacklo_epi64(four(c), four(d)), 1);
}

// Four samples of each of eight pixels times their taps, summed: below 2^28.
__m256i rowSums(const int16_t* row, const int32_t* o, const IntegerTaps& taps) {
  return _mm256_hadd_epi32(_mm256_madd_epi16(fourFours(row, o[0], o[1], o[4], o[5]), taps.low),
                           _mm256_madd_epi16(fourFours(row, o[2], o[3], o[6], o[7]), taps.high));
}

// All ones for those of eight places whose bit 1 is clear. Rows go on for some bytes behind their
// last sample: nothing else is read by the three bytes that come along.
__m256i unmarked(const uint8_t* masked, const int32_t* offsets) {
  const __m256i marks =
      _mm256_i32gather_epi32(reinterpret_cast<const int*>(masked), load(offsets), 1);
  return _mm256_cmpeq_epi32(_mm256_and_si256(marks, _mm256_set1_epi32(2)), _mm256_setzero_si256());
}

// All ones where low <= value <= high.
__m256i within(__m256i value, int32_t low, int32_t high) {
  return _mm256_andnot_si256(_mm256_cmpgt_epi32(value, _mm256_set1_epi32(high)),
                             _mm256_cmpgt_epi32(value, _mm256_set1_epi32(low - 1)));
}

__m256 near(__m256 distance) {
  const __m256 size = _mm256_andnot_ps(set(-0.0f), distance);
  return _mm256_cmp_ps(size, set(1e5f), _CMP_LT_OQ);
}

// Pixels between the loops: each is long enough to keep the processor waiting for its end.
constexpr int32_t kStretch = 256;
struct Places {
  alignas(32) int32_t offsets[kStretch];  // of the samples at whole positions
  alignas(32) int32_t marks[kStretch];    // of their marks
  alignas(32) int32_t inside[kStretch];   // all ones or zero
  alignas(32) float right[kStretch];      // fractions of the positions
  alignas(32) float down[kStretch];
};

// Where pixels [begin, end) of a row lie. Those outside the frame get the place (1, 1).
void locate(const PixelRow& row, const WarpedRow& warp, int32_t begin, int32_t end, Places& to) {
  const __m256i pitch = _mm256_set1_epi32(static_cast<int32_t>(warp.pitch));
  const __m256i maskedPitch = _mm256_set1_epi32(static_cast<int32_t>(warp.maskedPitch));
  const __m256i ones = _mm256_set1_epi32(1);
  for (int32_t i = begin; i < end; i += 8) {
    const __m256i columns = columnsAt(row, i);
    const __m256 x = coordinates(row, columns);
    const __m256 inverse =
        _mm256_div_ps(set(1.0f), _mm256_add_ps(set(warp.w0), _mm256_mul_ps(x, set(warp.w1))));
    const __m256 bent = _mm256_add_ps(set(warp.x1), _mm256_mul_ps(x, set(warp.x2)));
    const __m256 dx = _mm256_mul_ps(_mm256_add_ps(set(warp.x0), _mm256_mul_ps(x, bent)), inverse);
    const __m256 dy =
        _mm256_mul_ps(_mm256_add_ps(set(warp.y0), _mm256_mul_ps(x, set(warp.y1))), inverse);
    const __m256 wholeX = _mm256_floor_ps(dx);
    const __m256 wholeY = _mm256_floor_ps(dy);
    const __m256i column = _mm256_add_epi32(columns, _mm256_cvttps_epi32(wholeX));
    const __m256i line = _mm256_add_epi32(_mm256_set1_epi32(warp.y), _mm256_cvttps_epi32(wholeY));
    __m256i inside = _mm256_and_si256(
        _mm256_castps_si256(_mm256_and_ps(near(dx), near(dy))),
        _mm256_and_si256(within(column, 1, warp.width - 3), within(line, 1, warp.height - 3)));
    inside = _mm256_andnot_si256(_mm256_cmpeq_epi32(columns, _mm256_set1_epi32(kNoColumn)), inside);
    const __m256i safeColumn = _mm256_blendv_epi8(ones, column, inside);
    const __m256i safeLine = _mm256_blendv_epi8(ones, line, inside);
    const auto store = [at = i - begin](auto* values, __m256i v) {
      _mm256_store_si256(reinterpret_cast<__m256i*>(values + at), v);
    };
    store(to.offsets, _mm256_add_epi32(_mm256_mullo_epi32(safeLine, pitch), safeColumn));
    store(to.marks, _mm256_add_epi32(_mm256_mullo_epi32(safeLine, maskedPitch), safeColumn));
    store(to.inside, inside);
    store(to.right, _mm256_castps_si256(_mm256_sub_ps(dx, wholeX)));
    store(to.down, _mm256_castps_si256(_mm256_sub_ps(dy, wholeY)));
  }
}

void residuals(const PixelRow& row, const WarpedRow& warp, float* residuals, float* warped) {
  // Offsets have 32 bits.
  if (warp.height * static_cast<int64_t>(warp.pitch) > INT32_MAX) {
    scalar::residuals(row, warp, residuals, warped);
    return;
  }
  const __m256 gain = set(warp.gain * (1.0f / 524288));
  const int16_t* const first = warp.samples - warp.pitch - 1;
  Places places;
  for (int32_t i = 0; i < row.count; i += 8) {
    const int32_t at = i % kStretch;
    if (at == 0) {
      const int32_t end = i + kStretch < row.count ? i + kStretch : row.count;
      locate(row, warp, i, end, places);
    }
    const IntegerTaps across(Taps(_mm256_load_ps(places.right + at)));
    const Taps down(_mm256_load_ps(places.down + at));
    __m256 terms[4];
    for (int j = 0; j < 4; ++j) {
      const __m256i sums = rowSums(first + j * warp.pitch, places.offsets + at, across);
      terms[j] = _mm256_mul_ps(_mm256_cvtepi32_ps(sums), down.of[j]);
    }
    const __m256 sample =
        _mm256_add_ps(_mm256_add_ps(terms[0], terms[1]), _mm256_add_ps(terms[2], terms[3]));
    __m256i usable = load(places.inside + at);
    if (warp.masked != nullptr) {
      usable = _mm256_and_si256(usable, unmarked(warp.masked, places.marks + at));
    }
    const __m256 scaled = _mm256_and_ps(_mm256_mul_ps(sample, gain), _mm256_castsi256_ps(usable));
    const __m256 residual =
        _mm256_sub_ps(_mm256_add_ps(scaled, set(warp.bias)), floats(row.values + i, 1.0f / 32));
    _mm256_storeu_ps(warped + i, scaled);
    _mm256_storeu_ps(residuals + i,
                     _mm256_blendv_ps(set(kNoResidual), residual, _mm256_castsi256_ps(usable)));
  }
}

// Eight partial sums each of value * X^k, k = 0 .. powers - 1.
template <int powers>
struct PowerSums {
  explicit PowerSums(const float* from) {
    for (int k = 0; k < powers; ++k)
      sums[k] = _mm256_load_ps(from + 8 * k);
  }
  void add(__m256 value, __m256 x) {
    for (int k = 0; k < powers; ++k) {
      if (k > 0) value = _mm256_mul_ps(value, x);
      sums[k] = _mm256_add_ps(sums[k], value);
    }
  }
  void store(float* to) const {
    for (int k = 0; k < powers; ++k)
      _mm256_store_ps(to + 8 * k, sums[k]);
  }
  __m256 sums[powers];
};

// Pixels between the loops: more sums than there are registers are needed of them.
struct Stretch {
  alignas(32) float x[kStretch];
  alignas(32) float gx[kStretch];
  alignas(32) float gy[kStretch];
  alignas(32) float r[kStretch];
  alignas(32) float w[kStretch];
  alignas(32) float wx[kStretch];
  alignas(32) float wy[kStretch];
};

float folded(__m256 partial) {
  const __m128 four =
      _mm_add_ps(_mm256_castps256_ps128(partial), _mm256_extractf128_ps(partial, 1));
  const __m128 two = _mm_add_ps(four, _mm_movehl_ps(four, four));
  return _mm_cvtss_f32(_mm_add_ss(two, _mm_movehdup_ps(two)));
}

void prepare(const PixelRow& row, const float* residuals, int32_t begin, int32_t end, float limit2,
             Stretch& s, float* scores) {
  PowerSums<1> score(scores);
  PowerSums<1> count(scores + 8);
  for (int32_t i = begin; i < end; i += 8) {
    const int32_t at = i - begin;
    const __m256 given = _mm256_loadu_ps(residuals + i);
    const __m256 valid = _mm256_cmp_ps(given, set(kNoResidual), _CMP_NEQ_UQ);
    const __m256 r = _mm256_and_ps(given, valid);
    const __m256 r2 = _mm256_mul_ps(r, r);
    const __m256 q = _mm256_div_ps(set(limit2), _mm256_add_ps(set(limit2), r2));
    const __m256 one = _mm256_and_ps(set(1.0f), valid);
    const __m256 w = _mm256_and_ps(_mm256_mul_ps(q, q), valid);
    const __m256 gx = floats(row.gradientsX + i, 1.0f / 64);
    const __m256 gy = floats(row.gradientsY + i, 1.0f / 64);
    _mm256_store_ps(s.x + at, coordinates(row, columnsAt(row, i)));
    _mm256_store_ps(s.gx + at, gx);
    _mm256_store_ps(s.gy + at, gy);
    _mm256_store_ps(s.r + at, r);
    _mm256_store_ps(s.w + at, w);
    _mm256_store_ps(s.wx + at, _mm256_mul_ps(w, gx));
    _mm256_store_ps(s.wy + at, _mm256_mul_ps(w, gy));
    score.add(_mm256_mul_ps(r2, q), one);
    count.add(one, one);
  }
  score.store(scores);
  count.store(scores + 8);
}

// partial[8 * s ..] are those of sum s, in the order of RowSums.
void addGeometric(const Stretch& s, int32_t count, float* partial) {
  {
    PowerSums<5> gxgx(partial);
    PowerSums<5> gxgy(partial + 8 * 5);
    for (int32_t i = 0; i < count; i += 8) {
      const __m256 x = _mm256_load_ps(s.x + i);
      const __m256 wx = _mm256_load_ps(s.wx + i);
      gxgx.add(_mm256_mul_ps(wx, _mm256_load_ps(s.gx + i)), x);
      gxgy.add(_mm256_mul_ps(wx, _mm256_load_ps(s.gy + i)), x);
    }
    gxgx.store(partial);
    gxgy.store(partial + 8 * 5);
  }
  PowerSums<5> gygy(partial + 8 * 10);
  PowerSums<3> rgx(partial + 8 * 15);
  PowerSums<3> rgy(partial + 8 * 18);
  for (int32_t i = 0; i < count; i += 8) {
    const __m256 x = _mm256_load_ps(s.x + i);
    const __m256 wy = _mm256_load_ps(s.wy + i);
    const __m256 r = _mm256_load_ps(s.r + i);
    gygy.add(_mm256_mul_ps(wy, _mm256_load_ps(s.gy + i)), x);
    rgx.add(_mm256_mul_ps(_mm256_load_ps(s.wx + i), r), x);
    rgy.add(_mm256_mul_ps(wy, r), x);
  }
  gygy.store(partial + 8 * 10);
  rgx.store(partial + 8 * 15);
  rgy.store(partial + 8 * 18);
}

void addPhotometric(const Stretch& s, const float* warped, int32_t count, float* partial) {
  {
    PowerSums<3> bgx(partial + 8 * 23);
    PowerSums<3> bgy(partial + 8 * 26);
    PowerSums<3> gx(partial + 8 * 29);
    PowerSums<3> gy(partial + 8 * 32);
    for (int32_t i = 0; i < count; i += 8) {
      const __m256 x = _mm256_load_ps(s.x + i);
      const __m256 wx = _mm256_load_ps(s.wx + i);
      const __m256 wy = _mm256_load_ps(s.wy + i);
      const __m256 b = _mm256_loadu_ps(warped + i);
      bgx.add(_mm256_mul_ps(wx, b), x);
      bgy.add(_mm256_mul_ps(wy, b), x);
      gx.add(wx, x);
      gy.add(wy, x);
    }
    bgx.store(partial + 8 * 23);
    bgy.store(partial + 8 * 26);
    gx.store(partial + 8 * 29);
    gy.store(partial + 8 * 32);
  }
  PowerSums<5> rest(partial + 8 * 35);
  for (int32_t i = 0; i < count; i += 8) {
    const __m256 w = _mm256_load_ps(s.w + i);
    const __m256 r = _mm256_load_ps(s.r + i);
    const __m256 b = _mm256_loadu_ps(warped + i);
    const __m256 wb = _mm256_mul_ps(w, b);
    rest.sums[0] = _mm256_add_ps(rest.sums[0], _mm256_mul_ps(wb, b));
    rest.sums[1] = _mm256_add_ps(rest.sums[1], wb);
    rest.sums[2] = _mm256_add_ps(rest.sums[2], w);
    rest.sums[3] = _mm256_add_ps(rest.sums[3], _mm256_mul_ps(wb, r));
    rest.sums[4] = _mm256_add_ps(rest.sums[4], _mm256_mul_ps(w, r));
  }
  rest.store(partial + 8 * 35);
}

void addUp(const PixelRow& row, const float* residuals, const float* warped, float limit, bool all,
           RowSums& sums) {
  alignas(32) float partial[8 * kAllSums] = {};
  Stretch stretch;
  for (int32_t begin = 0; begin < row.count; begin += kStretch) {
    const int32_t end = begin + kStretch < row.count ? begin + kStretch : row.count;
    prepare(row, residuals, begin, end, limit * limit, stretch, partial + 8 * 21);
    addGeometric(stretch, end - begin, partial);
    if (all) addPhotometric(stretch, warped + begin, end - begin, partial);
  }
  auto* const out = reinterpret_cast<float*>(&sums);
  for (int32_t s = 0; s < kAllSums; ++s)
    out[s] = folded(_mm256_load_ps(partial + 8 * s));
}

// folded() of four vectors.
__m128 foldedFour(const __m256* v) {
  __m128 a[4];
  for (int i = 0; i < 4; ++i)
    a[i] = _mm_add_ps(_mm256_castps256_ps128(v[i]), _mm256_extractf128_ps(v[i], 1));
  _MM_TRANSPOSE4_PS(a[0], a[1], a[2], a[3]);
  return _mm_add_ps(_mm_add_ps(a[0], a[2]), _mm_add_ps(a[1], a[3]));
}

void addCells(const PixelRow& row, const float* residuals, int32_t width, CellSums* sums) {
  for (int32_t begin = 0; begin < row.count; begin += width, ++sums) {
    __m256 s[kCellSums];
    for (__m256& sum : s)
      sum = _mm256_setzero_ps();
    for (int32_t i = begin; i < begin + width; i += 8) {
      const __m256 given = _mm256_loadu_ps(residuals + i);
      const __m256 valid = _mm256_cmp_ps(given, set(kNoResidual), _CMP_NEQ_UQ);
      const __m256 r = _mm256_and_ps(given, valid);
      const __m256 gx = _mm256_and_ps(floats(row.gradientsX + i, 1.0f / 64), valid);
      const __m256 gy = _mm256_and_ps(floats(row.gradientsY + i, 1.0f / 64), valid);
      s[0] = _mm256_add_ps(s[0], _mm256_mul_ps(r, r));
      s[1] = _mm256_add_ps(s[1], _mm256_mul_ps(gx, gx));
      s[2] = _mm256_add_ps(s[2], _mm256_mul_ps(gx, gy));
      s[3] = _mm256_add_ps(s[3], _mm256_mul_ps(gy, gy));
      s[4] = _mm256_add_ps(s[4], _mm256_mul_ps(r, gx));
      s[5] = _mm256_add_ps(s[5], _mm256_mul_ps(r, gy));
      s[6] = _mm256_add_ps(s[6], _mm256_and_ps(set(1.0f), valid));
    }
    // Two vectors of four share the sum in the middle.
    const __m128 front = foldedFour(s);
    const __m128 back = foldedFour(s + 3);
    auto* const out = reinterpret_cast<float*>(sums);
    const __m128 added = _mm_add_ps(_mm_loadu_ps(out + 3), back);
    _mm_storeu_ps(out, _mm_add_ps(_mm_loadu_ps(out), front));
    _mm_storeu_ps(out + 3, added);
  }
}

}  // namespace

void installAvx2(AlignmentFunctions& table) {
  table.halveBytes = avx2::halveBytes;
  table.halve = avx2::halve;
  table.smooth = avx2::smooth;
  table.smoothBytes = avx2::smoothBytes;
  table.widenMask = avx2::widenMask;
  table.countSteep = countSteep;
  table.takeSteep = takeSteep;
  table.residuals = residuals;
  table.addUp = addUp;
  table.addCells = addCells;
}

}  // namespace velmora::burst
