// What the demonstration compares with: area reduction, plain bicubic enlargement, PSNR.
#ifndef VELMORA_TOOL_DEMO_REFERENCE_H
#define VELMORA_TOOL_DEMO_REFERENCE_H

#include "picture.h"

namespace velmora::tool {

// Both resamplers use the library's grid: the first and last samples of one side lie on the first
// and last samples of the other, for chroma on its own half-size grid.

/// A smaller picture as a camera with ideal square pixels sees it: each sample is the mean over a
/// square as wide as the distance between samples.
Picture areaReduced(const Picture& picture, Size size);

/// Plain bicubic enlargement: Catmull-Rom (Keys, a = -0.5), edges repeated.
Picture bicubicEnlarged(const Picture& picture, Size size);

/// Peak signal-to-noise ratio in dB of the samples that lie at least `margin` from every edge;
/// infinite for equal planes.
double psnr(const Plane& a, const Plane& b, int margin = 0);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_DEMO_REFERENCE_H
