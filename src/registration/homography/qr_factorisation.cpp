// More, Garbow and Hillstrom, User Guide for MINPACK-1 (1980), in single precision.
#include "registration/homography/qr_factorisation.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "registration/homography/vector_math.h"

namespace velmora {
namespace {

constexpr float kEpsilon = std::numeric_limits<float>::epsilon();

/// Turns the part of column j from the diagonal down into its Householder vector (first element
/// above 1) and returns the element of R in its place, 0 for a column of zeros.
float makeReflection(std::span<float> tail) {
  float norm = euclideanNorm(tail);
  if (norm == 0.0f) return 0.0f;
  if (tail[0] < 0.0f) norm = -norm;
  for (float& value : tail)
    value /= norm;
  tail[0] += 1.0f;
  return -norm;
}

/// Downdates the norm of a column's rest after its element `removed` has left it; computed anew
/// where cancellation has eaten it up.
void downdateNorm(float removed, std::span<const float> rest, float& norm, float& exactNorm) {
  if (norm == 0.0f) return;
  const float ratio = removed / norm;
  norm *= std::sqrt(std::max(0.0f, 1.0f - ratio * ratio));
  const float shrinkage = norm / exactNorm;
  if (0.05f * (shrinkage * shrinkage) > kEpsilon) return;
  norm = euclideanNorm(rest);
  exactNorm = norm;
}

struct Rotation {
  float cosine;
  float sine;

  /// The rotation that turns (kept, removed) into (length, 0).
  Rotation(float kept, float removed) {
    if (std::abs(kept) < std::abs(removed)) {
      const float cotangent = kept / removed;
      sine = 0.5f / std::sqrt(0.25f + 0.25f * (cotangent * cotangent));
      cosine = sine * cotangent;
    } else {
      const float tangent = removed / kept;
      cosine = 0.5f / std::sqrt(0.25f + 0.25f * (tangent * tangent));
      sine = cosine * tangent;
    }
  }
  void apply(float& kept, float& removed) const {
    const float rotated = cosine * kept + sine * removed;
    removed = -sine * kept + cosine * removed;
    kept = rotated;
  }
};

/// Rotates one row of D, held in `row` from column `first` on, into the triangle in r's lower half.
void eliminateRow(ColumnMatrix r, std::size_t first, std::span<float> row,
                  std::span<float> rotatedQtb) {
  const std::size_t n = r.columns();
  float rowQtb = 0.0f;
  for (std::size_t k = first; k < n; ++k) {
    if (row[k] == 0.0f) continue;
    const Rotation rotation(r.at(k, k), row[k]);
    r.at(k, k) = rotation.cosine * r.at(k, k) + rotation.sine * row[k];
    rotation.apply(rotatedQtb[k], rowQtb);
    for (std::size_t i = k + 1; i < n; ++i)
      rotation.apply(r.at(i, k), row[i]);
  }
}

/// Solves S z = b in place, S^T standing below the diagonal of r; 0 from its first zero on.
void solveS(ColumnMatrix r, std::span<const float> sDiagonal, std::span<float> b) {
  const std::size_t n = r.columns();
  const auto zero = std::find(sDiagonal.begin(), sDiagonal.end(), 0.0f);
  const auto rank = static_cast<std::size_t>(zero - sDiagonal.begin());
  std::fill(b.begin() + static_cast<ptrdiff_t>(rank), b.begin() + static_cast<ptrdiff_t>(n), 0.0f);
  for (std::size_t j = rank; j-- > 0;) {
    const std::size_t below = rank - j - 1;
    const float sum = dot(r.column(j).subspan(j + 1, below), b.subspan(j + 1, below));
    b[j] = (b[j] - sum) / sDiagonal[j];
  }
}

}  // namespace

void factoriseQr(ColumnMatrix a, std::span<int32_t> pivots, std::span<float> rDiagonal,
                 std::span<float> columnNorms, std::span<float> work) {
  const std::size_t n = a.columns();
  const std::span<float> exactNorms = work;
  for (std::size_t j = 0; j < n; ++j) {
    columnNorms[j] = euclideanNorm(a.column(j));
    rDiagonal[j] = columnNorms[j];
    exactNorms[j] = columnNorms[j];
    pivots[j] = static_cast<int32_t>(j);
  }
  for (std::size_t j = 0; j < std::min(a.rows(), n); ++j) {
    std::size_t largest = j;
    for (std::size_t k = j + 1; k < n; ++k) {
      if (rDiagonal[k] > rDiagonal[largest]) largest = k;
    }
    if (largest != j) {
      std::swap_ranges(a.column(j).begin(), a.column(j).end(), a.column(largest).begin());
      rDiagonal[largest] = rDiagonal[j];
      exactNorms[largest] = exactNorms[j];
      std::swap(pivots[j], pivots[largest]);
    }
    const std::span<float> reflection = a.column(j).subspan(j);
    rDiagonal[j] = makeReflection(reflection);
    if (rDiagonal[j] == 0.0f) continue;
    for (std::size_t k = j + 1; k < n; ++k) {
      const std::span<float> tail = a.column(k).subspan(j);
      addScaled(-(dot(reflection, tail) / reflection[0]), reflection, tail);
      downdateNorm(tail[0], tail.subspan(1), rDiagonal[k], exactNorms[k]);
    }
  }
}

void applyQTransposed(ColumnMatrix a, std::span<float> v) {
  for (std::size_t j = 0; j < std::min(a.rows(), a.columns()); ++j) {
    const std::span<const float> reflection = a.column(j).subspan(j);
    if (reflection[0] == 0.0f) continue;
    const std::span<float> tail = v.subspan(j);
    addScaled(-(dot(reflection, tail) / reflection[0]), reflection, tail);
  }
}

std::size_t solveUpper(ColumnMatrix r, std::span<float> b) {
  const std::size_t n = r.columns();
  std::size_t rank = 0;
  while (rank < n && r.at(rank, rank) != 0.0f)
    ++rank;
  std::fill(b.begin() + static_cast<ptrdiff_t>(rank), b.begin() + static_cast<ptrdiff_t>(n), 0.0f);
  for (std::size_t j = rank; j-- > 0;) {
    b[j] /= r.at(j, j);
    addScaled(-b[j], r.column(j).first(j), b);
  }
  return rank;
}

void solveDamped(ColumnMatrix r, std::span<const int32_t> pivots, std::span<const float> diagonal,
                 std::span<const float> qtb, std::span<float> x, std::span<float> sDiagonal,
                 std::span<float> work) {
  const std::size_t n = r.columns();
  // The lower triangle becomes a copy of R^T to work on; x keeps R's diagonal meanwhile.
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t i = j + 1; i < n; ++i)
      r.at(i, j) = r.at(j, i);
    x[j] = r.at(j, j);
    work[j] = qtb[j];
  }
  for (std::size_t j = 0; j < n; ++j) {
    const float entry = diagonal[static_cast<std::size_t>(pivots[j])];
    if (entry != 0.0f) {
      const std::span<float> row = sDiagonal;
      std::fill(row.begin() + static_cast<ptrdiff_t>(j), row.begin() + static_cast<ptrdiff_t>(n),
                0.0f);
      row[j] = entry;
      eliminateRow(r, j, row, work);
    }
    sDiagonal[j] = r.at(j, j);
    r.at(j, j) = x[j];
  }
  solveS(r, sDiagonal.first(n), work);
  for (std::size_t j = 0; j < n; ++j)
    x[static_cast<std::size_t>(pivots[j])] = work[j];
}

}  // namespace velmora
