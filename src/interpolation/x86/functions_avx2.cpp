// AVX2 functions of the interpolation family. Intrinsics and static functions only: see
// cmake/VelmoraCpu.cmake.
#include <immintrin.h>

#include "interpolation/function_sets.h"
#include "interpolation/x86/avx2.h"
#include "interpolation/x86/tails.h"

namespace velmora {
namespace {

__m256i load(const void* from) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}
void store(void* to, __m256i value) {
  _mm256_storeu_si256(static_cast<__m256i*>(to), value);
}
__m128i load128(const void* from) {
  return _mm_loadu_si128(static_cast<const __m128i*>(from));
}
void store128(void* to, __m128i value) {
  _mm_storeu_si128(static_cast<__m128i*>(to), value);
}

// 64-bit quarters 0 2 1 3: in-lane packing and unpacking leave the middle ones exchanged.
__m256i exchangeMiddle(__m256i v) {
  return _mm256_permute4x64_epi64(v, 0xD8);
}

void splitPairs(const uint8_t* pairs, uint8_t* even, uint8_t* odd, int32_t count) {
  const __m256i low = _mm256_set1_epi16(0xFF);
  int32_t j = 0;
  for (; j + 32 <= count; j += 32) {
    const __m256i a = load(pairs + 2 * j);
    const __m256i b = load(pairs + 2 * j + 32);
    store(even + j,
          exchangeMiddle(_mm256_packus_epi16(_mm256_and_si256(a, low), _mm256_and_si256(b, low))));
    store(odd + j,
          exchangeMiddle(_mm256_packus_epi16(_mm256_srli_epi16(a, 8), _mm256_srli_epi16(b, 8))));
  }
  for (; j < count; ++j) {
    even[j] = pairs[2 * j];
    odd[j] = pairs[2 * j + 1];
  }
}

void mergePairs(const uint8_t* even, const uint8_t* odd, uint8_t* pairs, int32_t count) {
  int32_t j = 0;
  for (; j + 32 <= count; j += 32) {
    const __m256i a = load(even + j);
    const __m256i b = load(odd + j);
    const __m256i low = _mm256_unpacklo_epi8(a, b);
    const __m256i high = _mm256_unpackhi_epi8(a, b);
    store(pairs + 2 * j, _mm256_permute2x128_si256(low, high, 0x20));
    store(pairs + 2 * j + 32, _mm256_permute2x128_si256(low, high, 0x31));
  }
  for (; j < count; ++j) {
    pairs[2 * j] = even[j];
    pairs[2 * j + 1] = odd[j];
  }
}

// The four columns from j on in the lower half, four others in the upper half: the offsets of their
// samples from the 16 bytes that each half reads, and their taps. Samples come out of a byte
// shuffle as 16-bit pairs.
struct EightColumns {
  EightColumns(const ColumnPlan& plan, int32_t j, __m256i bases) {
    const __m256i offsets = _mm256_sub_epi32(halves(plan.first + j, plan.first + j + 8), bases);
    // Per column the bytes (offset, none, offset + 1, none); none selects zero.
    shuffle01 = _mm256_add_epi32(_mm256_or_si256(offsets, _mm256_slli_epi32(offsets, 16)),
                                 _mm256_set1_epi32(static_cast<int>(0x80018000u)));
    shuffle23 = _mm256_add_epi32(shuffle01, _mm256_set1_epi32(0x00020002));
    const int16_t* taps = plan.taps + int64_t{4} * j;
    const __m256 front = _mm256_castsi256_ps(halves(taps, taps + 32));
    const __m256 back = _mm256_castsi256_ps(halves(taps + 8, taps + 40));
    taps01 = _mm256_castps_si256(_mm256_shuffle_ps(front, back, 0x88));
    taps23 = _mm256_castps_si256(_mm256_shuffle_ps(front, back, 0xDD));
  }
  // Sums of samples times taps, not yet back from Q12.
  __m256i filter(__m256i samples) const {
    const __m256i sum = _mm256_madd_epi16(_mm256_shuffle_epi8(samples, shuffle01), taps01);
    return _mm256_add_epi32(sum,
                            _mm256_madd_epi16(_mm256_shuffle_epi8(samples, shuffle23), taps23));
  }

 private:
  static __m256i halves(const void* low, const void* high) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(load128(low)), load128(high), 1);
  }
  __m256i shuffle01, shuffle23;
  __m256i taps01, taps23;
};

