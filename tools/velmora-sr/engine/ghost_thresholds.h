// The thresholds of de-ghosting, and how they are chosen for a pair.
#ifndef VELMORA_TOOL_ENGINE_GHOST_THRESHOLDS_H
#define VELMORA_TOOL_ENGINE_GHOST_THRESHOLDS_H

#include "picture.h"

namespace velmora::tool {

/// Differences below `low` keep the first frame's sample, from `high` on it is replaced.
struct GhostThresholds {
  int low = 0;
  int high = 0;
};

/// Thresholds above the noise of a pair: `low` grows from 19, which allows for edges, since frames
/// are compared at whole pixels of the second, by 0.9 for each step of noise; `high` is 2.5 times
/// as much. Where noise exceeds `low` now and then, samples are only blended a little.
GhostThresholds thresholdsFor(double noise);

/// The larger noise of both frames tells.
GhostThresholds thresholdsFor(const Picture& first, const Picture& second);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_ENGINE_GHOST_THRESHOLDS_H
