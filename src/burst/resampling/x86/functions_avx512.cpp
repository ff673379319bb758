// AVX-512 functions of resampling (F, BW, VL, DQ). Intrinsics and static functions only: see
// cmake/VelmoraCpu.cmake. Window sums stay with AVX2: taking several windows out of shared lines
// with permutations was slower than loading each.
#include <immintrin.h>

#include "burst/resampling/function_sets.h"

namespace velmora::burst {
namespace {

constexpr int32_t kCell = 8;  // samples from node to node

__m256i load256(const void* from) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}

// What positions of four cells are made of: those of x and y in lanes 0 and 2 of each cell's four.
struct Cells {
  __m512i whole;
  __m512i fraction;  // 14 bits
  __m512i slope;     // a sample, 20 bits
};

// Sixteen positions on one axis, from the cells that `lanes` names.
void fill(const Cells& cells, __m512i lanes, int32_t* out) {
  const __m512i steps = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 0, 1, 2, 3, 4, 5, 6, 7);
  const __m512i moved =
      _mm512_add_epi32(_mm512_permutexvar_epi32(lanes, cells.fraction),
                       _mm512_mullo_epi32(_mm512_permutexvar_epi32(lanes, cells.slope), steps));
  _mm512_storeu_si512(out, _mm512_add_epi32(_mm512_permutexvar_epi32(lanes, cells.whole),
                                            _mm512_srai_epi32(moved, 14)));
}

void positions(const NodeRow& row, int32_t left, int32_t right, int32_t* x, int32_t* y) {
  const int32_t first = (left + kCell - 1) / kCell;
  const int32_t last = right / kCell;
  if (first + 4 > last) {
    scalar::positions(row, left, right, x, y);
    return;
  }
  scalar::positions(row, left, first * kCell, x, y);
  const __m512i up = _mm512_set1_epi64(kCell - row.down);
  const __m512i down = _mm512_set1_epi64(row.down);
  const __m512i half = _mm512_set1_epi64(1 << 13);
  const __m512i low = _mm512_set1_epi64((1 << 14) - 1);
  // Both axes of four neighbouring nodes, moved down to the row: 17 fraction bits in 64-bit lanes.
  const auto nodesAt = [&](int32_t i) {
    const __m512i upper = _mm512_cvtepi32_epi64(load256(row.upper + 2 * i));
    const __m512i lower = _mm512_cvtepi32_epi64(load256(row.lower + 2 * i));
    return _mm512_add_epi64(_mm512_mul_epi32(upper, up), _mm512_mul_epi32(lower, down));
  };
  const __m512i none = _mm512_setzero_si512();
  const __m512i front = _mm512_inserti64x4(none, _mm256_set1_epi32(4), 1);
  const __m512i back = _mm512_add_epi32(front, _mm512_set1_epi32(8));
  const __m512i next = _mm512_set1_epi32(2);  // lanes from x to y
  for (int32_t i = first; i < last;) {
    // The last four cells reach back over what is done already.
    if (i + 4 > last) i = last - 4;
    const __m512i nodes = nodesAt(i);
    const __m512i rounded = _mm512_add_epi64(_mm512_slli_epi64(nodes, 3), half);
    const Cells cells = {_mm512_srli_epi64(rounded, 14), _mm512_and_si512(rounded, low),
                         _mm512_sub_epi64(nodesAt(i + 1), nodes)};
    const int32_t at = i * kCell - left;
    fill(cells, front, x + at);
    fill(cells, back, x + at + 16);
    fill(cells, _mm512_add_epi32(front, next), y + at);
    fill(cells, _mm512_add_epi32(back, next), y + at + 16);
    i += 4;
  }
  const int32_t done = last * kCell - left;
  scalar::positions(row, last * kCell, right, x + done, y + done);
}

}  // namespace

void installAvx512(ResamplingFunctions& table) {
  table.positions = positions;
}

}  // namespace velmora::burst
