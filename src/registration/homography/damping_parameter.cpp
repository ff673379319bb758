// More's Newton iteration on phi(p) = |D x(p)| - bound, kept between a lower and an upper bound;
// see the User Guide for MINPACK-1 (1980). Single precision.
#include "registration/homography/damping_parameter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "registration/homography/vector_math.h"

namespace velmora {
namespace {

constexpr float kSmallest = std::numeric_limits<float>::min();
constexpr int kMaxNewtonSteps = 10;

/// out = P^T D (D x) / |D x|: the direction in which |D x| grows, in the order of R's columns.
void scaledDirection(const LinearProblem& problem, std::span<const float> scaledStep, float length,
                     std::span<float> out) {
  for (std::size_t j = 0; j < problem.r.columns(); ++j) {
    const auto column = static_cast<std::size_t>(problem.pivots[j]);
    out[j] = problem.diagonal[column] * (scaledStep[column] / length);
  }
}

/// The Newton step for phi, given the solution v of a triangular system with `scaledDirection`.
float newtonStep(float phi, float stepBound, std::span<const float> v) {
  const float norm = euclideanNorm(v);
  return ((phi / stepBound) / norm) / norm;
}

/// Solves R^T v = b in place.
void solveRTransposed(ColumnMatrix r, std::span<float> b) {
  for (std::size_t j = 0; j < r.columns(); ++j)
    b[j] = (b[j] - dot(r.column(j).first(j), b)) / r.at(j, j);
}

/// Solves S^T v = b in place, S^T standing below the diagonal of r.
void solveSTransposed(ColumnMatrix r, std::span<const float> sDiagonal, std::span<float> b) {
  const std::size_t n = r.columns();
  for (std::size_t j = 0; j < n; ++j) {
    b[j] /= sDiagonal[j];
    addScaled(-b[j], r.column(j).subspan(j + 1, n - j - 1), b.subspan(j + 1));
  }
}

/// |D^-1 A^T b|, the length of the scaled gradient at p = 0.
float scaledGradientNorm(const LinearProblem& problem, std::span<float> work) {
  for (std::size_t j = 0; j < problem.r.columns(); ++j) {
    const auto column = static_cast<std::size_t>(problem.pivots[j]);
    work[j] = dot(problem.r.column(j).first(j + 1), problem.qtb) / problem.diagonal[column];
  }
  return euclideanNorm(work);
}

/// The undamped (Gauss-Newton) minimiser. Returns the rank of R.
std::size_t solveUndamped(const LinearProblem& problem, std::span<float> x, std::span<float> work) {
  const std::size_t n = problem.r.columns();
  std::copy_n(problem.qtb.begin(), n, work.begin());
  const std::size_t rank = solveUpper(problem.r, work);
  for (std::size_t j = 0; j < n; ++j)
    x[static_cast<std::size_t>(problem.pivots[j])] = work[j];
  return rank;
}

}  // namespace

float findDamping(const LinearProblem& problem, float stepBound, float damping, std::span<float> x,
                  std::span<float> sDiagonal, std::span<float> work1, std::span<float> work2) {
  const std::size_t n = problem.r.columns();
  const std::span<float> work = work1.first(n);
  const std::span<float> scaledStep = work2.first(n);

  const std::size_t rank = solveUndamped(problem, x, work);
  multiplyElements(problem.diagonal, x, scaledStep);
  float length = euclideanNorm(scaledStep);
  float phi = length - stepBound;
  if (phi <= 0.1f * stepBound) return 0.0f;

  // With full rank the Newton step from 0 is a lower bound, otherwise 0 is.
  float lower = 0.0f;
  if (rank == n) {
    scaledDirection(problem, scaledStep, length, work);
    solveRTransposed(problem.r, work);
    lower = newtonStep(phi, stepBound, work);
  }
  const float gradientNorm = scaledGradientNorm(problem, work);
  float upper = gradientNorm / stepBound;
  if (upper == 0.0f) upper = kSmallest / std::min(stepBound, 0.1f);
  damping = std::min(std::max(damping, lower), upper);
  if (damping == 0.0f) damping = gradientNorm / length;

  for (int step = 1;; ++step) {
    if (damping == 0.0f) damping = std::max(kSmallest, 0.001f * upper);
    const float root = std::sqrt(damping);
    for (std::size_t j = 0; j < n; ++j)
      work[j] = root * problem.diagonal[j];
    solveDamped(problem.r, problem.pivots, work, problem.qtb, x, sDiagonal, scaledStep);
    multiplyElements(problem.diagonal, x, scaledStep);
    length = euclideanNorm(scaledStep);
    const float previous = phi;
    phi = length - stepBound;
    const bool stuckBelow = lower == 0.0f && phi <= previous && previous < 0.0f;
    if (std::abs(phi) <= 0.1f * stepBound || stuckBelow || step == kMaxNewtonSteps) return damping;

    scaledDirection(problem, scaledStep, length, work);
    solveSTransposed(problem.r, sDiagonal, work);
    const float correction = newtonStep(phi, stepBound, work);
    if (phi > 0.0f) lower = std::max(lower, damping);
    if (phi < 0.0f) upper = std::min(upper, damping);
    damping = std::max(lower, damping + correction);
  }
}

}  // namespace velmora
