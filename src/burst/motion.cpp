#include "burst/motion.h"

#include <algorithm>
#include <cmath>

namespace velmora::burst {
namespace {

Homography normalised(const std::array<double, 9>& m) {
  Homography result;
  for (std::size_t i = 0; i < 9; ++i)
    result.h[i] = m[i] / m[8];
  return result;
}

}  // namespace

Homography operator*(const Homography& first, const Homography& second) {
  std::array<double, 9> product;
  for (std::size_t r = 0; r < 3; ++r) {
    for (std::size_t c = 0; c < 3; ++c) {
      product[3 * r + c] = first.h[3 * r] * second.h[c] + first.h[3 * r + 1] * second.h[3 + c] +
                           first.h[3 * r + 2] * second.h[6 + c];
    }
  }
  return normalised(product);
}

Homography Homography::inverse() const {
  return normalised(
      {h[4] * h[8] - h[5] * h[7], h[2] * h[7] - h[1] * h[8], h[1] * h[5] - h[2] * h[4],
       h[5] * h[6] - h[3] * h[8], h[0] * h[8] - h[2] * h[6], h[2] * h[3] - h[0] * h[5],
       h[3] * h[7] - h[4] * h[6], h[1] * h[6] - h[0] * h[7], h[0] * h[4] - h[1] * h[3]});
}

Point LocalField::at(Point p) const {
  if (empty()) return {0, 0};
  constexpr double kCentre = (kTile - 1) / 2.0;
  const double x = std::clamp((p.x - kCentre) / kSpacing, 0.0, tiles.width - 1.0);
  const double y = std::clamp((p.y - kCentre) / kSpacing, 0.0, tiles.height - 1.0);
  const auto i = static_cast<int32_t>(x);
  const auto j = static_cast<int32_t>(y);
  const double fx = x - i;
  const double fy = y - j;
  const int32_t right = std::min(i + 1, tiles.width - 1);
  const int32_t below = std::min(j + 1, tiles.height - 1);
  const auto value = [this](int32_t column, int32_t row, std::size_t axis) -> double {
    return shifts[2 * (static_cast<std::size_t>(row) * static_cast<std::size_t>(tiles.width) +
                       static_cast<std::size_t>(column)) +
                  axis];
  };
  const auto blend = [&](std::size_t axis) {
    const double upper = value(i, j, axis) + fx * (value(right, j, axis) - value(i, j, axis));
    const double lower =
        value(i, below, axis) + fx * (value(right, below, axis) - value(i, below, axis));
    return upper + fy * (lower - upper);
  };
  return {blend(0), blend(1)};
}

Point Motion::approach(Point reference, Point frame) const {
  Point p = reference;
  for (int step = 0; step < 2; ++step) {
    const Point shift = field->at(p);
    p = inverse_({frame.x - shift.x, frame.y - shift.y});
  }
  return p;
}

}  // namespace velmora::burst
