// Sixteen values of AVX2 at a time, for vector_functions.h.
#ifndef VELMORA_SRC_BURST_RESTORATION_X86_VECTORS256_H
#define VELMORA_SRC_BURST_RESTORATION_X86_VECTORS256_H

#include <immintrin.h>

#include "burst/restoration/basis.h"

namespace velmora::burst {
namespace {  // NOLINT(cert-dcl59-cpp)

struct Vectors256 {
  static constexpr int32_t kLanes = 16;
  using Words = __m256i;
  using Floats = __m256;
  /// 32-bit lanes in the order in which unpacking leaves the words' lanes.
  struct Halves {
    __m256i low, high;
  };
  struct FloatHalves {
    __m256 low, high;
  };
  using Pairs = Halves;

  static Words load(const int16_t* from) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
  }
  static void store(int16_t* to, Words a) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), a);
  }
  static Words fill(int16_t value) { return _mm256_set1_epi16(value); }
  static Words fillPairs(int32_t pair) { return _mm256_set1_epi32(pair); }
  static Words add(Words a, Words b) { return _mm256_add_epi16(a, b); }
  static Words subtract(Words a, Words b) { return _mm256_sub_epi16(a, b); }
  /// Takes values away whose magnitude is not larger than the threshold, counts the others.
  static void keepLarger(Words& a, Words threshold, Words& kept) {
    const __m256i keep = _mm256_cmpgt_epi16(_mm256_abs_epi16(a), threshold);
    a = _mm256_and_si256(a, keep);
    kept = _mm256_sub_epi16(kept, keep);
  }
  template <int Shift>
  static Words shiftRight(Words a) {
    return _mm256_srli_epi16(a, Shift);
  }
  /// a * b / 2^15, rounded.
  static Words fraction(Words a, Words b) { return _mm256_mulhrs_epi16(a, b); }

  /// Products of pairs with pairs of factors.
  static Pairs pairs(Words a, Words b) {
    return {_mm256_unpacklo_epi16(a, b), _mm256_unpackhi_epi16(a, b)};
  }
  static Halves product(const Pairs& a, int32_t factors) {
    const __m256i f = _mm256_set1_epi32(factors);
    return {_mm256_madd_epi16(a.low, f), _mm256_madd_epi16(a.high, f)};
  }
  /// A first product, with what narrow<Shift>() needs to round.
  template <int Shift>
  static Halves roundedProduct(const Pairs& a, int32_t factors) {
    const __m256i half = _mm256_set1_epi32(1 << (Shift - 1));
    return add(product(a, factors), {half, half});
  }
  static Halves add(const Halves& a, const Halves& b) {
    return {_mm256_add_epi32(a.low, b.low), _mm256_add_epi32(a.high, b.high)};
  }
  static Halves subtract(const Halves& a, const Halves& b) {
    return {_mm256_sub_epi32(a.low, b.low), _mm256_sub_epi32(a.high, b.high)};
  }
  template <int Shift>
  static Words narrow(const Halves& a) {
    return _mm256_packs_epi32(_mm256_srai_epi32(a.low, Shift), _mm256_srai_epi32(a.high, Shift));
  }

  /// n2 / (p^2 + 1 + n2) with 15 fraction bits.
  static Words loss(Words p, const FloatHalves& n2) {
    const Pairs withOne = pairs(p, _mm256_set1_epi16(1));
    return _mm256_packs_epi32(lossHalf(withOne.low, n2.low), lossHalf(withOne.high, n2.high));
  }
  static FloatHalves fillFloats(float value) {
    return {_mm256_set1_ps(value), _mm256_set1_ps(value)};
  }
  static FloatHalves loadFloats(const float* from) {
    const __m256 a = _mm256_loadu_ps(from);
    const __m256 b = _mm256_loadu_ps(from + 8);
    return {_mm256_permute2f128_ps(a, b, 0x20), _mm256_permute2f128_ps(a, b, 0x31)};
  }
  /// to[i] = numerator / (one + a[i]), the fraction cut off.
  static void storeQuotients(int16_t* to, float numerator, float one, Words a) {
    const __m256i low = quotients(numerator, one, _mm256_castsi256_si128(a));
    const __m256i high = quotients(numerator, one, _mm256_extracti128_si256(a, 1));
    store(to, _mm256_permute4x64_epi64(_mm256_packs_epi32(low, high), 0xD8));
  }

  static Halves noSum() { return {_mm256_setzero_si256(), _mm256_setzero_si256()}; }
  static Halves addProduct(const Halves& sum, const Pairs& a, const Pairs& b) {
    return add(sum, {_mm256_madd_epi16(a.low, b.low), _mm256_madd_epi16(a.high, b.high)});
  }
  /// In the order of the words' lanes.
  static void toFloats(const Halves& a, Floats& first, Floats& second) {
    first = _mm256_cvtepi32_ps(_mm256_permute2x128_si256(a.low, a.high, 0x20));
    second = _mm256_cvtepi32_ps(_mm256_permute2x128_si256(a.low, a.high, 0x31));
  }
  static Floats multiply(Floats a, float b) { return _mm256_mul_ps(a, _mm256_set1_ps(b)); }
  static Floats addFloats(Floats a, Floats b) { return _mm256_add_ps(a, b); }
  static Floats subtractFloats(Floats a, Floats b) { return _mm256_sub_ps(a, b); }
  static void addTo(float* sum, Floats a) {
    _mm256_storeu_ps(sum, _mm256_add_ps(_mm256_loadu_ps(sum), a));
  }

  static void divide(const float* numerators, const float* denominators, int16_t* out) {
    const __m256i packed = _mm256_packs_epi32(divideHalf(numerators, denominators),
                                              divideHalf(numerators + 8, denominators + 8));
    store(out, _mm256_permute4x64_epi64(packed, 0xD8));
  }

 private:
  static __m256i lossHalf(__m256i withOne, __m256 n2) {
    const __m256 power = _mm256_cvtepi32_ps(_mm256_madd_epi16(withOne, withOne));
    return _mm256_cvttps_epi32(
        _mm256_div_ps(_mm256_mul_ps(n2, _mm256_set1_ps(32768.0F)), _mm256_add_ps(power, n2)));
  }
  static __m256i quotients(float numerator, float one, __m128i a) {
    const __m256 wide = _mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(a));
    return _mm256_cvttps_epi32(
        _mm256_div_ps(_mm256_set1_ps(numerator), _mm256_add_ps(_mm256_set1_ps(one), wide)));
  }
  static __m256i divideHalf(const float* numerators, const float* denominators) {
    const __m256 limit = _mm256_set1_ps(kSampleLimit);
    const __m256 quotients =
        _mm256_div_ps(_mm256_loadu_ps(numerators),
                      _mm256_max_ps(_mm256_loadu_ps(denominators), _mm256_set1_ps(1)));
    const __m256 low = _mm256_set1_ps(-static_cast<float>(kSampleLimit));
    const __m256 limited = _mm256_min_ps(_mm256_max_ps(quotients, low), limit);
    const __m256 raised = _mm256_add_ps(limited, _mm256_set1_ps(kSampleLimit + 0.5F));
    return _mm256_add_epi32(_mm256_cvttps_epi32(raised),
                            _mm256_set1_epi32(kMidGrey - kSampleLimit));
  }
};

}  // namespace
}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RESTORATION_X86_VECTORS256_H
