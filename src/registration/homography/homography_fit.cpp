// See Hartley and Zisserman, Multiple View Geometry, "The direct linear transformation algorithm".
// Points are normalised by the mean absolute deviation per axis. Every sum runs over the pairs in
// their order, in float: the order is part of the result.
#include "registration/homography/homography_fit.h"

#include <cmath>
#include <cstddef>
#include <limits>

#include "registration/homography/jacobi_eigen.h"
#include "registration/homography/projection.h"

namespace velmora {
namespace {

/// Centre and scale of one point set.
struct Normalisation {
  Point centre;
  Point deviation;  ///< sums of absolute deviations per axis
  Point scale;

  Normalisation(const float* points, int32_t count) {
    const auto n = static_cast<float>(count);
    Point sum = {0.0f, 0.0f};
    for (ptrdiff_t i = 0; i < count; ++i)
      sum = {sum.x + points[2 * i], sum.y + points[2 * i + 1]};
    centre = {sum.x / n, sum.y / n};
    deviation = {0.0f, 0.0f};
    for (ptrdiff_t i = 0; i < count; ++i) {
      deviation.x += std::abs(points[2 * i] - centre.x);
      deviation.y += std::abs(points[2 * i + 1] - centre.y);
    }
    scale = {n / deviation.x, n / deviation.y};
  }

  [[nodiscard]] bool degenerate() const {
    constexpr float kEpsilon = std::numeric_limits<float>::epsilon();
    return deviation.x < kEpsilon || deviation.y < kEpsilon;
  }
  [[nodiscard]] Point apply(const float* point) const {
    return {(point[0] - centre.x) * scale.x, (point[1] - centre.y) * scale.y};
  }
  [[nodiscard]] Matrix3 matrix() const {
    return {scale.x, 0.0f, -centre.x * scale.x, 0.0f, scale.y, -centre.y * scale.y, 0.0f,
            0.0f,    1.0f};
  }
  [[nodiscard]] Matrix3 inverseMatrix() const {
    return {1.0f / scale.x, 0.0f, centre.x, 0.0f, 1.0f / scale.y, centre.y, 0.0f, 0.0f, 1.0f};
  }
};

/// Adds the two equations of one pair, as outer products of their rows.
void accumulate(EigenMatrix& normal, Point ref, Point match) {
  const float x = -match.x;
  const float y = -match.y;
  const EigenVector rowX = {ref.x, ref.y, 1, 0, 0, 0, x * ref.x, x * ref.y, x};
  const EigenVector rowY = {0, 0, 0, ref.x, ref.y, 1, y * ref.x, y * ref.y, y};
  for (std::size_t j = 0; j < kEigenOrder; ++j) {
    for (std::size_t k = j; k < kEigenOrder; ++k)
      normal[j][k] += rowX[j] * rowX[k] + rowY[j] * rowY[k];
  }
}

}  // namespace

std::optional<Matrix3> fitHomography(const float* refPoints, const float* matchPoints,
                                     int32_t count, int32_t eigenSweeps) {
  if (count < 1) return std::nullopt;
  const Normalisation ref(refPoints, count);
  const Normalisation match(matchPoints, count);
  if (ref.degenerate() || match.degenerate()) return std::nullopt;

  EigenMatrix normal{};
  for (ptrdiff_t i = 0; i < count; ++i)
    accumulate(normal, ref.apply(refPoints + 2 * i), match.apply(matchPoints + 2 * i));
  constexpr int32_t kRotationsPerSweep = kEigenOrder * kEigenOrder;
  const EigenSystem system = jacobiEigen(normal, eigenSweeps * kRotationsPerSweep);

  const Matrix3& normalised = system.vectors.back();
  Matrix3 h = multiply(multiply(match.inverseMatrix(), normalised), ref.matrix());
  const float last = h.back();
  for (float& entry : h)
    entry /= last;
  return h;
}

}  // namespace velmora
