// Refinement of a maximum to a fraction of a sample in place and scale, in integers.
#include <algorithm>

#include "common/wrapping.h"
#include "velmora_sr/features.h"

namespace {

using velmora::low32;
using velmora::wrappingAdd;
using velmora::wrappingDiv;
using velmora::wrappingMul;
using velmora::wrappingSub;

constexpr int32_t kOneSample = 64;  // Q6

/// a + b - 2 centre, wrapping.
int32_t secondDifference(int32_t a, int32_t centre, int32_t b) {
  return low32(int64_t{a} + b - 2 * int64_t{centre});
}

/// (p - q - r + s) / 4, the sum wrapping to 32 bits, the quotient towards zero.
int32_t mixedDifference(int32_t p, int32_t q, int32_t r, int32_t s) {
  return low32(int64_t{p} - q - r + s) / 4;
}

/// Half of the negated first difference, the same way.
int32_t negatedGradient(int32_t before, int32_t after) {
  return wrappingSub(before, after) / 2;
}

/// p s - q r, wrapping to 64 bits.
int64_t minor(int32_t p, int32_t q, int32_t r, int32_t s) {
  return wrappingSub(int64_t{p} * s, int64_t{q} * r);
}

/// Determinant of a row-major 3 x 3 matrix, wrapping to 64 bits.
int64_t determinant(const int32_t* m) {
  const int64_t a = wrappingMul(int64_t{m[0]}, minor(m[4], m[5], m[7], m[8]));
  const int64_t b = wrappingMul(int64_t{m[1]}, minor(m[3], m[5], m[6], m[8]));
  const int64_t c = wrappingMul(int64_t{m[2]}, minor(m[3], m[4], m[6], m[7]));
  return wrappingAdd(wrappingSub(a, b), c);
}

}  // namespace

int32_t SolveFixed(int32_t* A, int32_t* b, int32_t* x) {
  // Dividing by det / 64 instead of det leaves the solution in Q6.
  const int64_t divisor = determinant(A) >> 6;
  if (divisor == 0) return 0;
  int32_t solution[3];
  for (int32_t column = 0; column < 3; ++column) {
    int32_t replaced[9];
    std::copy_n(A, 9, replaced);
    for (int32_t row = 0; row < 3; ++row)
      replaced[3 * row + column] = b[row];
    solution[column] = low32(wrappingDiv(determinant(replaced), divisor));
  }
  std::copy_n(solution, 3, x);
  return 1;
}

int32_t InterpolateKeypoint(int32_t n[3][9], int32_t dx, int32_t dy, int32_t ds, ST_KEYPOINT* kp) {
  // Blocks are row-major with the centre at 4: 3 and 5 left and right of it, 1 and 7 above and
  // below.
  const int32_t* a = n[0];
  const int32_t* b = n[1];
  const int32_t* c = n[2];
  const int32_t dxx = secondDifference(b[3], b[4], b[5]);
  const int32_t dyy = secondDifference(b[1], b[4], b[7]);
  const int32_t dss = secondDifference(a[4], b[4], c[4]);
  const int32_t dxy = mixedDifference(b[8], b[6], b[2], b[0]);
  const int32_t dxs = mixedDifference(c[5], c[3], a[5], a[3]);
  const int32_t dys = mixedDifference(c[7], c[1], a[7], a[1]);
  int32_t hessian[9] = {dxx, dxy, dxs, dxy, dyy, dys, dxs, dys, dss};
  int32_t negated[3] = {negatedGradient(b[3], b[5]), negatedGradient(b[1], b[7]),
                        negatedGradient(a[4], c[4])};
  int32_t offset[3];
  if (SolveFixed(hessian, negated, offset) == 0) return 0;
  for (const int32_t o : offset) {
    if (o < -kOneSample || o > kOneSample) return 0;
  }
  kp->x = low32(kp->x + int64_t{dx} * offset[0]);
  kp->y = low32(kp->y + int64_t{dy} * offset[1]);
  kp->size = low32(kp->size + ((int64_t{ds} * offset[2] + 32) >> 6));
  return 1;
}
