// AVX2 functions of resampling, for AVX-512 as well: wider registers made neither faster.
// Intrinsics and static functions only: see cmake/VelmoraCpu.cmake.
#include <immintrin.h>

#include "burst/resampling/function_sets.h"

namespace velmora::burst {
namespace {

constexpr int32_t kCell = 8;  // samples from node to node

__m128i load128(const void* from) {
  return _mm_loadu_si128(static_cast<const __m128i*>(from));
}
__m256i load(const void* from) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}
void store(void* to, __m256i value) {
  _mm256_storeu_si256(static_cast<__m256i*>(to), value);
}

// What positions of some cells are made of, four values a cell: those of x and y at places 0 and 2.
constexpr int32_t kCells = 32;
struct Cells {
  alignas(32) int32_t whole[4 * kCells];
  alignas(32) int32_t fraction[4 * kCells];  // 14 bits
  alignas(32) int32_t slope[4 * kCells];     // a sample, 20 bits
};

// Two cells at a time; one may be too many.
void prepare(const NodeRow& row, int32_t first, int32_t count, Cells& cells) {
  const __m256i up = _mm256_set1_epi64x(kCell - row.down);
  const __m256i down = _mm256_set1_epi64x(row.down);
  const __m256i half = _mm256_set1_epi64x(1 << 13);
  const __m256i low = _mm256_set1_epi64x((1 << 14) - 1);
  // Both axes of two neighbouring nodes, moved down to the row: 17 fraction bits in 64-bit lanes.
  const auto nodesAt = [&](int32_t i) {
    const __m256i upper = _mm256_cvtepi32_epi64(load128(row.upper + 2 * i));
    const __m256i lower = _mm256_cvtepi32_epi64(load128(row.lower + 2 * i));
    return _mm256_add_epi64(_mm256_mul_epi32(upper, up), _mm256_mul_epi32(lower, down));
  };
  __m256i nodes = nodesAt(first);
  for (int32_t j = 0; j < count; j += 2) {
    const __m256i next = nodesAt(first + j + 2);
    const __m256i right = _mm256_permute2x128_si256(nodes, next, 0x21);
    const __m256i rounded = _mm256_add_epi64(_mm256_slli_epi64(nodes, 3), half);
    store(cells.whole + 4 * j, _mm256_srli_epi64(rounded, 14));
    store(cells.fraction + 4 * j, _mm256_and_si256(rounded, low));
    store(cells.slope + 4 * j, _mm256_sub_epi64(right, nodes));
    nodes = next;
  }
}

__m256i steps() {
  return _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
}

__m256i positionsIn(const Cells& cells, int32_t j, int32_t axis) {
  const int32_t at = 4 * j + 2 * axis;
  const __m256i moved =
      _mm256_add_epi32(_mm256_set1_epi32(cells.fraction[at]),
                       _mm256_mullo_epi32(_mm256_set1_epi32(cells.slope[at]), steps()));
  return _mm256_add_epi32(_mm256_set1_epi32(cells.whole[at]), _mm256_srai_epi32(moved, 14));
}

// Samples [from, to) of a cell that does not belong to the row as a whole.
void fillPart(const Cells& cells, int32_t j, int32_t from, int32_t to, int32_t* x, int32_t* y) {
  const __m256i wanted = _mm256_and_si256(_mm256_cmpgt_epi32(steps(), _mm256_set1_epi32(from - 1)),
                                          _mm256_cmpgt_epi32(_mm256_set1_epi32(to), steps()));
  _mm256_maskstore_epi32(x, wanted, positionsIn(cells, j, 0));
  _mm256_maskstore_epi32(y, wanted, positionsIn(cells, j, 1));
}

void positions(const NodeRow& row, int32_t left, int32_t right, int32_t* x, int32_t* y) {
  const int32_t end = (right + kCell - 1) / kCell;
  Cells cells;
  for (int32_t first = left / kCell; first < end; first += kCells) {
    const int32_t count = end - first < kCells ? end - first : kCells;
    prepare(row, first, count, cells);
    for (int32_t j = 0; j < count; ++j) {
      const int32_t at = (first + j) * kCell;
      if (at >= left && at + kCell <= right) {
        store(x + (at - left), positionsIn(cells, j, 0));
        store(y + (at - left), positionsIn(cells, j, 1));
      } else {
        fillPart(cells, j, left - at, right - at, x + (at - left), y + (at - left));
      }
    }
  }
}

// Four sums of samples times taps whose total is that of a window. Each load takes two rows: eight
// bytes that lie beside the window's four samples go away, and lie between its first and last row.
__m128i windowParts(const int16_t* samples, std::ptrdiff_t pitch, const int16_t* taps) {
  const __m128i rows01 = _mm_blend_epi32(load128(samples), load128(samples + pitch - 4), 0xC);
  const __m128i rows23 =
      _mm_blend_epi32(load128(samples + 2 * pitch), load128(samples + 3 * pitch - 4), 0xC);
  return _mm_add_epi32(_mm_madd_epi16(rows01, load128(taps)),
                       _mm_madd_epi16(rows23, load128(taps + 8)));
}

// Where the windows of some positions begin, in samples from the one at column -1 of the line above
// `line`, and where their taps do.
constexpr int32_t kBlock = 256;
struct Block {
  alignas(32) int32_t samples[kBlock];
  alignas(32) int32_t taps[kBlock];
};
void locate(const WindowRow& row, int32_t i, int32_t count, int32_t line, Block& block) {
  const __m256i phase = _mm256_set1_epi32(63);
  const __m256i pitch = _mm256_set1_epi32(static_cast<int32_t>(row.pitch));
  const __m256i first = _mm256_set1_epi32(line);
  for (int32_t j = 0; j < count; j += 8) {
    const __m256i x = load(row.x + i + j);
    const __m256i y = load(row.y + i + j);
    const __m256i down = _mm256_sub_epi32(_mm256_srai_epi32(y, 6), first);
    store(block.samples + j,
          _mm256_add_epi32(_mm256_mullo_epi32(down, pitch), _mm256_srai_epi32(x, 6)));
    store(block.taps + j,
          _mm256_slli_epi32(_mm256_or_si256(_mm256_slli_epi32(_mm256_and_si256(y, phase), 6),
                                            _mm256_and_si256(x, phase)),
                            4));
  }
}

__m256i roundedShift(__m256i sums, __m256i half, __m128i shift) {
  return _mm256_sra_epi32(_mm256_add_epi32(sums, half), shift);
}

// At twice the size and without rotation every other sample has the same taps, one sample further
// on. Half a run's sums of each of the two kinds are worked out at a time.
constexpr int32_t kRun = 32;

// How many samples from i on go on like that, with no need to count further than the block.
int32_t runFrom(const WindowRow& row, int32_t i, int32_t count) {
  const __m256i step = _mm256_set1_epi32(64);
  const __m256i y = _mm256_set1_epi32(row.y[i]);
  int32_t j = 0;
  for (; i + j + 10 <= count; j += 8) {
    const __m256i steps = _mm256_sub_epi32(load(row.x + i + j + 2), load(row.x + i + j));
    const __m256i same = _mm256_and_si256(_mm256_cmpeq_epi32(steps, step),
                                          _mm256_cmpeq_epi32(load(row.y + i + j + 2), y));
    const auto differing = ~static_cast<uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(same)));
    const int32_t equal = __builtin_ctz(differing);
    if (equal < 8) return j + equal + 2;
  }
  return j + 2;
}

