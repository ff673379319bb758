// Homographies in double precision: the motion that frames are made with, and fits to it.
#ifndef VELMORA_BENCH_QUALITY_KNOWN_MOTION_H
#define VELMORA_BENCH_QUALITY_KNOWN_MOTION_H

#include <array>
#include <cmath>

#include "engine/registration.h"
#include "picture.h"

namespace velmora::tool {

/// Row-major, leads from the first frame to the second.
using Matrix = std::array<double, 9>;

inline Matrix inverse(const Matrix& h) {
  return {h[4] * h[8] - h[5] * h[7], h[2] * h[7] - h[1] * h[8], h[1] * h[5] - h[2] * h[4],
          h[5] * h[6] - h[3] * h[8], h[0] * h[8] - h[2] * h[6], h[2] * h[3] - h[0] * h[5],
          h[3] * h[7] - h[4] * h[6], h[1] * h[6] - h[0] * h[7], h[0] * h[4] - h[1] * h[3]};
}

inline Position moved(const Matrix& h, Position p) {
  const double w = h[6] * p.x + h[7] * p.y + h[8];
  return {(h[0] * p.x + h[1] * p.y + h[2]) / w, (h[3] * p.x + h[4] * p.y + h[5]) / w};
}

inline double distance(Position a, Position b) {
  return std::hypot(a.x - b.x, a.y - b.y);
}

/// A turn and a change of scale about the centre of the frame, perspective, and a shift.
struct KnownMotion {
  double angle = 0;  ///< in radians
  double scale = 1;
  double perspective = 0;  ///< per pixel to the right; half of it upwards
  Position shift;

  [[nodiscard]] Matrix matrix(Size size) const {
    const double cx = (size.width - 1) / 2.0;
    const double cy = (size.height - 1) / 2.0;
    const double a = scale * std::cos(angle);
    const double b = scale * std::sin(angle);
    Matrix m = {a,
                -b,
                cx + shift.x - a * cx + b * cy,
                b,
                a,
                cy + shift.y - b * cx - a * cy,
                perspective,
                -perspective / 2,
                1};
    m[8] = 1 - m[6] * cx - m[7] * cy;
    for (double& entry : m)
      entry /= m[8];
    return m;
  }
};

}  // namespace velmora::tool

#endif  // VELMORA_BENCH_QUALITY_KNOWN_MOTION_H
