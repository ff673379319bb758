// A 3 x 3 linear system by Cramer's rule.
#include <cmath>

#include "velmora_sr/local_scaling.h"

namespace {

/// p q - r s; the second product is rounded, the first fused.
float difference(float p, float q, float r, float s) {
  return std::fma(p, q, -(r * s));
}

struct Column {
  float v[3];
};

/// Expands a determinant along one column, given that column's cofactors.
float expand(const Column& cofactors, const float* column) {
  return std::fma(cofactors.v[0], column[0],
                  std::fma(cofactors.v[1], column[1], cofactors.v[2] * column[2]));
}

}  // namespace

// The interface has the matrix and the right side as plain pointers.
// NOLINTNEXTLINE(readability-non-const-parameter)
int Solve(float* A, float* b, float* x, int, int, int) {
  if (A == nullptr || b == nullptr || x == nullptr) return 0;
  const float* a = A;
  // Cofactors of row 0; with those of rows 1 and 2 below, column i holds the cofactors of A's
  // column i, along which the determinant with b in its place is expanded.
  const float c0 = difference(a[8], a[4], a[5], a[7]);
  const float c1 = difference(a[6], a[5], a[8], a[3]);
  const float c2 = difference(a[3], a[7], a[4], a[6]);
  const float determinant = expand({{c0, c1, c2}}, a);
  if (static_cast<double>(determinant) == 0.0) return 0;

  const Column column0 = {
      {c0, difference(a[2], a[7], a[1], a[8]), difference(a[1], a[5], a[2], a[4])}};
  const Column column1 = {
      {c1, difference(a[0], a[8], a[2], a[6]), difference(a[2], a[3], a[0], a[5])}};
  const Column column2 = {
      {c2, difference(a[1], a[6], a[0], a[7]), difference(a[0], a[4], a[1], a[3])}};
  const double inverse = 1.0 / static_cast<double>(determinant);
  const double p0 = expand(column0, b);
  const double p1 = expand(column1, b);
  const double p2 = expand(column2, b);
  x[0] = static_cast<float>(inverse * p0);
  x[1] = static_cast<float>(inverse * p1);
  x[2] = static_cast<float>(inverse * p2);
  return 1;
}
