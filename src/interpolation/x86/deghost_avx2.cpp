// De-ghosting with AVX2: the sixteen samples of a block at a time. Intrinsics and static functions
// only: see cmake/VelmoraCpu.cmake.
//
// The samples of a block are held in 16 bytes, row by row, or in two vectors of 32-bit lanes, of
// rows 0 and 1 and of rows 2 and 3. Blocks near the edges, of the guide or of the frame, are left
// to the scalar function: whole loads of eight bytes do not fit there.
#include "interpolation/x86/avx2.h"

#include <immintrin.h>

#include "interpolation/function_sets.h"

namespace velmora::avx2 {
namespace {

__m128i fourBytes(const uint8_t* from) {
  return _mm_loadu_si32(from);
}

// Eight bytes from each of two rows.
__m128i twoRows(const uint8_t* upper, const uint8_t* lower) {
  return _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(upper)),
                            _mm_loadl_epi64(reinterpret_cast<const __m128i*>(lower)));
}

// The first, and the second, four bytes of each half of both: four rows.
__m128i firstFours(__m128i rows01, __m128i rows23) {
  return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(rows01), _mm_castsi128_ps(rows23), 0x88));
}
__m128i secondFours(__m128i rows01, __m128i rows23) {
  return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(rows01), _mm_castsi128_ps(rows23), 0xDD));
}

// Bytes 0 1 1 2 2 3 3 4 of each half, as 16-bit pairs of neighbours.
__m256i neighbours(__m128i rows) {
  const __m128i order = _mm_setr_epi8(0, 1, 1, 2, 2, 3, 3, 4, 8, 9, 9, 10, 10, 11, 11, 12);
  return _mm256_cvtepu8_epi16(_mm_shuffle_epi8(rows, order));
}

// The pairs of chroma under four samples of each half: U four times, V four times. A block that
// begins at an odd column lies over three pairs.
__m128i spreadPairs(__m128i rows, bool odd) {
  const __m128i even = _mm_setr_epi8(0, 0, 2, 2, 1, 1, 3, 3, 8, 8, 10, 10, 9, 9, 11, 11);
  const __m128i shifted = _mm_setr_epi8(0, 2, 2, 4, 1, 3, 3, 5, 8, 10, 10, 12, 9, 11, 11, 13);
  return _mm_shuffle_epi8(rows, odd ? shifted : even);
}

__m128i absoluteDifference(__m128i a, __m128i b) {
  return _mm_or_si128(_mm_subs_epu8(a, b), _mm_subs_epu8(b, a));
}

// Rows of horizontally weighted guide samples, -255 .. 65280, to the bilinear value of each lane,
// -2 .. 255. The vertical weights are 256 - fraction and fraction - 1.
__m256i bilinear(__m256i upper, __m256i lower, __m256i fraction) {
  const __m256i slope = _mm256_mullo_epi32(_mm256_sub_epi32(lower, upper), fraction);
  const __m256i level = _mm256_sub_epi32(_mm256_slli_epi32(upper, 8), lower);
  const __m256i sum = _mm256_add_epi32(level, slope);
  return _mm256_srai_epi32(_mm256_add_epi32(sum, _mm256_set1_epi32(32768)), 16);
}

// Per 32-bit lane the pair (weight of the difference, 4096). Entries are fetched two at a time, so
// that nothing beyond the table is read.
__m256i weightPairs(const int16_t* weights, __m128i differences) {
  const __m256i index = _mm256_cvtepu8_epi32(differences);
  const __m256i two =
      _mm256_i32gather_epi32(reinterpret_cast<const int*>(weights), _mm256_srli_epi32(index, 1), 4);
  const __m256i odd = _mm256_and_si256(index, _mm256_set1_epi32(1));
  const __m256i weight = _mm256_srlv_epi32(two, _mm256_slli_epi32(odd, 4));
  return _mm256_blend_epi16(weight, _mm256_set1_epi32(4096 << 16), 0xAA);
}

