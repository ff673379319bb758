// Fusion with byte permutes of AVX-512. Intrinsics and static functions only: see
// cmake/VelmoraCpu.cmake.
//
// Eight neighbouring output samples, a group, mostly read from four rows of 16 source samples of
// either frame. Such a window makes one register, a row per 128 bits:
//
//     column           base                 base + 12      base + 15
//     bytes  0 .. 15   .  .  A  A  A  A  B  B  B  B  .  .  .  .  .  .
//     bytes 16 .. 31   .  .  A  A  A  A  B  B  B  B  .  .  .  .  .  .
//     bytes 32 .. 47   .  .  A  A  A  A  B  B  B  B  .  .  .  .  .  .
//     bytes 48 .. 63   .  .  A  A  A  A  B  B  B  B  .  .  .  .  .  .
//
// A and B are the blocks of 4 x 4 samples of two output samples, at offsets 2 and 6; they may
// overlap. An offset lies in 0 .. 12, or the block leaves the window. One byte permutation picks
// two blocks and widens them to 16 bits.
//
// The base is the smaller of the first and the last block's columns, which bound the others where
// columns rise or fall steadily, moved left where 16 samples would reach beyond the row. Every
// offset is tested nevertheless. The AVX2 function does the whole group where one is out of range
// (in an enlarged frame only where the second frame's positions jump), where mapped positions
// change their line or leave the frame, or where a table has weights that are not positive.
//
// A stretch of columns goes through three loops, which leave their results in memory: positions,
// dot products, quotients. In one loop there would be too many values for the registers.
#include <immintrin.h>

#include "interpolation/x86/avx2.h"
#include "interpolation/x86/avx512vbmi.h"

