// AVX-512 functions of restoration (F, BW, VL and DQ only). Intrinsics and static functions only:
// see cmake/VelmoraCpu.cmake.
#include <immintrin.h>

#include "burst/restoration/function_sets.h"
#include "burst/restoration/vector_functions.h"
#include "burst/restoration/x86/vectors256.h"

namespace velmora::burst {
namespace {

// Thirty-two values at a time.
struct Vectors512 {
  static constexpr int32_t kLanes = 32;
  using Words = __m512i;
  using Floats = __m512;
  struct Halves {
    __m512i low, high;
  };
  struct FloatHalves {
    __m512 low, high;
  };
  using Pairs = Halves;

  static Words load(const int16_t* from) { return _mm512_loadu_si512(from); }
  static void store(int16_t* to, Words a) { _mm512_storeu_si512(to, a); }
  static Words fill(int16_t value) { return _mm512_set1_epi16(value); }
  static Words fillPairs(int32_t pair) { return _mm512_set1_epi32(pair); }
  static Words add(Words a, Words b) { return _mm512_add_epi16(a, b); }
  static Words subtract(Words a, Words b) { return _mm512_sub_epi16(a, b); }
  static void keepLarger(Words& a, Words threshold, Words& kept) {
    const __mmask32 keep = _mm512_cmpgt_epi16_mask(_mm512_abs_epi16(a), threshold);
    a = _mm512_maskz_mov_epi16(keep, a);
    kept = _mm512_mask_add_epi16(kept, keep, kept, _mm512_set1_epi16(1));
  }
  template <int Shift>
  static Words shiftRight(Words a) {
    return _mm512_srli_epi16(a, Shift);
  }
  static Words fraction(Words a, Words b) { return _mm512_mulhrs_epi16(a, b); }

  static Pairs pairs(Words a, Words b) {
    return {_mm512_unpacklo_epi16(a, b), _mm512_unpackhi_epi16(a, b)};
  }
  static Halves product(const Pairs& a, int32_t factors) {
    const __m512i f = _mm512_set1_epi32(factors);
    return {_mm512_madd_epi16(a.low, f), _mm512_madd_epi16(a.high, f)};
  }
  template <int Shift>
  static Halves roundedProduct(const Pairs& a, int32_t factors) {
    const __m512i half = _mm512_set1_epi32(1 << (Shift - 1));
    return add(product(a, factors), {half, half});
  }
  static Halves add(const Halves& a, const Halves& b) {
    return {_mm512_add_epi32(a.low, b.low), _mm512_add_epi32(a.high, b.high)};
  }
  static Halves subtract(const Halves& a, const Halves& b) {
    return {_mm512_sub_epi32(a.low, b.low), _mm512_sub_epi32(a.high, b.high)};
  }
  template <int Shift>
  static Words narrow(const Halves& a) {
    return _mm512_packs_epi32(_mm512_srai_epi32(a.low, Shift), _mm512_srai_epi32(a.high, Shift));
  }

  static Words loss(Words p, const FloatHalves& n2) {
    const Pairs withOne = pairs(p, _mm512_set1_epi16(1));
    return _mm512_packs_epi32(lossHalf(withOne.low, n2.low), lossHalf(withOne.high, n2.high));
  }
  static FloatHalves fillFloats(float value) {
    return {_mm512_set1_ps(value), _mm512_set1_ps(value)};
  }
  static FloatHalves loadFloats(const float* from) {
    const __m512 a = _mm512_loadu_ps(from);
    const __m512 b = _mm512_loadu_ps(from + 16);
    return {_mm512_shuffle_f32x4(a, b, 0x88), _mm512_shuffle_f32x4(a, b, 0xDD)};
  }
  static void storeQuotients(int16_t* to, float numerator, float one, Words a) {
    storeHalf(to, quotients(numerator, one, _mm512_castsi512_si256(a)));
    storeHalf(to + 16, quotients(numerator, one, _mm512_extracti64x4_epi64(a, 1)));
  }

  static Halves noSum() { return {_mm512_setzero_si512(), _mm512_setzero_si512()}; }
  static Halves addProduct(const Halves& sum, const Pairs& a, const Pairs& b) {
    return add(sum, {_mm512_madd_epi16(a.low, b.low), _mm512_madd_epi16(a.high, b.high)});
  }
  static void toFloats(const Halves& a, Floats& first, Floats& second) {
    const __m512i front = _mm512_setr_epi64(0, 1, 8, 9, 2, 3, 10, 11);
    const __m512i back = _mm512_setr_epi64(4, 5, 12, 13, 6, 7, 14, 15);
    first = _mm512_cvtepi32_ps(_mm512_permutex2var_epi64(a.low, front, a.high));
    second = _mm512_cvtepi32_ps(_mm512_permutex2var_epi64(a.low, back, a.high));
  }
  static Floats multiply(Floats a, float b) { return _mm512_mul_ps(a, _mm512_set1_ps(b)); }
  static Floats addFloats(Floats a, Floats b) { return _mm512_add_ps(a, b); }
  static Floats subtractFloats(Floats a, Floats b) { return _mm512_sub_ps(a, b); }
  static void addTo(float* sum, Floats a) {
    _mm512_storeu_ps(sum, _mm512_add_ps(_mm512_loadu_ps(sum), a));
  }

  static void divide(const float* numerators, const float* denominators, int16_t* out) {
    storeHalf(out, divideHalf(numerators, denominators));
    storeHalf(out + 16, divideHalf(numerators + 16, denominators + 16));
  }

 private:
  static void storeHalf(int16_t* to, __m512i a) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), _mm512_cvtsepi32_epi16(a));
  }
  static __m512i lossHalf(__m512i withOne, __m512 n2) {
    const __m512 power = _mm512_cvtepi32_ps(_mm512_madd_epi16(withOne, withOne));
    return _mm512_cvttps_epi32(
        _mm512_div_ps(_mm512_mul_ps(n2, _mm512_set1_ps(32768.0F)), _mm512_add_ps(power, n2)));
  }
  static __m512i quotients(float numerator, float one, __m256i a) {
    const __m512 wide = _mm512_cvtepi32_ps(_mm512_cvtepi16_epi32(a));
    return _mm512_cvttps_epi32(
        _mm512_div_ps(_mm512_set1_ps(numerator), _mm512_add_ps(_mm512_set1_ps(one), wide)));
  }
  static __m512i divideHalf(const float* numerators, const float* denominators) {
    constexpr auto kLimit = static_cast<float>(kSampleLimit);
    const __m512 quotients =
        _mm512_div_ps(_mm512_loadu_ps(numerators),
                      _mm512_max_ps(_mm512_loadu_ps(denominators), _mm512_set1_ps(1)));
    const __m512 limited =
        _mm512_min_ps(_mm512_max_ps(quotients, _mm512_set1_ps(-kLimit)), _mm512_set1_ps(kLimit));
    const __m512 raised = _mm512_add_ps(limited, _mm512_set1_ps(kLimit + 0.5F));
    return _mm512_add_epi32(_mm512_cvttps_epi32(raised),
                            _mm512_set1_epi32(kMidGrey - kSampleLimit));
  }
};

}  // namespace

void installAvx512(RestorationFunctions& table) {
  using Functions = VectorFunctions<Vectors512, Vectors256>;
  table.transformColumns = Functions::transformColumns;
  table.shrinkByThreshold = Functions::shrinkByThreshold;
  table.shrinkByPilot = Functions::shrinkByPilot;
  table.addColumns = Functions::addColumns;
  table.divide = Functions::divide;
}

}  // namespace velmora::burst
