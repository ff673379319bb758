#include "registration/homography/position_functions.h"

namespace velmora::scalar {
namespace {

/// Cut toward zero; saturated, and the smallest value where there is no number.
int32_t fixedPoint(float position) {
  if (!(position >= -2147483648.0f)) return INT32_MIN;
  if (position >= 2147483648.0f) return INT32_MAX;
  return static_cast<int32_t>(position);
}

}  // namespace

void positionRow(const float* homography, int32_t y, int32_t* posX, int32_t* posY, int32_t count) {
  const float* h = homography;
  const auto row = static_cast<float>(y);
  const float rowX = h[2] + row * h[1];
  const float rowY = h[5] + row * h[4];
  const float rowW = h[7] * row + 1.0f;
  for (int32_t x = 0; x < count; ++x) {
    const auto column = static_cast<float>(x);
    const float w = 1.0f / (rowW + h[6] * column);
    posX[x] = fixedPoint((rowX + column * h[0]) * 65536.0f * w);
    posY[x] = fixedPoint((rowY + column * h[3]) * 65536.0f * w);
  }
}

}  // namespace velmora::scalar
