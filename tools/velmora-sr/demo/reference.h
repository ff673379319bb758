// What the library is compared with: plain bicubic enlargement, and PSNR.
#ifndef VELMORA_TOOL_DEMO_REFERENCE_H
#define VELMORA_TOOL_DEMO_REFERENCE_H

#include "picture.h"

namespace velmora::tool {

/// Plain bicubic enlargement: Catmull-Rom (Keys, a = -0.5), edges repeated. The first and
/// last samples of a plane lie on the first and last samples of the other, for chroma on its own
/// half-size grid.
Picture bicubicEnlarged(const Picture& picture, Size size);

/// Peak signal-to-noise ratio in dB of the samples that lie at least `margin` from every edge;
/// infinite for equal planes.
double psnr(const Plane& a, const Plane& b, int margin = 0);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_DEMO_REFERENCE_H
