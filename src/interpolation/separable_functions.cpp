// The two passes of the separable interpolation.
#include <algorithm>
#include <cstddef>

#include "interpolation/function_sets.h"

namespace velmora::scalar {
namespace {

/// Back from Q12 with rounding; the shift of a negative sum is arithmetic.
constexpr int32_t roundedQ12(int32_t sum) {
  return (sum + 2048) >> 12;
}

// A sample is at most 255 and a tap at most 32768 in magnitude: the sum stays below 2^25 and the
// result within -8160 .. 8160, whatever the tables hold. Nothing wraps in 16 bits.
void filterColumnsOfRow(const uint8_t* row, const ColumnPlan& plan, int32_t begin, int32_t end,
                        int16_t* out) {
  const auto filterClamped = [&](int32_t from, int32_t to) {
    for (int32_t j = from; j < to; ++j) {
      int32_t sum = 0;
      for (int32_t t = 0; t < 4; ++t)
        sum += row[std::clamp(plan.first[j] + t, 0, plan.sourceWidth - 1)] *
               plan.taps[std::ptrdiff_t{4} * j + t];
      out[j] = static_cast<int16_t>(roundedQ12(sum));
    }
  };
  const int32_t insideBegin = std::clamp(plan.insideBegin, begin, end);
  const int32_t insideEnd = std::clamp(plan.insideEnd, insideBegin, end);
  filterClamped(begin, insideBegin);
  for (int32_t j = insideBegin; j < insideEnd; ++j) {
    const uint8_t* samples = row + plan.first[j];
    const int16_t* taps = plan.taps + std::ptrdiff_t{4} * j;
    const int32_t sum =
        samples[0] * taps[0] + samples[1] * taps[1] + samples[2] * taps[2] + samples[3] * taps[3];
    out[j] = static_cast<int16_t>(roundedQ12(sum));
  }
  filterClamped(insideEnd, end);
}

}  // namespace

void filterColumns(const FilterBlock& block, const ColumnPlan& plan, int32_t begin, int32_t end) {
  for (std::ptrdiff_t row = 0; row < block.rows; ++row) {
    filterColumnsOfRow(block.source + row * block.sourcePitch, plan, begin, end,
                       block.out + row * block.outPitch);
  }
}

// Four products of at most 8160 * 32768 stay below 2^30. The rounded sum needs 19 bits; saturating
// it to 16 before the clamp to 0..255, as vector code may, changes nothing.
void filterRows(const int16_t* const* rows, const int16_t* taps, uint8_t* out, int32_t count) {
  const int16_t* row0 = rows[0];
  const int16_t* row1 = rows[1];
  const int16_t* row2 = rows[2];
  const int16_t* row3 = rows[3];
  const int32_t tap0 = taps[0];
  const int32_t tap1 = taps[1];
  const int32_t tap2 = taps[2];
  const int32_t tap3 = taps[3];
  for (int32_t j = 0; j < count; ++j) {
    const int32_t sum = row0[j] * tap0 + row1[j] * tap1 + row2[j] * tap2 + row3[j] * tap3;
    out[j] = static_cast<uint8_t>(std::clamp(roundedQ12(sum), 0, 255));
  }
}

}  // namespace velmora::scalar
