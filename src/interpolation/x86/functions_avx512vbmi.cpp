// AVX-512 functions of the interpolation family that need byte permutes and 16-bit dot products.
// Intrinsics and static functions only: see cmake/VelmoraCpu.cmake.
#include <immintrin.h>

#include "interpolation/function_sets.h"
#include "interpolation/x86/avx512vbmi.h"
#include "interpolation/x86/filter_rows_avx512.h"
#include "interpolation/x86/tails.h"

namespace velmora {
namespace {

constexpr __mmask64 kEvenBytes = 0x5555555555555555u;

// The first `count` of 16 or 64 lanes; 0..16 and 0..64.
__mmask16 first16(int32_t count) {
  return static_cast<__mmask16>((1u << count) - 1u);
}
__mmask64 first64(int32_t count) {
  return count >= 64 ? ~__mmask64{0} : (__mmask64{1} << count) - 1;
}

// Sixteen columns whose samples lie within 64 bytes from `base` on, some of them possibly unused.
struct SixteenColumns {
  SixteenColumns(const ColumnPlan& plan, int32_t j, int32_t count, int32_t base) {
    const __m512i first = _mm512_maskz_loadu_epi32(first16(count), plan.first + j);
    const __m512i offsets = _mm512_sub_epi32(first, _mm512_set1_epi32(base));
    // Per column the bytes offset and offset + 1, widened to 16 bits by leaving out every second
    // byte.
    pair01 = _mm512_add_epi32(_mm512_or_si512(offsets, _mm512_slli_epi32(offsets, 16)),
                              _mm512_set1_epi32(0x00010000));
    pair23 = _mm512_add_epi32(pair01, _mm512_set1_epi32(0x00020002));
    // The taps 0 1 and 2 3 of a column are two 32-bit lanes side by side.
    const int32_t lanes = 2 * count;
    const int16_t* taps = plan.taps + int64_t{4} * j;
    const __m512i low = _mm512_maskz_loadu_epi32(first16(lanes < 16 ? lanes : 16), taps);
    const __m512i high = _mm512_maskz_loadu_epi32(first16(lanes > 16 ? lanes - 16 : 0), taps + 32);
    const __m512i evens =
        _mm512_set_epi32(30, 28, 26, 24, 22, 20, 18, 16, 14, 12, 10, 8, 6, 4, 2, 0);
    taps01 = _mm512_permutex2var_epi32(low, evens, high);
    taps23 = _mm512_permutex2var_epi32(low, _mm512_add_epi32(evens, _mm512_set1_epi32(1)), high);
  }
  // The filtered samples of one row, in 32 bits.
  __m512i filter(__m512i samples) const {
    const __m512i samples01 = _mm512_maskz_permutexvar_epi8(kEvenBytes, pair01, samples);
    const __m512i samples23 = _mm512_maskz_permutexvar_epi8(kEvenBytes, pair23, samples);
    const __m512i sum = _mm512_dpwssd_epi32(_mm512_set1_epi32(2048), samples01, taps01);
    return _mm512_srai_epi32(_mm512_dpwssd_epi32(sum, samples23, taps23), 12);
  }

 private:
  __m512i pair01, pair23;
  __m512i taps01, taps23;
};

// 32 columns from j on, whose samples lie within the 64 bytes of the row from base on.
void filterThirtyTwoColumns(const FilterBlock& block, const ColumnPlan& plan, int32_t j,
                            int32_t base) {
  const SixteenColumns a(plan, j, 16, base);
  const SixteenColumns b(plan, j + 16, 16, base);
  const __m512i inOrder = _mm512_set_epi64(7, 5, 3, 1, 6, 4, 2, 0);
  const uint8_t* row = block.source + base;
  int16_t* out = block.out + j;
  for (int32_t r = 0; r < block.rows; ++r, row += block.sourcePitch, out += block.outPitch) {
    const __m512i samples = _mm512_loadu_si512(row);
    // Packing takes turns between the two every 64 bits.
    const __m512i packed = _mm512_packs_epi32(a.filter(samples), b.filter(samples));
    _mm512_storeu_si512(out, _mm512_permutexvar_epi64(inOrder, packed));
  }
}

// Up to 16 columns, touching nothing beyond them or the end of the row.
void filterUpToSixteen(const FilterBlock& block, const ColumnPlan& plan, int32_t j, int32_t count,
                       int32_t base) {
  const SixteenColumns columns(plan, j, count, base);
  const __mmask64 inRow = first64(plan.sourceWidth - base);
  const uint8_t* row = block.source + base;
  int16_t* out = block.out + j;
  for (int32_t r = 0; r < block.rows; ++r, row += block.sourcePitch, out += block.outPitch) {
    const __m512i sums = columns.filter(_mm512_maskz_loadu_epi8(inRow, row));
    _mm256_mask_storeu_epi16(out, first16(count), _mm512_cvtepi32_epi16(sums));
  }
}

void filterColumns(const FilterBlock& block, const ColumnPlan& plan, int32_t begin, int32_t end) {
  const int32_t insideEnd = plan.insideEnd < end ? plan.insideEnd : end;
  int32_t j = begin;
  for (; j < end && j < plan.insideBegin; ++j)
    filterOne(block, plan, j);
  while (j < insideEnd) {
    if (j + 32 <= insideEnd) {
      const auto [low, high] = span(plan, j, 32);
      const int32_t last = plan.sourceWidth - 64;
      const int32_t base = low < last ? low : last;
      if (base >= 0 && high - base <= 60) {
        filterThirtyTwoColumns(block, plan, j, base);
        j += 32;
        continue;
      }
    }
    const int32_t count = insideEnd - j < 16 ? insideEnd - j : 16;
    const auto [base, high] = span(plan, j, count);
    if (high - base <= 60) {
      filterUpToSixteen(block, plan, j, count, base);
      j += count;
    } else {
      filterOne(block, plan, j++);
    }
  }
  for (; j < end; ++j)
    filterOne(block, plan, j);
}

}  // namespace

void installAvx512Vbmi(InterpolationFunctions& table) {
  table.filterColumns = filterColumns;
  table.filterRows = filterRows;
  table.fuseRow = avx512vbmi::fuseRow;
}

}  // namespace velmora
