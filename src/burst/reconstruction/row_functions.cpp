// What the entries of the table of reconstruction functions mean.
#include <algorithm>

#include "burst/plane.h"
#include "burst/reconstruction/function_sets.h"
#include "burst/resampling/positions.h"

namespace velmora::burst::scalar {
namespace {

int16_t saturated(int32_t value) {
  return static_cast<int16_t>(std::clamp(value, INT16_MIN, INT16_MAX));
}

int32_t roundedShift(int32_t value, int32_t shift) {
  return (value + (1 << (shift - 1))) >> shift;
}

}  // namespace

void blendWeights(const uint8_t* upper, const uint8_t* lower, int32_t fraction, int32_t count,
                  int16_t* out) {
  for (int32_t i = 0; i < count; ++i)
    out[i] = static_cast<int16_t>(upper[i] * (16 - fraction) + lower[i] * fraction);
}

// Blended weights reach 255 * 16, the sum 255 * 256.
void sampleWeights(const int16_t* blended, const int32_t* columns, const int16_t* taps,
                   int32_t count, uint8_t* out) {
  for (int32_t i = 0; i < count; ++i, taps += 2) {
    const int16_t* pair = blended + columns[i];
    out[i] = static_cast<uint8_t>(roundedShift(pair[0] * taps[0] + pair[1] * taps[1], 8));
  }
}

void lookUpSums(const int32_t* sums, const int32_t* x, const int32_t* y, int32_t count,
                int16_t* out) {
  for (int32_t i = 0; i < count; ++i) {
    out[i] =
        static_cast<int16_t>(sums[((y[i] & (kPhases - 1)) << kPhaseBits) + (x[i] & (kPhases - 1))]);
  }
}

void shareRowFrom(const ShareRow& row, int32_t begin, int32_t count) {
  for (int32_t i = begin; i < count; ++i) {
    uint32_t sum = 0;
    for (int32_t k = 0; k < row.others; ++k)
      sum += row.weights[k][i];
    // 255 * 256 * 2^22 / 255 = 2^30 at most, but for rounding up.
    const uint32_t reciprocal = row.reciprocals[sum];
    int32_t rest = 1 << 14;
    for (int32_t k = 0; k < row.others; ++k) {
      const auto share = static_cast<int32_t>(row.weights[k][i] * 256u * reciprocal >> 16);
      row.shares[k + 1][i] = static_cast<int16_t>(share);
      rest -= share;
    }
    row.shares[0][i] = static_cast<int16_t>(rest);
    row.frames[i] = static_cast<uint8_t>((sum + 255 + 128) * 257 >> 16);
    if (row.corrections == nullptr) continue;
    // 2^14 * 2^15 at most.
    int32_t spread = 0;
    for (int32_t k = 0; k <= row.others; ++k)
      spread += row.shares[k][i] * row.spreads[k][i];
    const uint32_t step = row.steps[(spread >> 14) - row.lowestSpread];
    for (int32_t k = 0; k <= row.others; ++k) {
      row.corrections[k][i] =
          static_cast<int16_t>(static_cast<uint32_t>(row.shares[k][i]) * step >> 16);
    }
  }
}

void shareRow(const ShareRow& row, int32_t count) {
  shareRowFrom(row, 0, count);
}

// Samples of 16 bits times factors below 2^15 in all: 2^30.
void addProductsFrom(const ProductRow& row, int32_t begin, int32_t count, const int16_t* base,
                     int16_t* out) {
  for (int32_t i = begin; i < count; ++i) {
    int32_t sum = 0;
    for (int32_t k = 0; k < row.terms; ++k)
      sum += row.samples[k][i] * row.factors[k][i];
    const int32_t added = saturated(roundedShift(sum, row.shift));
    out[i] = saturated(added + (base == nullptr ? 0 : base[i]));
  }
}

void addProducts(const ProductRow& row, int32_t count, const int16_t* base, int16_t* out) {
  addProductsFrom(row, 0, count, base, out);
}

void limitPositions(const PositionLimits& limits, int32_t count, int32_t* x, int32_t* y,
                    int16_t* inside) {
  for (int32_t i = 0; i < count; ++i) {
    const int32_t px = std::clamp(x[i], limits.left, limits.right);
    const int32_t py = std::clamp(y[i], limits.top, limits.bottom);
    inside[i] = static_cast<int16_t>(px == x[i] && py == y[i] ? -1 : 0);
    x[i] = px;
    y[i] = py;
  }
}

void residualRowFrom(const ResidualRow& row, int32_t begin, int32_t count, int16_t* out) {
  for (int32_t i = begin; i < count; ++i) {
    int32_t mean = row.means[1][i];
    if (row.sharpened != 0) {
      int32_t blurred = 0;
      for (int32_t v = 0; v < 3; ++v) {
        const int16_t* line = row.means[v] + i;
        const int32_t sum = line[-1] + 2 * line[0] + line[1];
        blurred += v == 1 ? 2 * sum : sum;
      }
      // The difference stays within 2^20, its product with the amount within 2^30.
      const int32_t added = saturated(roundedShift(row.sharpened * (16 * mean - blurred), 14));
      mean = saturated(mean + added);
    }
    out[i] = static_cast<int16_t>(saturated(row.samples[i] - mean) & row.inside[i]);
  }
}

void residualRow(const ResidualRow& row, int32_t count, int16_t* out) {
  residualRowFrom(row, 0, count, out);
}

void roundRow(const int16_t* samples, int32_t count, uint8_t* out) {
  for (int32_t i = 0; i < count; ++i)
    out[i] = static_cast<uint8_t>(std::clamp(roundedShift(samples[i], kFractionBits), 0, 255));
}

}  // namespace velmora::burst::scalar
