#include "engine/residual.h"

#include <algorithm>
#include <cmath>

namespace velmora::tool {
namespace {

constexpr double kEnoughSamples = 262144;

/// Bilinear, clamped to the plane.
double sampleAt(const Plane& plane, Position at) {
  const double x = std::clamp(at.x, 0.0, plane.size.width - 1.0);
  const double y = std::clamp(at.y, 0.0, plane.size.height - 1.0);
  const int left = static_cast<int>(x);
  const int top = static_cast<int>(y);
  const int right = std::min(left + 1, plane.size.width - 1);
  const double fx = x - left;
  const double fy = y - top;
  const uint8_t* upper = plane.row(top);
  const uint8_t* lower = plane.row(std::min(top + 1, plane.size.height - 1));
  return (1 - fy) * ((1 - fx) * upper[left] + fx * upper[right]) +
         fy * ((1 - fx) * lower[left] + fx * lower[right]);
}

}  // namespace

Position project(const Homography& homography, Position position) {
  const auto row = [&](std::size_t i) {
    return static_cast<double>(homography[i]) * position.x +
           static_cast<double>(homography[i + 1]) * position.y +
           static_cast<double>(homography[i + 2]);
  };
  return {row(0) / row(6), row(3) / row(6)};
}

Residual residualOf(const Plane& first, const Plane& second, const Homography& homography,
                    Region rectangle) {
  const int right = std::min(rectangle.right, first.size.width - 1);
  const int bottom = std::min(rectangle.bottom, first.size.height - 1);
  const double pixels = (right - rectangle.left + 1.0) * (bottom - rectangle.top + 1.0);
  const int step = std::max(static_cast<int>(std::ceil(std::sqrt(pixels / kEnoughSamples))), 1);
  Residual sum;
  double count = 0;
  for (int y = rectangle.top; y <= bottom; y += step) {
    for (int x = rectangle.left; x <= right; x += step) {
      const double own = first.row(y)[x];
      const double other = sampleAt(second, project(homography, {double(x), double(y)}));
      sum.before += std::abs(own - second.row(y)[x]);
      sum.after += std::abs(own - other);
      sum.firstMean += own;
      sum.secondMean += other;
      ++count;
    }
  }
  if (count == 0) return sum;
  return {sum.before / count, sum.after / count, sum.firstMean / count, sum.secondMean / count};
}

}  // namespace velmora::tool