// The sums of sixteen windows with the same taps, one sample after the other, those at even places
// and those at odd ones: a pair of samples is where it is needed without any shuffle.
struct HalfRun {
  __m256i even;
  __m256i odd;
};
HalfRun halfRun(const WindowRow& row, int32_t i) {
  const int32_t x = row.x[i];
  const int32_t y = row.y[i];
  const int16_t* samples = row.source + ((y >> 6) - 1) * row.pitch + ((x >> 6) - 1);
  const auto* taps =
      reinterpret_cast<const int*>(row.taps + std::ptrdiff_t{16} * (((y & 63) << 6) + (x & 63)));
  HalfRun sums = {_mm256_setzero_si256(), _mm256_setzero_si256()};
  for (int32_t v = 0; v < 4; ++v, samples += row.pitch, taps += 2) {
    for (int32_t h = 0; h < 2; ++h) {
      const __m256i pair = _mm256_set1_epi32(taps[h]);
      sums.even = _mm256_add_epi32(sums.even, _mm256_madd_epi16(load(samples + 2 * h), pair));
      sums.odd = _mm256_add_epi32(sums.odd, _mm256_madd_epi16(load(samples + 2 * h + 1), pair));
    }
  }
  return sums;
}

void run(const WindowRow& row, int32_t i, __m256i half, __m128i shift, int16_t* out) {
  const HalfRun a = halfRun(row, i);
  const HalfRun b = halfRun(row, i + 1);
  const __m256i first =
      _mm256_packs_epi32(roundedShift(a.even, half, shift), roundedShift(a.odd, half, shift));
  const __m256i second =
      _mm256_packs_epi32(roundedShift(b.even, half, shift), roundedShift(b.odd, half, shift));
  const __m256i even = _mm256_unpacklo_epi16(first, second);
  const __m256i odd = _mm256_unpackhi_epi16(first, second);
  const __m256i low = _mm256_unpacklo_epi32(even, odd);
  const __m256i high = _mm256_unpackhi_epi32(even, odd);
  store(out + i, _mm256_permute2x128_si256(low, high, 0x20));
  store(out + i + 16, _mm256_permute2x128_si256(low, high, 0x31));
}

