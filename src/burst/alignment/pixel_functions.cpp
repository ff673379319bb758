// Residuals of pixels and their sums. All arithmetic is element-wise or in the order of eight
// interleaved partial sums, so that vectors give the same bits.
#include <bit>
#include <cmath>
#include <cstdlib>

#include "burst/alignment/function_sets.h"

namespace velmora::burst::scalar {
namespace {

constexpr int32_t kLanes = 8;
constexpr float kGradientUnit = 1.0f / 64;
constexpr float kSampleUnit = 1.0f / 32;
constexpr float kTapUnit = 16384;

// Positions farther off than this are not looked at: they would not fit an integer.
constexpr float kFarthest = 1e5f;

// To the nearest integer, ties to even, |value| < 2^22: the sum's last bits are the integer.
int32_t nearest(float value) {
  constexpr float kMagic = 12582912.0f;  // 1.5 * 2^23
  return std::bit_cast<int32_t>(value + kMagic) - std::bit_cast<int32_t>(kMagic);
}

// Catmull-Rom's four taps for a position f behind the second sample.
struct Taps {
  explicit Taps(float f) {
    const float ff = f * f;
    of[0] = f * (f * (1.0f - 0.5f * f) - 0.5f);
    of[1] = ff * (1.5f * f - 2.5f) + 1.0f;
    of[2] = f * (f * (2.0f - 1.5f * f) + 0.5f);
    of[3] = ff * (0.5f * f - 0.5f);
  }
  float of[4];
};

// The Catmull-Rom sample at a position that is `dx`, `dy` from column x of the row, times 2^19 and
// gain: samples have five fraction bits and columns' taps 14, so sums stay below 2^28.
bool sampleAt(const WarpedRow& warp, int32_t x, float dx, float dy, float& sample) {
  if (!(std::fabs(dx) < kFarthest && std::fabs(dy) < kFarthest)) return false;
  const float wholeX = std::floor(dx);
  const float wholeY = std::floor(dy);
  const int32_t column = x + static_cast<int32_t>(wholeX);
  const int32_t line = warp.y + static_cast<int32_t>(wholeY);
  if (column < 1 || column > warp.width - 3 || line < 1 || line > warp.height - 3) return false;
  if (warp.masked != nullptr && (warp.masked[line * warp.maskedPitch + column] & 2) != 0) {
    return false;
  }
  const Taps across(dx - wholeX);
  const Taps down(dy - wholeY);
  const int32_t first = nearest(across.of[0] * kTapUnit);
  const int32_t third = nearest(across.of[2] * kTapUnit);
  const int32_t fourth = nearest(across.of[3] * kTapUnit);
  const int32_t second = 16384 - (first + third + fourth);
  float terms[4];
  const int16_t* from = warp.samples + (line - 1) * warp.pitch + column - 1;
  for (int i = 0; i < 4; ++i, from += warp.pitch) {
    const int32_t sum = (from[0] * first + from[1] * second) + (from[2] * third + from[3] * fourth);
    terms[i] = static_cast<float>(sum) * down.of[i];
  }
  sample = (terms[0] + terms[1]) + (terms[2] + terms[3]);
  return true;
}

float folded(const float* partial) {
  return ((partial[0] + partial[4]) + (partial[2] + partial[6])) +
         ((partial[1] + partial[5]) + (partial[3] + partial[7]));
}

// A pixel of the middle one of three rows.
struct Gradient {
  Gradient(const int16_t* const* rows, int32_t column)
      : x(rows[1][column + 1] - rows[1][column - 1]), y(rows[2][column] - rows[0][column]) {}
  int32_t x;  // -8160 .. 8160
  int32_t y;
  [[nodiscard]] int32_t size() const { return std::abs(x) + std::abs(y); }
};

}  // namespace

int32_t countSteep(const int16_t* const* rows, const uint8_t* masked, int32_t width,
                   int32_t threshold) {
  int32_t count = 0;
  for (int32_t x = 1; x < width - 1; ++x)
    count += (masked[x] & 1) == 0 && Gradient(rows, x).size() >= threshold ? 1 : 0;
  return count;
}

void takeSteep(const int16_t* const* rows, const uint8_t* masked, int32_t width, int32_t threshold,
               const PixelArrays& to) {
  int32_t count = 0;
  for (int32_t x = 1; x < width - 1; ++x) {
    const Gradient gradient(rows, x);
    if ((masked[x] & 1) != 0 || gradient.size() < threshold) continue;
    to.columns[count] = static_cast<uint16_t>(x);
    to.values[count] = rows[1][x];
    to.gradientsX[count] = static_cast<int16_t>(gradient.x);
    to.gradientsY[count] = static_cast<int16_t>(gradient.y);
    ++count;
  }
}

void residuals(const PixelRow& row, const WarpedRow& warp, float* residuals, float* warped) {
  const float gain = warp.gain * (1.0f / 524288);
  for (int32_t i = 0; i < row.count; ++i) {
    residuals[i] = kNoResidual;
    warped[i] = 0;
    if (row.columns[i] == kNoColumn) continue;
    const float x = (static_cast<float>(row.columns[i]) - row.centre) * row.scale;
    const float inverse = 1.0f / (warp.w0 + x * warp.w1);
    const float dx = (warp.x0 + x * (warp.x1 + x * warp.x2)) * inverse;
    const float dy = (warp.y0 + x * warp.y1) * inverse;
    float sample;
    if (!sampleAt(warp, row.columns[i], dx, dy, sample)) continue;
    warped[i] = sample * gain;
    residuals[i] = (warped[i] + warp.bias) - static_cast<float>(row.values[i]) * kSampleUnit;
  }
}

void addUp(const PixelRow& row, const float* residuals, const float* warped, float limit, bool all,
           RowSums& sums) {
  const float limit2 = limit * limit;
  float partial[kAllSums][kLanes] = {};
  // Adds value * X^k to `powers` sums from `to` on.
  const auto add = [&partial](int32_t to, int32_t powers, const float* value, const float* x) {
    float product[kLanes];
    for (int32_t l = 0; l < kLanes; ++l)
      product[l] = value[l];
    for (int32_t k = 0; k < powers; ++k) {
      for (int32_t l = 0; l < kLanes; ++l) {
        partial[to + k][l] += product[l];
        product[l] *= x[l];
      }
    }
  };
  for (int32_t i = 0; i < row.count; i += kLanes) {
    float x[kLanes], gx[kLanes], gy[kLanes], r[kLanes], b[kLanes], w[kLanes], score[kLanes];
    float wx[kLanes], wy[kLanes], one[kLanes];
    for (int32_t l = 0; l < kLanes; ++l) {
      x[l] = (static_cast<float>(row.columns[i + l]) - row.centre) * row.scale;
      gx[l] = static_cast<float>(row.gradientsX[i + l]) * kGradientUnit;
      gy[l] = static_cast<float>(row.gradientsY[i + l]) * kGradientUnit;
      b[l] = warped[i + l];
      one[l] = residuals[i + l] == kNoResidual ? 0.0f : 1.0f;
      r[l] = residuals[i + l] == kNoResidual ? 0.0f : residuals[i + l];
      const float r2 = r[l] * r[l];
      const float q = limit2 / (limit2 + r2);
      w[l] = one[l] * (q * q);
      score[l] = r2 * q;
      wx[l] = w[l] * gx[l];
      wy[l] = w[l] * gy[l];
    }
    const auto times = [](const float* a, const float* c) {
      struct Product {
        float of[kLanes];
        operator const float*() const { return of; }
      } product;
      for (int32_t l = 0; l < kLanes; ++l)
        product.of[l] = a[l] * c[l];
      return product;
    };
    add(0, 5, times(wx, gx), x);
    add(5, 5, times(wx, gy), x);
    add(10, 5, times(wy, gy), x);
    add(15, 3, times(wx, r), x);
    add(18, 3, times(wy, r), x);
    add(21, 1, score, x);
    add(22, 1, one, x);
    if (!all) continue;
    add(23, 3, times(wx, b), x);
    add(26, 3, times(wy, b), x);
    add(29, 3, wx, x);
    add(32, 3, wy, x);
    const auto wb = times(w, b);
    add(35, 1, times(wb, b), x);
    add(36, 1, wb, x);
    add(37, 1, w, x);
    add(38, 1, times(wb, r), x);
    add(39, 1, times(w, r), x);
  }
  auto* const out = reinterpret_cast<float*>(&sums);
  for (int32_t s = 0; s < kAllSums; ++s)
    out[s] = folded(partial[s]);
}

void addCells(const PixelRow& row, const float* residuals, int32_t width, CellSums* sums) {
  for (int32_t begin = 0; begin < row.count; begin += width, ++sums) {
    float partial[kCellSums][kLanes] = {};
    for (int32_t i = begin; i < begin + width; ++i) {
      if (residuals[i] == kNoResidual) continue;
      const float gx = static_cast<float>(row.gradientsX[i]) * kGradientUnit;
      const float gy = static_cast<float>(row.gradientsY[i]) * kGradientUnit;
      const float r = residuals[i];
      const float terms[kCellSums] = {r * r, gx * gx, gx * gy, gy * gy, r * gx, r * gy, 1.0f};
      for (int32_t s = 0; s < kCellSums; ++s)
        partial[s][i % kLanes] += terms[s];
    }
    auto* const out = reinterpret_cast<float*>(sums);
    for (int32_t s = 0; s < kCellSums; ++s)
      out[s] += folded(partial[s]);
  }
}

}  // namespace velmora::burst::scalar
