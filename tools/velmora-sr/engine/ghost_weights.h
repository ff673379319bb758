// What de-ghosting does to a frame, as a picture.
#ifndef VELMORA_TOOL_ENGINE_GHOST_WEIGHTS_H
#define VELMORA_TOOL_ENGINE_GHOST_WEIGHTS_H

#include <cstdint>
#include <span>

#include "picture.h"

namespace velmora::tool {

/// One frame pair as DeGhost() takes it.
struct GhostInput {
  std::span<const uint8_t> first, second;  ///< NV12, even sides; `first` before de-ghosting
  Size size;
  std::span<const int32_t> mapX, mapY;  ///< positions in the second frame, 16.16
  std::span<const int16_t> table;       ///< 256 weights, Q12
};

/// The weight of each sample of the first frame, exactly the one that DeGhost() takes: 255 keeps
/// the sample, 0 replaces it.
Plane ghostWeights(const GhostInput& input);

/// Share, 0..1, of the samples of a region that the weights replace; a half replaced sample counts
/// half.
double replacedShare(const Plane& weights, Region region);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_ENGINE_GHOST_WEIGHTS_H
