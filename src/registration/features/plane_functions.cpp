// Scalar functions of the reduction and of the integral image.
#include "common/wrapping.h"
#include "registration/features/feature_functions.h"

namespace velmora::scalar {

void reduceBox4(const uint8_t* src, std::ptrdiff_t stride, uint8_t* dst, int32_t count) {
  for (int32_t i = 0; i < count; ++i) {
    const uint8_t* block = src + std::ptrdiff_t{4} * i;
    int32_t sum = 8;  // at most 16 * 255 + 8
    for (int32_t y = 0; y < 4; ++y) {
      for (int32_t x = 0; x < 4; ++x)
        sum += block[y * stride + x];
    }
    dst[i] = static_cast<uint8_t>(sum >> 4);
  }
}

void integrateRow(const uint8_t* src, int32_t* dst, int32_t count) {
  uint32_t sum = 0;
  dst[0] = 0;
  for (int32_t i = 0; i < count; ++i) {
    sum += src[i];
    dst[i + 1] = static_cast<int32_t>(sum);
  }
}

void addRow(const int32_t* above, int32_t* row, int32_t count) {
  for (int32_t i = 0; i < count; ++i)
    row[i] = wrappingAdd(row[i], above[i]);
}

}  // namespace velmora::scalar
