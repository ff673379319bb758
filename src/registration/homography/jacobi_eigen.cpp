// The classical Jacobi method: see Golub and Van Loan, Matrix Computations, "Jacobi methods".
#include "registration/homography/jacobi_eigen.h"

#include <cmath>
#include <utility>

namespace velmora {
namespace {

constexpr std::size_t kN = kEigenOrder;
constexpr float kNegligible = 2.220446e-16f;

/// The matrix being diagonalised. For each row and each column of the upper triangle it keeps where
/// the largest magnitude stands, so that a pivot is found without a scan of all elements. Only
/// the rows and columns that a rotation mixes are looked at again: the positions kept for the
/// others may go stale, which costs a rotation at times and never correctness.
class JacobiIteration {
 public:
  explicit JacobiIteration(const EigenMatrix& matrix) : a_(matrix) {
    for (std::size_t i = 0; i < kN; ++i) {
      values_[i] = a_[i][i];
      vectors_[i][i] = 1.0f;
      trackRow(i);
      trackColumn(i);
    }
  }

  /// Removes the largest off-diagonal element; false when it is negligible already.
  bool rotateLargest() {
    const auto [k, l] = largest();
    const float p = a_[k][l];
    if (std::abs(p) < kNegligible) return false;

    const float y = (values_[l] - values_[k]) * 0.5f;
    float t = p / (std::abs(y) + std::sqrt(p * p + y * y));
    if (y < 0.0f) t = -t;
    const float c = 1.0f / std::sqrt(1.0f + t * t);
    const float s = t * c;
    a_[k][l] = 0.0f;
    values_[k] -= t * p;
    values_[l] += t * p;
    for (std::size_t i = 0; i < kN; ++i) {
      if (i != k && i != l) rotate(upper(i, k), upper(i, l), c, s);
      rotate(vectors_[k][i], vectors_[l][i], c, s);
    }
    for (const std::size_t index : {k, l}) {
      trackRow(index);
      trackColumn(index);
    }
    return true;
  }

  EigenSystem sorted() {
    for (std::size_t i = 0; i + 1 < kN; ++i) {
      std::size_t top = i;
      for (std::size_t j = i + 1; j < kN; ++j) {
        if (values_[j] > values_[top]) top = j;
      }
      std::swap(values_[i], values_[top]);
      std::swap(vectors_[i], vectors_[top]);
    }
    return {values_, vectors_};
  }

 private:
  struct Position {
    std::size_t row;
    std::size_t column;
  };

  static void rotate(float& a, float& b, float c, float s) {
    const float rotated = c * a - s * b;
    b = s * a + c * b;
    a = rotated;
  }

  float& upper(std::size_t i, std::size_t j) { return i < j ? a_[i][j] : a_[j][i]; }
  [[nodiscard]] float magnitude(Position at) const { return std::abs(a_[at.row][at.column]); }

  void trackRow(std::size_t row) {
    if (row + 1 == kN) return;
    std::size_t best = row + 1;
    for (std::size_t j = best + 1; j < kN; ++j) {
      if (magnitude({row, j}) > magnitude({row, best})) best = j;
    }
    rowLargest_[row] = best;
  }

  void trackColumn(std::size_t column) {
    std::size_t best = 0;
    for (std::size_t i = 1; i < column; ++i) {
      if (magnitude({i, column}) > magnitude({best, column})) best = i;
    }
    columnLargest_[column] = best;
  }

  [[nodiscard]] Position largest() const {
    Position best = {0, rowLargest_[0]};
    const auto offer = [&](Position other) {
      if (magnitude(other) > magnitude(best)) best = other;
    };
    for (std::size_t i = 1; i + 1 < kN; ++i)
      offer({i, rowLargest_[i]});
    for (std::size_t j = 1; j < kN; ++j)
      offer({columnLargest_[j], j});
    return best;
  }

  EigenMatrix a_;
  EigenVector values_{};
  EigenMatrix vectors_{};
  std::array<std::size_t, kN> rowLargest_{};
  std::array<std::size_t, kN> columnLargest_{};
};

}  // namespace

EigenSystem jacobiEigen(EigenMatrix matrix, int32_t maxRotations) {
  JacobiIteration iteration(matrix);
  for (int32_t i = 0; i < maxRotations && iteration.rotateLargest(); ++i) {
  }
  return iteration.sorted();
}

}  // namespace velmora
