// The noise of a single frame, from its quietest places.
#ifndef VELMORA_SRC_BURST_RESTORATION_FRAME_NOISE_H
#define VELMORA_SRC_BURST_RESTORATION_FRAME_NOISE_H

#include "burst/plane.h"

namespace velmora::burst {

/// Standard deviation in grey levels. Where JPEG has taken the highest frequencies away, a second
/// measure at half the frequency stands in.
double measureFrameNoise(const SourcePlane& plane);

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RESTORATION_FRAME_NOISE_H