// weight * own + (4096 - weight) * other, as weight * (own - other) + 4096 * other, from Q12.
__m256i blended(__m256i own, __m256i other, __m256i weights) {
  const __m256i pairs =
      _mm256_blend_epi16(_mm256_sub_epi32(own, other), _mm256_slli_epi32(other, 16), 0xAA);
  const __m256i sum = _mm256_madd_epi16(pairs, weights);
  return _mm256_srai_epi32(_mm256_add_epi32(sum, _mm256_set1_epi32(2048)), 12);
}

// One block whose samples and their guide positions all lie inside.
class Block {
 public:
  Block(const DeghostRow& row, int32_t column, int32_t x, int32_t y)
      : row_(row), column_(column), x_(x), y_(y) {}

  void deghost(int32_t fractionX, int32_t fractionY) const {
    const int64_t pitch = row_.width;
    const uint8_t* guide = row_.guideLuma + y_ * pitch + x_;
    uint8_t* luma = row_.luma + row_.firstRow * pitch + column_;
    const __m128i guide01 = twoRows(guide, guide + pitch);
    const __m128i guide23 = twoRows(guide + 2 * pitch, guide + 3 * pitch);
    const __m128i guide4 = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(guide + 4 * pitch));
    const __m128i own = _mm_unpacklo_epi64(
        _mm_unpacklo_epi32(fourBytes(luma), fourBytes(luma + pitch)),
        _mm_unpacklo_epi32(fourBytes(luma + 2 * pitch), fourBytes(luma + 3 * pitch)));

    const __m128i other01 = chromaRows(row_.guideChroma, y_, x_, 0);
    const __m128i other23 = chromaRows(row_.guideChroma, y_, x_, 2);
    const __m128i chroma01 = chromaRows(row_.chroma, row_.firstRow, column_, 0);
    const __m128i chroma23 = chromaRows(row_.chroma, row_.firstRow, column_, 2);
    const __m128i otherPairs01 = spreadPairs(other01, x_ % 2 != 0);
    const __m128i otherPairs23 = spreadPairs(other23, x_ % 2 != 0);
    const __m128i pairs01 = spreadPairs(chroma01, false);
    const __m128i pairs23 = spreadPairs(chroma23, false);
    const __m128i du =
        absoluteDifference(firstFours(otherPairs01, otherPairs23), firstFours(pairs01, pairs23));
    const __m128i dv =
        absoluteDifference(secondFours(otherPairs01, otherPairs23), secondFours(pairs01, pairs23));
    const __m128i dy = absoluteDifference(firstFours(guide01, guide23), own);
    const __m128i difference = _mm_max_epu8(dy, _mm_max_epu8(du, dv));
    const __m256i weights01 = weightPairs(row_.weights, difference);
    const __m256i weights23 = weightPairs(row_.weights, _mm_srli_si128(difference, 8));

