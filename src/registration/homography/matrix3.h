// 3 x 3 matrices of floats, row-major.
#ifndef VELMORA_SRC_REGISTRATION_MATRIX3_H
#define VELMORA_SRC_REGISTRATION_MATRIX3_H

#include <array>

namespace velmora {

using Matrix3 = std::array<float, 9>;

/// a b, every entry a plain sum of products from left to right.
Matrix3 multiply(const Matrix3& a, const Matrix3& b);

struct Inverse3 {
  Matrix3 matrix;  ///< adjugate times 1 / determinant; not finite for a singular matrix
  float determinant;
};
/// The inverse by cofactors, with fused multiply-adds. `m` holds 9 values.
Inverse3 invert(const float* m);

}  // namespace velmora

#endif  // VELMORA_SRC_REGISTRATION_MATRIX3_H
