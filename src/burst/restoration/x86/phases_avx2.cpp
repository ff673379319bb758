// AVX2's ways between rows of samples and rows in phases. Intrinsics and static functions only: see
// cmake/VelmoraCpu.cmake.
#include <immintrin.h>

#include "burst/restoration/basis.h"
#include "burst/restoration/function_sets.h"
#include "burst/restoration/x86/phases.h"

namespace velmora::burst {
namespace {

constexpr int32_t kVector = 16;

__m256i load(const int16_t* from) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}
void store(int16_t* to, __m256i values) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), values);
}
__m256i centred(__m256i samples) {
  const __m256i difference = _mm256_subs_epi16(samples, _mm256_set1_epi16(kMidGrey));
  return _mm256_min_epi16(_mm256_max_epi16(difference, _mm256_set1_epi16(-kSampleLimit)),
                          _mm256_set1_epi16(kSampleLimit));
}

struct Two {
  __m256i first, second;
};
// Every second of 32 values, and the others; and back.
Two separate(__m256i a, __m256i b) {
  const __m256i order = _mm256_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15,  //
                                         0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15);
  const __m256i x = _mm256_permute4x64_epi64(_mm256_shuffle_epi8(a, order), 0xD8);
  const __m256i y = _mm256_permute4x64_epi64(_mm256_shuffle_epi8(b, order), 0xD8);
  return {_mm256_permute2x128_si256(x, y, 0x20), _mm256_permute2x128_si256(x, y, 0x31)};
}
Two interleave(__m256i a, __m256i b) {
  const __m256i low = _mm256_unpacklo_epi16(a, b);
  const __m256i high = _mm256_unpackhi_epi16(a, b);
  return {_mm256_permute2x128_si256(low, high, 0x20), _mm256_permute2x128_si256(low, high, 0x31)};
}

// Byte shuffles that take from part `from` of eight values what belongs to part `to`.
struct ThreePhases {
  alignas(32) int8_t split[3][3][32];  // [to][from]
  alignas(32) int8_t merge[3][3][32];
};
consteval ThreePhases makeThreePhases() {
  ThreePhases result = {};
  for (int32_t to = 0; to < 3; ++to) {
    for (int32_t from = 0; from < 3; ++from) {
      for (int32_t byte = 0; byte < 32; ++byte) {
        const int32_t lane = byte % 16 / 2;
        const int32_t sample = 3 * lane + to;  // of the phase's value
        const int32_t place = 8 * to + lane;   // of the sample
        const int32_t odd = byte % 2;
        result.split[to][from][byte] =
            static_cast<int8_t>(sample / 8 == from ? 2 * (sample % 8) + odd : -1);
        result.merge[to][from][byte] =
            static_cast<int8_t>(place % 3 == from ? 2 * (place / 3) + odd : -1);
      }
    }
  }
  return result;
}
constexpr ThreePhases kThreePhases = makeThreePhases();

__m256i joined(const __m256i (&parts)[3], const int8_t (&shuffles)[3][32]) {
  __m256i result = _mm256_setzero_si256();
  for (int32_t i = 0; i < 3; ++i) {
    const __m256i order = _mm256_load_si256(reinterpret_cast<const __m256i*>(shuffles[i]));
    result = _mm256_or_si256(result, _mm256_shuffle_epi8(parts[i], order));
  }
  return result;
}

// Values i to i + 7 and 24 values behind them.
__m256i loadTwice(const int16_t* from) {
  const __m128i first = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
  const __m128i second = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + 24));
  return _mm256_inserti128_si256(_mm256_castsi128_si256(first), second, 1);
}

void splitVector(const int16_t* in, int32_t stride, std::ptrdiff_t phase, int16_t* out) {
  if (stride == 1) {
    store(out, centred(load(in)));
  } else if (stride == 2) {
    const Two both = separate(centred(load(in)), centred(load(in + 16)));
    store(out, both.first);
    store(out + phase, both.second);
  } else if (stride == 3) {
    const __m256i parts[3] = {centred(loadTwice(in)), centred(loadTwice(in + 8)),
                              centred(loadTwice(in + 16))};
    for (int32_t i = 0; i < 3; ++i)
      store(out + i * phase, joined(parts, kThreePhases.split[i]));
  } else {
    const Two front = separate(centred(load(in)), centred(load(in + 16)));
    const Two back = separate(centred(load(in + 32)), centred(load(in + 48)));
    const Two even = separate(front.first, back.first);
    const Two odd = separate(front.second, back.second);
    store(out, even.first);
    store(out + phase, odd.first);
    store(out + 2 * phase, even.second);
    store(out + 3 * phase, odd.second);
  }
}

void mergeVector(const int16_t* in, int32_t stride, std::ptrdiff_t phase, int16_t* out) {
  if (stride == 1) {
    store(out, load(in));
  } else if (stride == 2) {
    const Two both = interleave(load(in), load(in + phase));
    store(out, both.first);
    store(out + 16, both.second);
  } else if (stride == 3) {
    const __m256i parts[3] = {load(in), load(in + phase), load(in + 2 * phase)};
    for (int32_t i = 0; i < 3; ++i) {
      const __m256i samples = joined(parts, kThreePhases.merge[i]);
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 8 * i), _mm256_castsi256_si128(samples));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 24 + 8 * i),
                       _mm256_extracti128_si256(samples, 1));
    }
  } else {
    const Two even = interleave(load(in), load(in + 2 * phase));
    const Two odd = interleave(load(in + phase), load(in + 3 * phase));
    const Two front = interleave(even.first, odd.first);
    const Two back = interleave(even.second, odd.second);
    store(out, front.first);
    store(out + 16, front.second);
    store(out + 32, back.first);
    store(out + 48, back.second);
  }
}

}  // namespace

void avx2::split(const int16_t* in, int32_t count, int32_t stride, std::ptrdiff_t phase,
                 int16_t* out) {
  const int32_t step = kVector * stride;
  for (; count >= step; count -= step, in += step, out += kVector)
    splitVector(in, stride, phase, out);
  scalar::split(in, count, stride, phase, out);
}

void avx2::merge(const int16_t* in, int32_t count, int32_t stride, std::ptrdiff_t phase,
                 int16_t* out) {
  const int32_t step = kVector * stride;
  for (; count >= step; count -= step, in += kVector, out += step)
    mergeVector(in, stride, phase, out);
  scalar::merge(in, count, stride, phase, out);
}

}  // namespace velmora::burst
