#include "best_fit.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace velmora::tool {
namespace {

constexpr std::size_t kUnknowns = 8;  // the ninth entry is 1
using Unknowns = std::array<double, kUnknowns>;

/// The normal equations of the linearised problem: matrix and right-hand side.
struct NormalEquations {
  std::array<Unknowns, kUnknowns> matrix{};
  Unknowns gradient{};

  NormalEquations(std::span<const PointPair> pairs, const Matrix& h) {
    for (const auto& [from, to] : pairs) {
      const double w = h[6] * from.x + h[7] * from.y + 1;
      const Position at = moved(h, from);
      const double x = from.x / w;
      const double y = from.y / w;
      add({x, y, 1 / w, 0, 0, 0, -at.x * x, -at.x * y}, to.x - at.x);
      add({0, 0, 0, x, y, 1 / w, -at.y * x, -at.y * y}, to.y - at.y);
    }
  }

  /// Solves them with the diagonal raised by a share of itself. Columns are brought to one scale
  /// before: entries of the matrix differ by ten orders of magnitude.
  [[nodiscard]] Unknowns step(double damping) const {
    Unknowns scale;
    for (std::size_t i = 0; i < kUnknowns; ++i)
      scale[i] = matrix[i][i] > 0 ? 1 / std::sqrt(matrix[i][i]) : 1;
    auto a = matrix;
    auto b = gradient;
    for (std::size_t i = 0; i < kUnknowns; ++i) {
      for (std::size_t j = 0; j < kUnknowns; ++j)
        a[i][j] *= scale[i] * scale[j];
      a[i][i] *= 1 + damping;
      b[i] *= scale[i];
    }
    for (std::size_t i = 0; i < kUnknowns; ++i) {  // Gauss and Jordan
      std::size_t pivot = i;
      for (std::size_t k = i + 1; k < kUnknowns; ++k) {
        if (std::abs(a[k][i]) > std::abs(a[pivot][i])) pivot = k;
      }
      std::swap(a[i], a[pivot]);
      std::swap(b[i], b[pivot]);
      for (std::size_t k = 0; k < kUnknowns; ++k) {
        if (k == i) continue;
        const double factor = a[k][i] / a[i][i];
        for (std::size_t j = i; j < kUnknowns; ++j)
          a[k][j] -= factor * a[i][j];
        b[k] -= factor * b[i];
      }
    }
    for (std::size_t i = 0; i < kUnknowns; ++i)
      b[i] *= scale[i] / a[i][i];
    return b;
  }

 private:
  void add(const Unknowns& derivatives, double error) {
    for (std::size_t i = 0; i < kUnknowns; ++i) {
      for (std::size_t j = 0; j < kUnknowns; ++j)
        matrix[i][j] += derivatives[i] * derivatives[j];
      gradient[i] += derivatives[i] * error;
    }
  }
};

}  // namespace

double squaredErrors(std::span<const PointPair> pairs, const Matrix& matrix) {
  double sum = 0;
  for (const auto& [from, to] : pairs) {
    const double error = distance(moved(matrix, from), to);
    sum += error * error;
  }
  return sum;
}

Matrix bestFit(std::span<const PointPair> pairs, Matrix start) {
  constexpr int kMaxSteps = 200;
  constexpr double kSettled = 1e-13;
  Matrix best = start;
  for (double& entry : best)
    entry /= start[8];
  double least = squaredErrors(pairs, best);
  double damping = 1e-6;
  for (int step = 0; step < kMaxSteps && damping < 1e9; ++step) {
    const Unknowns change = NormalEquations(pairs, best).step(damping);
    Matrix next = best;
    for (std::size_t i = 0; i < kUnknowns; ++i)
      next[i] += change[i];
    const double sum = squaredErrors(pairs, next);
    if (!(sum < least)) {
      damping *= 10;
      continue;
    }
    const bool settled = least - sum <= kSettled * least;
    best = next;
    least = sum;
    damping /= 10;
    if (settled) break;
  }
  return best;
}

}  // namespace velmora::tool