    // Horizontal weights 256 - fraction and fraction - 1, in pairs.
    const __m256i across = _mm256_set1_epi32(static_cast<int>(
        static_cast<uint32_t>(fractionX - 1) << 16 | static_cast<uint32_t>(256 - fractionX)));
    const __m256i rows01 = _mm256_madd_epi16(neighbours(guide01), across);
    const __m256i rows23 = _mm256_madd_epi16(neighbours(guide23), across);
    const __m256i row4 = _mm256_madd_epi16(neighbours(guide4), across);
    const __m256i rows12 = _mm256_permute2x128_si256(rows01, rows23, 0x21);
    const __m256i rows34 = _mm256_permute2x128_si256(rows23, row4, 0x21);
    const __m256i down = _mm256_set1_epi32(fractionY);
    const __m256i new01 =
        blended(_mm256_cvtepu8_epi32(own), bilinear(rows01, rows12, down), weights01);
    const __m256i new23 = blended(_mm256_cvtepu8_epi32(_mm_srli_si128(own, 8)),
                                  bilinear(rows23, rows34, down), weights23);
    storeLuma(luma, new01, new23);
    storeChroma(other01, other23, chroma01, chroma23, weights01, weights23);
  }

 private:
  // Chroma under the rows y + r and y + r + 1, eight bytes from the pair of column x on.
  __m128i chromaRows(const uint8_t* chroma, int32_t y, int32_t x, int32_t r) const {
    const int64_t pitch = row_.width & ~1;
    const uint8_t* from = chroma + (x & ~1);
    return twoRows(from + (y + r) / 2 * pitch, from + (y + r + 1) / 2 * pitch);
  }

  void storeLuma(uint8_t* luma, __m256i new01, __m256i new23) const {
    const int64_t pitch = row_.width;
    const __m256i words = _mm256_packs_epi32(new01, new23);
    const __m256i bytes = _mm256_packus_epi16(words, words);
    const __m128i rows02 = _mm256_castsi256_si128(bytes);
    const __m128i rows13 = _mm256_extracti128_si256(bytes, 1);
    _mm_storeu_si32(luma, rows02);
    _mm_storeu_si32(luma + pitch, rows13);
    _mm_storeu_si32(luma + 2 * pitch, _mm_srli_si128(rows02, 4));
    _mm_storeu_si32(luma + 3 * pitch, _mm_srli_si128(rows13, 4));
  }

  // The two even rows have two pairs each, at the samples of columns 0 and 2.
  void storeChroma(__m128i other01, __m128i other23, __m128i chroma01, __m128i chroma23,
                   __m256i weights01, __m256i weights23) const {
    const bool odd = row_.firstRow % 2 != 0;
    const __m128i own =
        odd ? _mm_unpackhi_epi64(chroma01, chroma23) : _mm_unpacklo_epi64(chroma01, chroma23);
    const __m128i other =
        odd ? _mm_unpackhi_epi64(other01, other23) : _mm_unpacklo_epi64(other01, other23);
    const __m256i weights = odd ? _mm256_permute2x128_si256(weights01, weights23, 0x31)
                                : _mm256_permute2x128_si256(weights01, weights23, 0x20);
    const __m128i order = _mm_setr_epi8(0, 1, 2, 3, 8, 9, 10, 11, 0, 0, 0, 0, 0, 0, 0, 0);
    const __m256i pairs = blended(_mm256_cvtepu8_epi32(_mm_shuffle_epi8(own, order)),
                                  _mm256_cvtepu8_epi32(_mm_shuffle_epi8(other, order)),
                                  _mm256_shuffle_epi32(weights, 0xA0));
    const __m256i words = _mm256_packs_epi32(pairs, pairs);
    const __m256i bytes = _mm256_packus_epi16(words, words);
    const int64_t pitch = row_.width & ~1;
    uint8_t* to = row_.newChroma + (row_.firstRow + 1) / 2 * pitch + column_;
    _mm_storeu_si32(to, _mm256_castsi256_si128(bytes));
    _mm_storeu_si32(to + pitch, _mm256_extracti128_si256(bytes, 1));
  }

  const DeghostRow& row_;
  int32_t column_;
  int32_t x_, y_;
};

}  // namespace

void deghostBlocks(const DeghostRow& row, int32_t begin, int32_t end) {
  const bool wholeRows = row.rows == 4 && row.firstRow + 4 <= (row.height & ~1);
  for (int32_t column = begin; column < end; column += 4) {
    const int32_t mapX = row.mapX[column];
    const int32_t mapY = row.mapY[column];
    const int32_t x = mapX >> 16;
    const int32_t y = mapY >> 16;
    if (wholeRows && column + 8 <= row.width && column + 4 <= end && x >= 0 && x <= row.width - 8 &&
        y >= 0 && y <= row.height - 5) {
      Block(row, column, x, y).deghost((mapX >> 8) & 0xFF, (mapY >> 8) & 0xFF);
    } else {
      scalar::deghostBlocks(row, column, column + 4 < end ? column + 4 : end);
    }
  }
}

}  // namespace velmora::avx2
