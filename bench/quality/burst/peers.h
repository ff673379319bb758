// What OpenCV makes of the same frames.
#ifndef VELMORA_BENCH_QUALITY_BURST_PEERS_H
#define VELMORA_BENCH_QUALITY_BURST_PEERS_H

#include <span>

#include "peers/opencv_burst.h"
#include "picture.h"

namespace velmora::quality {

using PeerMotions = bench::BurstMotions;

PeerMotions siftMotions(std::span<const tool::Picture> frames);

/// The mean of the frames that were registered; a single frame is enlarged.
tool::Picture averaged(std::span<const tool::Picture> frames, const PeerMotions& motions,
                       tool::Size output, int interpolation);

/// Non-local means with noise of this standard deviation in luma, half of it in chroma.
tool::Picture denoised(const tool::Picture& picture, double noise);

/// BTV-L1 super-resolution of luma, as many samples as asked for.
tool::Plane btvL1(std::span<const tool::Picture> frames, tool::Size output);

}  // namespace velmora::quality

#endif  // VELMORA_BENCH_QUALITY_BURST_PEERS_H
