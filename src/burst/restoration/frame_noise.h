// The noise of a single frame, from its quietest places.
#ifndef VELMORA_SRC_BURST_RESTORATION_FRAME_NOISE_H
#define VELMORA_SRC_BURST_RESTORATION_FRAME_NOISE_H

#include "burst/memory.h"

namespace velmora::burst {

/// Standard deviation in grey levels, 0 for planes too small to tell. Blocks of 16 x 16 samples are
/// cleared of their slopes by a high-pass filter; the median of what is left tells each block's
/// noise, and the quietest blocks, where there is no texture, tell the plane's. Blocks with clipped
/// samples do not count; of large planes some two thousand blocks are looked at, on a grid. Where
/// the highest frequencies were taken away, a second measure at half the frequency stands in; in
/// planes of JPEG files filters of wider taps do, less the texture, which is told from noise by how
/// its power grows from one to the next. Throws std::bad_alloc.
double measureFrameNoise(Memory& memory, const SourcePlane& plane);

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RESTORATION_FRAME_NOISE_H