// Up to a block of samples, a multiple of eight.
void block(const WindowRow& row, int32_t i, int32_t count, __m256i half, __m128i shift,
           int16_t* out) {
  Block at;
  const int32_t line = row.y[i] >> 6;
  locate(row, i, count, line, at);
  const std::ptrdiff_t pitch = row.pitch;
  const int16_t* taps = row.taps;
  const int16_t* source = row.source + (line - 1) * pitch - 1;
  for (int32_t j = 0; j < count; j += 8) {
    const auto pair = [&](int32_t a, int32_t b) {
      const __m128i low = windowParts(source + at.samples[j + a], pitch, taps + at.taps[j + a]);
      const __m128i high = windowParts(source + at.samples[j + b], pitch, taps + at.taps[j + b]);
      return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
    };
    const __m256i sums = _mm256_hadd_epi32(_mm256_hadd_epi32(pair(0, 4), pair(1, 5)),
                                           _mm256_hadd_epi32(pair(2, 6), pair(3, 7)));
    const __m256i rounded = roundedShift(sums, half, shift);
    _mm_storeu_si128(
        reinterpret_cast<__m128i*>(out + i + j),
        _mm_packs_epi32(_mm256_castsi256_si128(rounded), _mm256_extracti128_si256(rounded, 1)));
  }
}

void windowSums(const WindowRow& row, int32_t count, int16_t* out) {
  const __m256i half = _mm256_set1_epi32(1 << (row.shift - 1));
  const __m128i shift = _mm_cvtsi32_si128(row.shift);
  if (count < 8) {
    scalar::windowSums(row, count, out);
    return;
  }
  for (int32_t i = 0; i < count;) {
    // The last eight reach back over what is done already.
    if (i + 8 > count) i = count - 8;
    const int32_t length = runFrom(row, i, count);
    if (length >= kRun) {
      int32_t j = 0;
      for (; j + kRun <= length; j += kRun)
        run(row, i + j, half, shift, out);
      // The last sums reach back over what is done already.
      if (j < length) run(row, i + length - kRun, half, shift, out);
      i += length;
    } else {
      const int32_t inBlock = (count - i < kBlock ? count - i : kBlock) / 8 * 8;
      block(row, i, inBlock, half, shift, out);
      i += inBlock;
    }
  }
}

}  // namespace

void installAvx2(ResamplingFunctions& table) {
  table.positions = positions;
  table.windowSums = windowSums;
}

}  // namespace velmora::burst
