// Rows of pyramids: halving, smoothing, masks.
#include <algorithm>

#include "burst/alignment/function_sets.h"

namespace velmora::burst::scalar {
namespace {

// Samples of 0 .. 8160 count 1, 2, 1 on either axis: sums below 2^17.
template <typename Sample, typename Scale>
void smoothRow(const Sample* const* rows, int16_t* out, int32_t count, Scale scale) {
  const auto column = [rows](int32_t x) { return rows[0][x] + 2 * rows[1][x] + rows[2][x]; };
  for (int32_t x = 0; x < count; ++x) {
    const int32_t sum =
        column(std::max(x - 1, 0)) + 2 * column(x) + column(std::min(x + 1, count - 1));
    out[x] = static_cast<int16_t>(scale(sum));
  }
}

bool extreme(uint8_t sample) {
  return sample > 250 || sample < 2;
}

}  // namespace

void halveBytes(const uint8_t* upper, const uint8_t* lower, int16_t* out, uint8_t* masked,
                int32_t count) {
  for (int32_t i = 0; i < count; ++i) {
    const uint8_t four[] = {upper[2 * i], upper[2 * i + 1], lower[2 * i], lower[2 * i + 1]};
    out[i] = static_cast<int16_t>(8 * (four[0] + four[1] + four[2] + four[3]));
    masked[i] = std::count_if(four, four + 4, extreme) >= 2 ? 1 : 0;
  }
}

void halve(const int16_t* const* rows, const uint8_t* const* maskedRows, int16_t* out,
           uint8_t* masked, int32_t count) {
  for (int32_t i = 0; i < count; ++i) {
    const int32_t sum =
        rows[0][2 * i] + rows[0][2 * i + 1] + rows[1][2 * i] + rows[1][2 * i + 1];  // 0 .. 32640
    out[i] = static_cast<int16_t>((sum + 2) >> 2);
    const int32_t marks = maskedRows[0][2 * i] + maskedRows[0][2 * i + 1] + maskedRows[1][2 * i] +
                          maskedRows[1][2 * i + 1];
    masked[i] = marks >= 2 ? 1 : 0;
  }
}

void smooth(const int16_t* const* rows, int16_t* out, int32_t count) {
  smoothRow(rows, out, count, [](int32_t sum) { return (sum + 8) >> 4; });
}

void smoothBytes(const uint8_t* const* rows, int16_t* out, int32_t count) {
  smoothRow(rows, out, count, [](int32_t sum) { return 2 * sum; });
}

void widenMask(const uint8_t* const* rows, uint8_t* out, int32_t count) {
  for (int32_t x = 0; x < count; ++x) {
    int32_t near = 0;
    int32_t below = 0;  // of the four 3 x 3, what the one around (x, y) does not cover
    for (int32_t i = -1; i <= 2; ++i) {
      const int32_t column = std::clamp(x + i, 0, count - 1);
      const int32_t three = rows[0][column] | rows[1][column] | rows[2][column];
      (i < 2 ? near : below) |= three;
      below |= rows[3][column];
    }
    out[x] = static_cast<uint8_t>(near | 2 * (near | below));
  }
}

}  // namespace velmora::burst::scalar
