#include "registration/homography/matrix3.h"
#include "logging/log.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>

#include "velmora_sr/homography.h"

namespace velmora {

Matrix3 multiply(const Matrix3& a, const Matrix3& b) {
  Matrix3 product;
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) {
      product[3 * i + j] = (a[3 * i] * b[j] + a[3 * i + 1] * b[3 + j]) + a[3 * i + 2] * b[6 + j];
    }
  }
  return product;
}

Inverse3 invert(const float* m) {
  // The 2 x 2 determinant m_a m_b - m_c m_d, the second product fused.
  const auto cofactor = [m](int a, int b, int c, int d) {
    return std::fma(-m[c], m[d], m[a] * m[b]);
  };
  Matrix3 adjugate = {
      cofactor(4, 8, 5, 7), cofactor(2, 7, 8, 1), cofactor(1, 5, 4, 2),
      cofactor(5, 6, 3, 8), cofactor(0, 8, 2, 6), cofactor(2, 3, 0, 5),
      cofactor(3, 7, 4, 6), cofactor(1, 6, 0, 7), cofactor(0, 4, 1, 3),
  };
  const float determinant =
      std::fma(m[6], adjugate[2], std::fma(m[3], adjugate[1], m[0] * adjugate[0]));
  const float scale = 1.0f / determinant;
  for (float& entry : adjugate)
    entry *= scale;
  return {adjugate, determinant};
}

}  // namespace velmora

void MatInverse_3x3(float* m, float* inverse) {
  const velmora::Inverse3 result = velmora::invert(m);
  velmora::printProgress("det: %f\n", static_cast<double>(result.determinant));
  std::copy(result.matrix.begin(), result.matrix.end(), inverse);
}