// Sixteen columns from j on, row by row. The samples of the first eight lie within 16 bytes from
// low on, those of the others from high on. One EightColumns serves columns 0..3 and 8..11, the
// other the rest, so that packing puts them in order.
void filterSixteenColumns(const FilterBlock& block, const ColumnPlan& plan, int32_t j, int32_t low,
                          int32_t high) {
  const __m256i bases = _mm256_inserti128_si256(_mm256_set1_epi32(low), _mm_set1_epi32(high), 1);
  const EightColumns a(plan, j, bases);
  const EightColumns b(plan, j + 4, bases);
  const __m256i round = _mm256_set1_epi32(2048);
  const uint8_t* row = block.source;
  int16_t* out = block.out + j;
  for (int32_t r = 0; r < block.rows; ++r, row += block.sourcePitch, out += block.outPitch) {
    const __m256i samples =
        _mm256_inserti128_si256(_mm256_castsi128_si256(load128(row + low)), load128(row + high), 1);
    const __m256i sumA = _mm256_srai_epi32(_mm256_add_epi32(a.filter(samples), round), 12);
    const __m256i sumB = _mm256_srai_epi32(_mm256_add_epi32(b.filter(samples), round), 12);
    store(out, _mm256_packs_epi32(sumA, sumB));
  }
}

// Where 16 bytes that hold the samples of eight columns begin; -1 when they do not fit.
int32_t sixteenBytesOf(const ColumnPlan& plan, int32_t j) {
  const auto [low, high] = span(plan, j, 8);
  const int32_t last = plan.sourceWidth - 16;
  const int32_t base = low < last ? low : last;
  return high + 3 - base <= 15 ? base : -1;
}

void filterColumns(const FilterBlock& block, const ColumnPlan& plan, int32_t begin, int32_t end) {
  const int32_t insideBegin = plan.insideBegin > begin ? plan.insideBegin : begin;
  const int32_t insideEnd = plan.insideEnd < end ? plan.insideEnd : end;
  int32_t j = begin;
  while (j < end) {
    // The last group reaches back over columns that are done already.
    const int32_t lastGroup = insideEnd - 16;
    const int32_t from = j > lastGroup && j < insideEnd && lastGroup >= insideBegin ? lastGroup : j;
    if (from >= insideBegin && from <= lastGroup) {
      const int32_t low = sixteenBytesOf(plan, from);
      const int32_t high = sixteenBytesOf(plan, from + 8);
      if (low >= 0 && high >= 0) {
        filterSixteenColumns(block, plan, from, low, high);
        j = from + 16;
        continue;
      }
    }
    filterOne(block, plan, j++);
  }
}

// 16 samples of one output row, before the clamp.
__m256i filterSixteen(const int16_t* const* rows, int32_t j, __m256i taps01, __m256i taps23) {
  const __m256i r0 = load(rows[0] + j);
  const __m256i r1 = load(rows[1] + j);
  const __m256i r2 = load(rows[2] + j);
  const __m256i r3 = load(rows[3] + j);
  const __m256i round = _mm256_set1_epi32(2048);
  __m256i low = _mm256_add_epi32(_mm256_madd_epi16(_mm256_unpacklo_epi16(r0, r1), taps01),
                                 _mm256_madd_epi16(_mm256_unpacklo_epi16(r2, r3), taps23));
  __m256i high = _mm256_add_epi32(_mm256_madd_epi16(_mm256_unpackhi_epi16(r0, r1), taps01),
                                  _mm256_madd_epi16(_mm256_unpackhi_epi16(r2, r3), taps23));
  low = _mm256_srai_epi32(_mm256_add_epi32(low, round), 12);
  high = _mm256_srai_epi32(_mm256_add_epi32(high, round), 12);
  return _mm256_packs_epi32(low, high);
}

void filterRows(const int16_t* const* rows, const int16_t* taps, uint8_t* out, int32_t count) {
  const __m256i taps01 = _mm256_set1_epi32(tapPair(taps));
  const __m256i taps23 = _mm256_set1_epi32(tapPair(taps + 2));
  int32_t j = 0;
  for (; j + 32 <= count; j += 32) {
    store(out + j,
          exchangeMiddle(_mm256_packus_epi16(filterSixteen(rows, j, taps01, taps23),
                                             filterSixteen(rows, j + 16, taps01, taps23))));
  }
  for (; j + 16 <= count; j += 16) {
    const __m256i v = filterSixteen(rows, j, taps01, taps23);
    store128(out + j, _mm_packus_epi16(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1)));
  }
  for (; j < count; ++j) {
    int32_t sum = 2048;
    for (int32_t t = 0; t < 4; ++t)
      sum += rows[t][j] * taps[t];
    sum >>= 12;
    out[j] = static_cast<uint8_t>(sum < 0 ? 0 : sum > 255 ? 255 : sum);
  }
}

}  // namespace

void installAvx2(InterpolationFunctions& table) {
  table.splitPairs = splitPairs;
  table.mergePairs = mergePairs;
  table.filterColumns = filterColumns;
  table.filterRows = filterRows;
  table.fuseRow = avx2::fuseRow;
  table.deghostBlocks = avx2::deghostBlocks;
}

}  // namespace velmora
