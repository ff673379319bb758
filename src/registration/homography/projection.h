// Projection of points through a homography whose last entry is 1.
#ifndef VELMORA_SRC_REGISTRATION_PROJECTION_H
#define VELMORA_SRC_REGISTRATION_PROJECTION_H

namespace velmora {

struct Point {
  float x;
  float y;
};

/// The image of (x, y); not finite where the denominator is 0. `h` holds 9 values, row-major.
inline Point project(const float* h, float x, float y) {
  const float w = (h[6] * x + h[7] * y) + 1.0f;
  return {((h[0] * x + h[1] * y) + h[2]) / w, ((h[3] * x + h[4] * y) + h[5]) / w};
}

}  // namespace velmora

#endif  // VELMORA_SRC_REGISTRATION_PROJECTION_H
