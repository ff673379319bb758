// Lossless two-to-one scaling with residual planes.
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "velmora_sr/local_scaling.h"

namespace {

bool isEmpty(int32_t rows, int32_t cols, const void* a, const void* b, const void* c) {
  return rows < 1 || cols < 1 || a == nullptr || b == nullptr || c == nullptr;
}

/// The sum wraps to 16 bits before it is clamped, as it does in a 16-bit vector lane.
uint8_t restore(uint8_t mean, int16_t residual) {
  const auto sum = static_cast<int16_t>(mean + residual);
  return static_cast<uint8_t>(std::clamp<int>(sum, 0, 255));
}

}  // namespace

int32_t DownScaleWithError(const uint8_t* full, int32_t rows, int32_t cols, uint8_t* half,
                           int16_t* residual) {
  if (isEmpty(rows, cols, full, half, residual)) return 0;
  const std::ptrdiff_t pitch = cols;
  const std::ptrdiff_t pairs = cols / 2;
  for (std::ptrdiff_t i = 0; i < rows / 2; ++i) {
    const uint8_t* upper = full + 2 * i * pitch;
    const uint8_t* lower = upper + pitch;
    int16_t* upperResidual = residual + 2 * i * pitch;
    int16_t* lowerResidual = upperResidual + pitch;
    uint8_t* means = half + i * pairs;
    for (std::ptrdiff_t j = 0; j < pairs; ++j) {
      const int a = upper[2 * j];
      const int b = upper[2 * j + 1];
      const int c = lower[2 * j];
      const int d = lower[2 * j + 1];
      const int mean = (a + b + c + d + 2) >> 2;  // 0..255
      means[j] = static_cast<uint8_t>(mean);
      upperResidual[2 * j] = static_cast<int16_t>(a - mean);
      upperResidual[2 * j + 1] = static_cast<int16_t>(b - mean);
      lowerResidual[2 * j] = static_cast<int16_t>(c - mean);
      lowerResidual[2 * j + 1] = static_cast<int16_t>(d - mean);
    }
  }
  return 0;
}

int32_t UpScaleWithError(const uint8_t* half, int32_t rows, int32_t cols, uint8_t* full,
                         const int16_t* residual) {
  if (isEmpty(rows, cols, half, full, residual)) return 0;
  const std::ptrdiff_t pairs = cols;
  const std::ptrdiff_t pitch = 2 * pairs;
  for (std::ptrdiff_t y = 0; y < 2 * static_cast<std::ptrdiff_t>(rows); ++y) {
    const uint8_t* means = half + y / 2 * pairs;
    const int16_t* residuals = residual + y * pitch;
    uint8_t* out = full + y * pitch;
    for (std::ptrdiff_t j = 0; j < pairs; ++j) {
      out[2 * j] = restore(means[j], residuals[2 * j]);
      out[2 * j + 1] = restore(means[j], residuals[2 * j + 1]);
    }
  }
  return 0;
}
