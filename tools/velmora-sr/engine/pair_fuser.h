// Two frames of one scene into one larger picture.
#ifndef VELMORA_TOOL_ENGINE_PAIR_FUSER_H
#define VELMORA_TOOL_ENGINE_PAIR_FUSER_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "engine/ghost_thresholds.h"
#include "engine/session.h"
#include "picture.h"

namespace velmora::tool {

struct FusionRequest {
  int32_t scene = VELMORA_SR_SCENE_LEFT_LEFT;
  Region region;  ///< of the first frame
  /// The output size for a region; called with `region`, and with what registration leaves of it.
  std::function<Size(Region)> outputSize;
  TuningFiles tuning;
  /// Take the place of the thresholds in `tuning.configuration`.
  std::optional<GhostThresholds> ghost;
  /// Enlarges the first frame alone where registration would narrow the region, whose bounds are
  /// even: all pictures of a clip then show the same part.
  bool keepRegion = false;
};

struct FusionResult {
  Picture picture;
  std::string failure;  ///< why the first frame was enlarged alone; empty when the frames are fused
  Region region;        ///< the part of the first frame that the picture shows

  // Of fused frames only:
  Region registered;         ///< the part of the first frame that the second shows, too
  GhostThresholds ghost;     ///< in use
  Plane weights;             ///< see ghostWeights(), for the whole first frame
  double replacedShare = 0;  ///< see replacedShare(), for `region`
};

/// Registers the second frame to the first and fuses both onto the output grid. Where that cannot
/// be, the region is enlarged from the first frame alone, as Enlarger does it. Both frames have one
/// size. Throws Failure when the library could not do it, and what `outputSize` throws.
FusionResult fusePair(const Picture& first, const Picture& second, const FusionRequest& request);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_ENGINE_PAIR_FUSER_H
