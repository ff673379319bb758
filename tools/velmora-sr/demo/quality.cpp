#include "demo/quality.h"

#include <cmath>
#include <cstdint>

namespace velmora::tool {

Quality qualityOf(const Plane& plane, const Plane& truth,
                  const std::function<bool(int x, int y)>& wanted) {
  constexpr int kWindow = 8;
  constexpr double kC1 = 0.01 * 255 * 0.01 * 255;
  constexpr double kC2 = 0.03 * 255 * 0.03 * 255;
  double similarity = 0;
  double squares = 0;
  int64_t windows = 0;
  for (int top = kWindow; top + 2 * kWindow <= truth.size.height; top += kWindow / 2) {
    for (int left = kWindow; left + 2 * kWindow <= truth.size.width; left += kWindow / 2) {
      if (!wanted(left + kWindow / 2, top + kWindow / 2)) continue;
      double a = 0, b = 0, aa = 0, bb = 0, ab = 0;
      for (int y = top; y < top + kWindow; ++y) {
        for (int x = left; x < left + kWindow; ++x) {
          const double p = plane.row(y)[x];
          const double q = truth.row(y)[x];
          a += p, b += q, aa += p * p, bb += q * q, ab += p * q;
        }
      }
      constexpr double kCount = kWindow * kWindow;
      squares += (aa - 2 * ab + bb) / kCount;
      const double ma = a / kCount;
      const double mb = b / kCount;
      const double va = aa / kCount - ma * ma;
      const double vb = bb / kCount - mb * mb;
      const double cov = ab / kCount - ma * mb;
      similarity +=
          (2 * ma * mb + kC1) * (2 * cov + kC2) / ((ma * ma + mb * mb + kC1) * (va + vb + kC2));
      ++windows;
    }
  }
  if (windows == 0) return {};
  const auto count = static_cast<double>(windows);
  return {10 * std::log10(255.0 * 255.0 * count / squares), similarity / count};
}

}  // namespace velmora::tool