namespace velmora::avx512vbmi {
namespace {

constexpr __mmask64 kEvenBytes = 0x5555555555555555u;
/// Samples of a window's row, and the last offset that a block can have in it.
constexpr int32_t kWindow = 16;
constexpr int32_t kLastOffset = kWindow - 4;

__m128i load128(const void* from) {
  return _mm_loadu_si128(static_cast<const __m128i*>(from));
}
__m256i load256(const void* from) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}

// Those of `lanes` whose value is 0 .. limit - 1.
__mmask8 below(__mmask8 lanes, __m256i values, int32_t limit) {
  return _mm256_mask_cmplt_epu32_mask(lanes, values, _mm256_set1_epi32(limit));
}

int32_t smaller(int32_t a, int32_t b) {
  return a < b ? a : b;
}

constexpr int kGroup = 8;    // samples that share their windows
constexpr int kGroups = 16;  // of a stretch
constexpr int kPairs = kGroup / 2;

// Eight output samples between the loops.
struct Group {
  alignas(64) uint8_t windows[2][64];    // of the first and the second frame
  alignas(64) int32_t sums[kPairs][16];  // per pair of samples eight partial sums each
  int64_t offsets[2];                    // eight bytes: column of each sample's block in the window
  alignas(32) int32_t tableRows[kGroup];  // of the second frame
  alignas(32) int32_t weights[kGroup];
};

__m512i window(const uint8_t* row0, const uint8_t* row1, const uint8_t* row2, const uint8_t* row3) {
  __m512i rows = _mm512_castsi128_si512(load128(row0));
  rows = _mm512_inserti32x4(rows, load128(row1), 1);
  rows = _mm512_inserti32x4(rows, load128(row2), 2);
  return _mm512_inserti32x4(rows, load128(row3), 3);
}

int64_t eightBytes(__m256i values) {
  return _mm_cvtsi128_si64(_mm256_cvtepi32_epi8(values));
}

// Per pair of samples, which byte of the offsets belongs to each byte of the result.
struct OffsetOrder {
  alignas(64) uint8_t bytes[kPairs][64];
};
constexpr OffsetOrder offsetOrder() {
  OffsetOrder order = {};
  for (int pair = 0; pair < kPairs; ++pair) {
    for (int i = 0; i < 64; ++i)
      order.bytes[pair][i] = static_cast<uint8_t>(2 * pair + i / 32);
  }
  return order;
}
constexpr OffsetOrder kOffsetOrder = offsetOrder();

// The 4 x 4 samples of two output samples, sixteen 16-bit values each.
__m512i twoBlocks(const Group& group, int frame, int pair) {
  // Byte of the window per 16-bit value: 16 times the row plus the column.
  const __m512i block = _mm512_broadcast_i64x4(
      _mm256_setr_epi16(0, 1, 2, 3, 16, 17, 18, 19, 32, 33, 34, 35, 48, 49, 50, 51));
  const __m512i offsets = _mm512_shuffle_epi8(_mm512_set1_epi64(group.offsets[frame]),
                                              _mm512_load_si512(kOffsetOrder.bytes[pair]));
  return _mm512_maskz_permutexvar_epi8(kEvenBytes, _mm512_add_epi8(block, offsets),
                                       _mm512_load_si512(group.windows[frame]));
}

__m512i tapsOfTwo(const int16_t* a, const int16_t* b) {
  return _mm512_inserti64x4(_mm512_castsi256_si512(load256(a)), load256(b), 1);
}

// Where eight samples lie in the second frame.
struct SecondFrame {
  const uint8_t* corner;  // first sample of the window
  __m256i offsets;
  __m256i tableRows;
};

// Locates the eight columns from j on. Returns those of `lanes` that pass every test; the result
// holds, and its corner may be read, if they are all eight.
__mmask8 locateSecond(const FusionRow& row, const FusionColumns& columns, int32_t j, __mmask8 lanes,
                      SecondFrame& second) {
  const int32_t mapBase =
      smaller(smaller(columns.mapColumn[j], columns.mapColumn[j + 7]), row.width - kGroup);
  const __m256i map = _mm256_sub_epi32(load256(columns.mapColumn + j), _mm256_set1_epi32(mapBase));
  lanes = below(lanes, map, kGroup);
  const __m256i x = _mm256_add_epi32(_mm256_permutevar8x32_epi32(load256(row.mapX + mapBase), map),
                                     load256(columns.fraction + j));
  const __m256i y = _mm256_add_epi32(_mm256_permutevar8x32_epi32(load256(row.mapY + mapBase), map),
                                     _mm256_set1_epi32(row.fraction));

  const __m256i column = _mm256_srai_epi32(x, 16);
  const __m256i lines = _mm256_srai_epi32(y, 16);
  const __m256i firstLine = _mm256_broadcastd_epi32(_mm256_castsi256_si128(lines));
  lanes = _mm256_mask_cmpeq_epi32_mask(lanes, lines, firstLine);
  lanes = below(lanes, lines, row.height);
  lanes = below(lanes, column, row.width);
  // Tap 0 of a block lies one sample before its column: padded column + 1.
  const int32_t base =
      smaller(smaller(_mm256_cvtsi256_si32(column), _mm256_extract_epi32(column, 7)) + 1,
              row.sourceWidth - kWindow);
  second.offsets = _mm256_sub_epi32(column, _mm256_set1_epi32(base - 1));
  lanes = below(lanes, second.offsets, kLastOffset + 1);
  const int64_t line = _mm256_cvtsi256_si32(lines);
  second.corner = row.second + (line + 1) * row.sourceWidth + base;

  const __m256i phases = _mm256_set1_epi32(row.phases);
  const auto phase = [&](__m256i position) {
    const __m256i fraction = _mm256_blend_epi16(position, _mm256_setzero_si256(), 0xAA);
    return _mm256_srli_epi32(_mm256_mullo_epi32(phases, fraction), 16);
  };
  second.tableRows = _mm256_add_epi32(_mm256_mullo_epi32(phase(y), phases), phase(x));
  return lanes;
}

// (sums + weights / 2) / weights, truncated and clamped to 0..255, for weights above 0. The
// single-precision quotient of sums below 2^29 is off by one at most where it lies below 256, which
// the remainder tells.
__m512i quotients(__m512i sums, __m512i weights) {
  const __m512i zero = _mm512_setzero_si512();
  const __m512i one = _mm512_set1_epi32(1);
  const __m512i numerator =
      _mm512_max_epi32(_mm512_add_epi32(sums, _mm512_srli_epi32(weights, 1)), zero);
  __m512i quotient = _mm512_cvttps_epi32(
      _mm512_div_ps(_mm512_cvtepi32_ps(numerator), _mm512_cvtepi32_ps(weights)));
  const __m512i rest = _mm512_sub_epi32(numerator, _mm512_mullo_epi32(quotient, weights));
  quotient = _mm512_mask_sub_epi32(quotient, _mm512_cmplt_epi32_mask(rest, zero), quotient, one);
  return _mm512_mask_add_epi32(quotient, _mm512_cmpge_epi32_mask(rest, weights), quotient, one);
}

// One sum per output sample of the partial ones.
__m256i foldedSums(const Group& group) {
  const auto folded = [&](int pair) {
    const __m512i a = _mm512_load_si512(group.sums[pair]);
    const __m512i b = _mm512_load_si512(group.sums[pair + 1]);
    return _mm512_add_epi32(_mm512_unpacklo_epi32(a, b), _mm512_unpackhi_epi32(a, b));
  };
  const __m512i a = folded(0);
  const __m512i b = folded(2);
  const __m512i quarters =
      _mm512_add_epi32(_mm512_unpacklo_epi64(a, b), _mm512_unpackhi_epi64(a, b));
  // Quarters 0 and 1 belong to the even samples, 2 and 3 to the odd ones.
  const __m512i halves = _mm512_add_epi32(quarters, _mm512_shuffle_i32x4(quarters, quarters, 0xB1));
  const __m128i even = _mm512_castsi512_si128(halves);
  const __m128i odd = _mm512_extracti32x4_epi32(halves, 2);
  return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_unpacklo_epi32(even, odd)),
                                 _mm_unpackhi_epi32(even, odd), 1);
}

