// How noisy a picture is, measured in its flat parts.
#ifndef VELMORA_TOOL_ENGINE_NOISE_H
#define VELMORA_TOOL_ENGINE_NOISE_H

#include "picture.h"

namespace velmora::tool {

/// Standard deviation of the noise of a plane in sample steps, 0 for planes too small to tell.
/// Blocks of 16 x 16 samples are cleared of their slopes by a high-pass filter; the median of what
/// is left tells each block's noise, and the quietest fifth of the blocks, where there is no
/// texture, tell the plane's. Blocks with clipped samples do not count; of large planes some two
/// thousand blocks are looked at, on a grid.
double noiseOf(const Plane& plane);

/// The largest noise of the three planes.
double noiseOf(const Picture& picture);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_ENGINE_NOISE_H
