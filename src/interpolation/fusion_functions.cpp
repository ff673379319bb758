// The fusion of two frames, one output row at a time.
#include <algorithm>
#include <cstddef>

#include "interpolation/function_sets.h"
#include "interpolation/phase.h"

namespace velmora::scalar {
namespace {

/// Numerator and weight of one output sample. With any 16-bit table a block of 16 samples sums to
/// less than 2^27 in magnitude, both frames to less than 2^28; the weight needs 17 bits.
struct WeightedSum {
  int32_t sum = 0;
  int32_t weight = 0;

  void add(const uint8_t* const (&rows)[4], const int16_t* taps) {
    for (int r = 0; r < 4; ++r) {
      for (int c = 0; c < 4; ++c)
        sum += rows[r][c] * taps[4 * r + c];
    }
    weight += taps[16];
  }

  /// The quotient rounds half a weight up, so that two frames that agree give what one gives.
  [[nodiscard]] uint8_t value() const {
    if (weight == 0) return 0;
    return static_cast<uint8_t>(std::clamp((sum + (weight >> 1)) / weight, 0, 255));
  }
};

/// a + b, wrapping: a map may hold any value, and a sum that wraps lies outside the frame.
int32_t wrappingSum(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

void addFirstFrame(const FusionRow& row, const FusionColumns& columns, int32_t j, bool inside,
                   WeightedSum& total) {
  const int16_t* taps = row.taps[columns.phase[j]];
  const int32_t first = columns.first[j];
  if (inside) {
    total.add({row.rows[0] + first, row.rows[1] + first, row.rows[2] + first, row.rows[3] + first},
              taps);
    return;
  }
  uint8_t samples[4][4];
  for (int r = 0; r < 4; ++r) {
    for (int c = 0; c < 4; ++c)
      samples[r][c] = row.rows[r][std::clamp(first + c, 0, row.sourceWidth - 1)];
  }
  total.add({samples[0], samples[1], samples[2], samples[3]}, taps);
}

void addSecondFrame(const FusionRow& row, const FusionColumns& columns, int32_t j,
                    WeightedSum& total) {
  const int32_t x = wrappingSum(row.mapX[columns.mapColumn[j]], columns.fraction[j]);
  const int32_t y = wrappingSum(row.mapY[columns.mapColumn[j]], row.fraction);
  const int32_t column = kernelSample(x);
  const int32_t line = kernelSample(y);
  if (line < 0 || line >= row.height || column < 0 || column >= row.width) return;
  const int32_t phaseX = kernelPhase(x, row.phases);
  const int32_t phaseY = kernelPhase(y, row.phases);
  const std::ptrdiff_t pitch = row.sourceWidth;
  const uint8_t* samples = row.second + (line + 1) * pitch + column + 1;
  total.add({samples, samples + pitch, samples + 2 * pitch, samples + 3 * pitch},
            row.table[phaseY * row.phases + phaseX]);
}

}  // namespace

void fuseRow(const FusionRow& row, const FusionColumns& columns, int32_t begin, int32_t end,
             uint8_t* out) {
  for (int32_t j = begin; j < end; ++j) {
    WeightedSum total;
    const bool inside = j >= columns.insideBegin && j < columns.insideEnd;
    addFirstFrame(row, columns, j, inside, total);
    addSecondFrame(row, columns, j, total);
    out[j] = total.value();
  }
}

}  // namespace velmora::scalar