// Windows, offsets and table rows of the eight columns from j on; false when there are none.
bool locate(const FusionRow& row, const FusionColumns& columns, int32_t j, Group& group) {
  const int32_t base =
      smaller(smaller(columns.first[j], columns.first[j + 7]), row.sourceWidth - kWindow);
  const __m256i offsets = _mm256_sub_epi32(load256(columns.first + j), _mm256_set1_epi32(base));
  SecondFrame second;
  if (locateSecond(row, columns, j, below(0xFF, offsets, kLastOffset + 1), second) != 0xFF)
    return false;
  const int64_t pitch = row.sourceWidth;
  const uint8_t* corner = second.corner;
  _mm512_store_si512(group.windows[0], window(row.rows[0] + base, row.rows[1] + base,
                                              row.rows[2] + base, row.rows[3] + base));
  _mm512_store_si512(group.windows[1],
                     window(corner, corner + pitch, corner + 2 * pitch, corner + 3 * pitch));
  group.offsets[0] = eightBytes(offsets);
  group.offsets[1] = eightBytes(second.offsets);
  _mm256_store_si256(reinterpret_cast<__m256i*>(group.tableRows), second.tableRows);
  return true;
}

// Weighted sums and weights of the columns from j on.
void addUp(const FusionRow& row, const FusionColumns& columns, int32_t j, Group& group) {
  for (int pair = 0; pair < kPairs; ++pair) {
    const int a = 2 * pair;
    const int b = a + 1;
    const int16_t* firstA = row.taps[columns.phase[j + a]];
    const int16_t* firstB = row.taps[columns.phase[j + b]];
    const int16_t* secondA = row.table[group.tableRows[a]];
    const int16_t* secondB = row.table[group.tableRows[b]];
    const __m512i sum = _mm512_madd_epi16(twoBlocks(group, 0, pair), tapsOfTwo(firstA, firstB));
    _mm512_store_si512(group.sums[pair], _mm512_dpwssd_epi32(sum, twoBlocks(group, 1, pair),
                                                             tapsOfTwo(secondA, secondB)));
    group.weights[a] = firstA[16] + secondA[16];
    group.weights[b] = firstB[16] + secondB[16];
  }
}

__m512i joined(__m256i low, __m256i high) {
  return _mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1);
}

// `count` groups of columns from j on, 1 .. kGroups.
void fuseGroups(const FusionRow& row, const FusionColumns& columns, int32_t j, int count,
                uint8_t* out) {
  Group groups[kGroups];
  bool located[kGroups];
  for (int g = 0; g < count; ++g)
    located[g] = locate(row, columns, j + kGroup * g, groups[g]);
  for (int g = 0; g < count; ++g) {
    if (located[g]) addUp(row, columns, j + kGroup * g, groups[g]);
  }
  const auto finish = [&](int g, __m128i bytes, bool usable) {
    const int32_t from = j + kGroup * g;
    if (located[g] && usable) {
      _mm_storel_epi64(reinterpret_cast<__m128i*>(out + from), bytes);
    } else {
      avx2::fuseRow(row, columns, from, from + kGroup, out);
    }
  };
  for (int g = 0; g < count; g += 2) {
    const Group& a = groups[g];
    const Group& b = groups[g + 1 < count ? g + 1 : g];
    const __m512i weights = joined(load256(a.weights), load256(b.weights));
    const __mmask16 positive = _mm512_cmpgt_epi32_mask(weights, _mm512_setzero_si512());
    const __m512i result = quotients(joined(foldedSums(a), foldedSums(b)), weights);
    const __m128i bytes = _mm512_cvtusepi32_epi8(result);
    finish(g, bytes, (positive & 0xFF) == 0xFF);
    if (g + 1 < count) finish(g + 1, _mm_srli_si128(bytes, 8), positive >> 8 == 0xFF);
  }
}

}  // namespace

void fuseRow(const FusionRow& row, const FusionColumns& columns, int32_t begin, int32_t end,
             uint8_t* out) {
  const int32_t insideBegin = columns.insideBegin > begin ? columns.insideBegin : begin;
  const int32_t insideEnd = columns.insideEnd < end ? columns.insideEnd : end;
  if (insideEnd - insideBegin < kGroup || row.width < kGroup || row.sourceWidth < kWindow)
    return avx2::fuseRow(row, columns, begin, end, out);
  if (begin < insideBegin) avx2::fuseRow(row, columns, begin, insideBegin, out);
  int32_t j = insideBegin;
  while (j + kGroup <= insideEnd) {
    const int32_t groups = smaller((insideEnd - j) / kGroup, kGroups);
    fuseGroups(row, columns, j, groups, out);
    j += kGroup * groups;
  }
  if (j < end) avx2::fuseRow(row, columns, j, end, out);
}

}  // namespace velmora::avx512vbmi
