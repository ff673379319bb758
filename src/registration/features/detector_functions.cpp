// Scalar functions of the detector: one row of responses, one row of maxima.
#include "common/wrapping.h"
#include "registration/features/feature_functions.h"

namespace velmora::scalar {
namespace {

/// Row y of an integral image, seen from the top-left pixel of a filter.
struct Rows {
  const int32_t* origin;
  std::ptrdiff_t stride;

  /// Sum of the pixels in rows [y0, y1) and columns [x0, x1): exact whenever it fits 32 bits, even
  /// where the entries themselves have wrapped.
  uint32_t box(int32_t y0, int32_t y1, int32_t x0, int32_t x1) const {
    return at(y1, x1) - at(y0, x1) - at(y1, x0) + at(y0, x0);
  }
  uint32_t at(int32_t y, int32_t x) const { return static_cast<uint32_t>(origin[y * stride + x]); }
};

int32_t determinant(uint32_t dxx, uint32_t dyy, uint32_t dxy, const HessianFilter& filter) {
  // |dxx| and |dyy| reach 510 * lobe * across, so from size 27 on the product of two stark lobes
  // leaves 32 bits. It wraps, and the descriptor of such a point would be no use anyway.
  const int64_t direct = static_cast<int32_t>(dxx * dyy);
  const int64_t mixed = static_cast<int32_t>(dxy);
  const int32_t a = low32(wrappingMul(direct, filter.directScale) >> 16);
  const int32_t b = low32(wrappingMul(mixed * mixed, filter.mixedScale) >> 16);
  return wrappingSub(a, b);
}

bool exceedsBlock(int32_t value, const int32_t* centre, std::ptrdiff_t stride) {
  for (std::ptrdiff_t y = -1; y <= 1; ++y) {
    for (std::ptrdiff_t x = -1; x <= 1; ++x) {
      if (value <= centre[y * stride + x]) return false;
    }
  }
  return true;
}

bool exceedsRing(const int32_t* centre, std::ptrdiff_t stride) {
  const int32_t value = *centre;
  const int32_t* above = centre - stride;
  const int32_t* below = centre + stride;
  return value > centre[-1] && value > centre[1] && value > above[-1] && value > above[0] &&
         value > above[1] && value > below[-1] && value > below[0] && value > below[1];
}

}  // namespace

void hessianRow(const int32_t* integral, std::ptrdiff_t stride, const HessianFilter& filter,
                int32_t* det, int32_t count) {
  const int32_t lobe = filter.lobe;
  const int32_t in0 = filter.inset;
  const int32_t in1 = in0 + filter.across;
  const int32_t q0 = filter.corner;
  const int32_t q1 = q0 + filter.quadrant;
  const int32_t q2 = q1 + filter.quadrant;
  for (int32_t i = 0; i < count; ++i) {
    const Rows sums{integral + static_cast<std::ptrdiff_t>(i) * filter.step, stride};
    // Weights 1, -2, 1 over three lobes: all three once, the middle one taken off three times.
    const uint32_t dxx = sums.box(in0, in1, 0, 3 * lobe) - 3 * sums.box(in0, in1, lobe, 2 * lobe);
    const uint32_t dyy = sums.box(0, 3 * lobe, in0, in1) - 3 * sums.box(lobe, 2 * lobe, in0, in1);
    // Four adjacent quadrants without a gap. For odd sizes the square that they form begins one
    // pixel nearer the top-left than the centre would ask; every picture is filtered so.
    const uint32_t dxy = sums.box(q0, q1, q0, q1) + sums.box(q1, q2, q1, q2) -
                         sums.box(q0, q1, q1, q2) - sums.box(q1, q2, q0, q1);
    det[i] = determinant(dxx, dyy, dxy, filter);
  }
}

int32_t maximaInRow(const int32_t* const planes[3], std::ptrdiff_t stride, int32_t threshold,
                    int32_t count, int32_t* columns) {
  int32_t found = 0;
  for (int32_t c = 0; c < count; ++c) {
    const int32_t value = planes[1][c];
    if (value > threshold && exceedsRing(planes[1] + c, stride) &&
        exceedsBlock(value, planes[0] + c, stride) && exceedsBlock(value, planes[2] + c, stride)) {
      columns[found++] = c;
    }
  }
  return found;
}

}  // namespace velmora::scalar
