// AVX2 functions of reconstruction. Intrinsics and static functions only: see
// cmake/VelmoraCpu.cmake.
#include <immintrin.h>

#include "burst/reconstruction/function_sets.h"

namespace velmora::burst {
namespace {

__m128i load128(const void* from) {
  return _mm_loadu_si128(static_cast<const __m128i*>(from));
}
void store128(void* to, __m128i value) {
  _mm_storeu_si128(static_cast<__m128i*>(to), value);
}
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

void blendWeights(const uint8_t* upper, const uint8_t* lower, int32_t fraction, int32_t count,
                  int16_t* out) {
  const __m256i down = _mm256_set1_epi16(static_cast<int16_t>(fraction));
  const __m256i up = _mm256_set1_epi16(static_cast<int16_t>(16 - fraction));
  int32_t i = 0;
  for (; i + 16 <= count; i += 16) {
    const __m256i a = _mm256_cvtepu8_epi16(load128(upper + i));
    const __m256i b = _mm256_cvtepu8_epi16(load128(lower + i));
    store(out + i, _mm256_add_epi16(_mm256_mullo_epi16(a, up), _mm256_mullo_epi16(b, down)));
  }
  scalar::blendWeights(upper + i, lower + i, fraction, count - i, out + i);
}

// Pairs of weights of eight samples of the grid, the first of each in the lower half.
__m256i weightPairs(const int16_t* blended, const int32_t* columns) {
  const __m256i at = load(columns);
  if (columns[7] - columns[0] > 6) {
    return _mm256_i32gather_epi32(reinterpret_cast<const int*>(blended), at, 2);
  }
  const __m256i weights = _mm256_broadcastsi128_si256(load128(blended + columns[0]));
  const __m256i behind = _mm256_sub_epi32(at, _mm256_set1_epi32(columns[0]));
  const __m256i bytes = _mm256_add_epi32(_mm256_mullo_epi32(behind, _mm256_set1_epi32(0x02020202)),
                                         _mm256_set1_epi32(0x03020100));
  return _mm256_shuffle_epi8(weights, bytes);
}

void sampleWeights(const int16_t* blended, const int32_t* columns, const int16_t* taps,
                   int32_t count, uint8_t* out) {
  const __m256i half = _mm256_set1_epi32(128);
  int32_t i = 0;
  for (; i + 8 <= count; i += 8) {
    __m256i sum = _mm256_madd_epi16(weightPairs(blended, columns + i), load(taps + 2 * i));
    sum = _mm256_srli_epi32(_mm256_add_epi32(sum, half), 8);
    const __m128i words =
        _mm_packus_epi32(_mm256_castsi256_si128(sum), _mm256_extracti128_si256(sum, 1));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(words, words));
  }
  scalar::sampleWeights(blended, columns + i, taps + 2 * i, count - i, out + i);
}

void lookUpSums(const int32_t* sums, const int32_t* x, const int32_t* y, int32_t count,
                int16_t* out) {
  const __m256i phase = _mm256_set1_epi32(63);
  int32_t i = 0;
  for (; i + 8 <= count; i += 8) {
    const __m256i index =
        _mm256_or_si256(_mm256_slli_epi32(_mm256_and_si256(load(y + i), phase), 6),
                        _mm256_and_si256(load(x + i), phase));
    const __m256i found = _mm256_i32gather_epi32(sums, index, 4);
    store128(out + i,
             _mm_packs_epi32(_mm256_castsi256_si128(found), _mm256_extracti128_si256(found, 1)));
  }
  scalar::lookUpSums(sums, x + i, y + i, count - i, out + i);
}

// table[index], for 16 indices. Two bytes behind each entry are read too.
__m256i lookUp(const uint16_t* table, __m256i index) {
  const auto* entries = reinterpret_cast<const int*>(table);
  const __m256i word = _mm256_set1_epi32(0xFFFF);
  const __m256i even =
      _mm256_and_si256(_mm256_i32gather_epi32(entries, _mm256_and_si256(index, word), 2), word);
  const __m256i odd = _mm256_i32gather_epi32(entries, _mm256_srli_epi32(index, 16), 2);
  return _mm256_or_si256(even, _mm256_slli_epi32(odd, 16));
}

// Sums of products of two rows of 16 values with two others: the first and the last four of each
// half.
struct Products {
  __m256i low;
  __m256i high;
};
void addPair(Products& sums, __m256i a, __m256i b, __m256i factorA, __m256i factorB) {
  sums.low = _mm256_add_epi32(sums.low, _mm256_madd_epi16(_mm256_unpacklo_epi16(a, b),
                                                          _mm256_unpacklo_epi16(factorA, factorB)));
  sums.high = _mm256_add_epi32(
      sums.high,
      _mm256_madd_epi16(_mm256_unpackhi_epi16(a, b), _mm256_unpackhi_epi16(factorA, factorB)));
}
// A row's pointers, kept where stores through others cannot change them.
template <typename T, int32_t kCount>
struct Pointers {
  explicit Pointers(T* const* pointers) {
    for (int32_t k = 0; k < kCount; ++k)
      of[k] = pointers[k];
  }
  T* of[kCount];
};
template <int32_t kTerms>
using Rows = Pointers<const int16_t, kTerms>;

template <int32_t kTerms>
[[gnu::always_inline]] inline Products productsAt(const Rows<kTerms>& rows,
                                                  const Rows<kTerms>& factors, int32_t i,
                                                  __m256i start) {
  Products sums = {start, start};
  for (int32_t k = 0; k + 2 <= kTerms; k += 2) {
    addPair(sums, load(rows.of[k] + i), load(rows.of[k + 1] + i), load(factors.of[k] + i),
            load(factors.of[k + 1] + i));
  }
  if constexpr (kTerms % 2 == 1) {
    const __m256i none = _mm256_setzero_si256();
    addPair(sums, load(rows.of[kTerms - 1] + i), none, load(factors.of[kTerms - 1] + i), none);
  }
  return sums;
}

// Columns [0, end), a multiple of 16.
template <int32_t kFrames>
void shareRowOf(const ShareRow& row, int32_t end) {
  constexpr int32_t kOthers = kFrames - 1;
  const __m256i all = _mm256_set1_epi16(1 << 14);
  const Pointers<int16_t, kFrames> shares(row.shares);
  const Rows<kFrames> shared(row.shares);
  for (int32_t i = 0; i < end; i += 16) {
    __m256i sum = _mm256_setzero_si256();
    for (int32_t k = 0; k < kOthers; ++k)
      sum = _mm256_add_epi16(sum, _mm256_cvtepu8_epi16(load128(row.weights[k] + i)));
    const __m256i reciprocal = lookUp(row.reciprocals, sum);
    __m256i rest = all;
    for (int32_t k = 0; k < kOthers; ++k) {
      const __m256i weight =
          _mm256_slli_epi16(_mm256_cvtepu8_epi16(load128(row.weights[k] + i)), 8);
      const __m256i share = _mm256_mulhi_epu16(weight, reciprocal);
      store(shares.of[k + 1] + i, share);
      rest = _mm256_sub_epi16(rest, share);
    }
    store(shares.of[0] + i, rest);
    const __m256i frames = _mm256_mulhi_epu16(_mm256_add_epi16(sum, _mm256_set1_epi16(255 + 128)),
                                              _mm256_set1_epi16(257));
    store128(row.frames + i,
             _mm_packus_epi16(_mm256_castsi256_si128(frames), _mm256_extracti128_si256(frames, 1)));
    if (row.corrections == nullptr) continue;
    const Products spread =
        productsAt<kFrames>(Rows<kFrames>(row.spreads), shared, i, _mm256_setzero_si256());
    const __m256i common =
        _mm256_packus_epi32(_mm256_srli_epi32(spread.low, 14), _mm256_srli_epi32(spread.high, 14));
    const __m256i lowest = _mm256_set1_epi16(static_cast<int16_t>(row.lowestSpread));
    const __m256i step = lookUp(row.steps, _mm256_sub_epi16(common, lowest));
    for (int32_t k = 0; k < kFrames; ++k)
      store(row.corrections[k] + i, _mm256_mulhi_epu16(load(shares.of[k] + i), step));
  }
}

template <int32_t kTerms>
void addProductsOf(const ProductRow& row, int32_t end, const int16_t* base, int16_t* out) {
  const __m256i half = _mm256_set1_epi32(1 << (row.shift - 1));
  const __m128i shift = _mm_cvtsi32_si128(row.shift);
  const Rows<kTerms> samples(row.samples);
  const Rows<kTerms> factors(row.factors);
  for (int32_t i = 0; i < end; i += 16) {
    const Products sums = productsAt<kTerms>(samples, factors, i, half);
    __m256i sum =
        _mm256_packs_epi32(_mm256_sra_epi32(sums.low, shift), _mm256_sra_epi32(sums.high, shift));
    if (base != nullptr) sum = _mm256_adds_epi16(sum, load(base + i));
    store(out + i, sum);
  }
}

void shareRow(const ShareRow& row, int32_t count) {
  constexpr void (*kOf[])(const ShareRow&, int32_t) = {shareRowOf<1>, shareRowOf<2>, shareRowOf<3>,
                                                       shareRowOf<4>, shareRowOf<5>, shareRowOf<6>,
                                                       shareRowOf<7>, shareRowOf<8>};
  const int32_t end = count / 16 * 16;
  kOf[row.others](row, end);
  scalar::shareRowFrom(row, end, count);
}

void addProducts(const ProductRow& row, int32_t count, const int16_t* base, int16_t* out) {
  constexpr void (*kOf[])(const ProductRow&, int32_t, const int16_t*, int16_t*) = {
      addProductsOf<1>, addProductsOf<2>, addProductsOf<3>, addProductsOf<4>,
      addProductsOf<5>, addProductsOf<6>, addProductsOf<7>, addProductsOf<8>};
  const int32_t end = count / 16 * 16;
  kOf[row.terms - 1](row, end, base, out);
  scalar::addProductsFrom(row, end, count, base, out);
}

void limitPositions(const PositionLimits& limits, int32_t count, int32_t* x, int32_t* y,
                    int16_t* inside) {
  const __m256i left = _mm256_set1_epi32(limits.left);
  const __m256i right = _mm256_set1_epi32(limits.right);
  const __m256i top = _mm256_set1_epi32(limits.top);
  const __m256i bottom = _mm256_set1_epi32(limits.bottom);
  int32_t i = 0;
  for (; i + 8 <= count; i += 8) {
    const __m256i oldX = load(x + i);
    const __m256i oldY = load(y + i);
    const __m256i newX = _mm256_min_epi32(_mm256_max_epi32(oldX, left), right);
    const __m256i newY = _mm256_min_epi32(_mm256_max_epi32(oldY, top), bottom);
    store(x + i, newX);
    store(y + i, newY);
    const __m256i same =
        _mm256_and_si256(_mm256_cmpeq_epi32(oldX, newX), _mm256_cmpeq_epi32(oldY, newY));
    store128(inside + i,
             _mm_packs_epi32(_mm256_castsi256_si128(same), _mm256_extracti128_si256(same, 1)));
  }
  scalar::limitPositions(limits, count - i, x + i, y + i, inside + i);
}

// 16 means less their blurred ones, times 16.
Products differences(const ResidualRow& row, int32_t i) {
  Products sums = {_mm256_setzero_si256(), _mm256_setzero_si256()};
  for (int32_t v = 0; v < 3; ++v) {
    const __m256i factor = _mm256_set1_epi16(v == 1 ? -2 : -1);
    addPair(sums, load(row.means[v] + i - 1), load(row.means[v] + i + 1), factor, factor);
  }
  const __m256i centre = load(row.means[1] + i);
  addPair(sums, load(row.means[0] + i), load(row.means[2] + i), _mm256_set1_epi16(-2),
          _mm256_set1_epi16(-2));
  addPair(sums, centre, centre, _mm256_set1_epi16(12), _mm256_setzero_si256());
  return sums;
}

void residualRow(const ResidualRow& row, int32_t count, int16_t* out) {
  const __m256i amount = _mm256_set1_epi32(row.sharpened);
  const __m256i half = _mm256_set1_epi32(1 << 13);
  const auto scaled = [&](__m256i difference) {
    return _mm256_srai_epi32(_mm256_add_epi32(_mm256_mullo_epi32(difference, amount), half), 14);
  };
  int32_t i = 0;
  for (; i + 16 <= count; i += 16) {
    __m256i mean = load(row.means[1] + i);
    if (row.sharpened != 0) {
      const Products added = differences(row, i);
      mean = _mm256_adds_epi16(mean, _mm256_packs_epi32(scaled(added.low), scaled(added.high)));
    }
    const __m256i residual = _mm256_subs_epi16(load(row.samples + i), mean);
    store(out + i, _mm256_and_si256(residual, load(row.inside + i)));
  }
  scalar::residualRowFrom(row, i, count, out);
}

void roundRow(const int16_t* samples, int32_t count, uint8_t* out) {
  const __m256i half = _mm256_set1_epi16(16);
  const auto rounded = [&](const int16_t* from) {
    return _mm256_srai_epi16(_mm256_adds_epi16(load(from), half), 5);
  };
  int32_t i = 0;
  for (; i + 32 <= count; i += 32) {
    store(out + i,
          exchangeMiddle(_mm256_packus_epi16(rounded(samples + i), rounded(samples + i + 16))));
  }
  scalar::roundRow(samples + i, count - i, out + i);
}

}  // namespace

void installAvx2(ReconstructionFunctions& table) {
  table.blendWeights = blendWeights;
  table.sampleWeights = sampleWeights;
  table.lookUpSums = lookUpSums;
  table.shareRow = shareRow;
  table.addProducts = addProducts;
  table.limitPositions = limitPositions;
  table.residualRow = residualRow;
  table.roundRow = roundRow;
}

}  // namespace velmora::burst
