// Eigenvalues and eigenvectors of a symmetric 9 x 9 matrix.
#ifndef VELMORA_SRC_REGISTRATION_JACOBI_EIGEN_H
#define VELMORA_SRC_REGISTRATION_JACOBI_EIGEN_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace velmora {

inline constexpr std::size_t kEigenOrder = 9;
using EigenVector = std::array<float, kEigenOrder>;
using EigenMatrix = std::array<EigenVector, kEigenOrder>;

struct EigenSystem {
  EigenVector values;   ///< descending
  EigenMatrix vectors;  ///< vectors[i], of length 1, belongs to values[i]
};

/// Diagonalises a symmetric matrix by Jacobi rotations of its largest off-diagonal element, in
/// single precision. Only the diagonal and the upper triangle are read. Ends when no element of
/// 2^-52 or more is left or after `maxRotations`; values that are not finite pass through.
EigenSystem jacobiEigen(EigenMatrix matrix, int32_t maxRotations);

}  // namespace velmora

#endif  // VELMORA_SRC_REGISTRATION_JACOBI_EIGEN_H
