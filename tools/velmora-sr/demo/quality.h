// How close a picture comes to the truth: PSNR and SSIM.
#ifndef VELMORA_TOOL_DEMO_QUALITY_H
#define VELMORA_TOOL_DEMO_QUALITY_H

#include <functional>

#include "picture.h"

namespace velmora::tool {

struct Quality {
  double psnr = 0;  ///< in dB, infinite for equal planes
  double ssim = 0;  ///< structural similarity (Wang et al. 2004) with uniform windows, 1 at best
};

/// Means over windows of 8 x 8 samples, four apart, whose centres (x, y) lie where `wanted` says
/// and at least eight samples from the edges. Both planes have one size. Without a window all is 0.
Quality qualityOf(const Plane& plane, const Plane& truth,
                  const std::function<bool(int x, int y)>& wanted);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_DEMO_QUALITY_H
