// QR factorisation with column pivoting, and least squares with a diagonal added to it.
#ifndef VELMORA_SRC_REGISTRATION_QR_FACTORISATION_H
#define VELMORA_SRC_REGISTRATION_QR_FACTORISATION_H

#include <cstddef>
#include <cstdint>
#include <span>

namespace velmora {

/// View of a matrix stored column after column.
class ColumnMatrix {
 public:
  ColumnMatrix(float* data, std::size_t rows, std::size_t columns)
      : data_(data), rows_(rows), columns_(columns) {}
  [[nodiscard]] std::size_t rows() const { return rows_; }
  [[nodiscard]] std::size_t columns() const { return columns_; }
  [[nodiscard]] float& at(std::size_t row, std::size_t column) const {
    return data_[column * rows_ + row];
  }
  [[nodiscard]] std::span<float> column(std::size_t index) const {
    return {data_ + index * rows_, rows_};
  }

 private:
  float* data_;
  std::size_t rows_;
  std::size_t columns_;
};

/// Factorises A P = Q R by Householder reflections, the column of largest remaining norm first.
///  - a: on return R strictly above the diagonal, the Householder vectors on and below it.
///  - pivots: column j of A P is column pivots[j] of A.
///  - rDiagonal: the diagonal of R, magnitudes falling; columnNorms: the norms of A's columns.
///  - work: a.columns() values.
void factoriseQr(ColumnMatrix a, std::span<int32_t> pivots, std::span<float> rDiagonal,
                 std::span<float> columnNorms, std::span<float> work);

/// Overwrites v by Q^T v for the Householder vectors that factoriseQr left in a.
void applyQTransposed(ColumnMatrix a, std::span<float> v);

/// Solves R x = b for the leading triangle of R in place; from the first zero on the diagonal on,
/// x is 0. Returns the rank so found.
std::size_t solveUpper(ColumnMatrix r, std::span<float> b);

/// Minimises |A x - b|^2 + |D x|^2 given A P = Q R and Q^T b.
///  - r: R in the upper triangle (unchanged); the lower one receives S^T strictly below the
///    diagonal, where S is upper triangular and S^T S = P^T (A^T A + D D) P.
///  - diagonal: of D, in the order of A's columns. qtb: the first values of Q^T b.
///  - x: the solution. sDiagonal: the diagonal of S. work: one value per column.
void solveDamped(ColumnMatrix r, std::span<const int32_t> pivots, std::span<const float> diagonal,
                 std::span<const float> qtb, std::span<float> x, std::span<float> sDiagonal,
                 std::span<float> work);

}  // namespace velmora

#endif  // VELMORA_SRC_REGISTRATION_QR_FACTORISATION_H
