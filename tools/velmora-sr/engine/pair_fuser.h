// Two frames of one scene into one larger picture.
#ifndef VELMORA_TOOL_ENGINE_PAIR_FUSER_H
#define VELMORA_TOOL_ENGINE_PAIR_FUSER_H

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "engine/ghost_thresholds.h"
#include "engine/residual.h"
#include "engine/tuning.h"
#include "picture.h"
#include "velmora_sr/velmora_sr.h"
#include "verdict.h"

namespace velmora::tool {

struct FusionRequest {
  int32_t scene = VELMORA_SR_SCENE_LEFT_LEFT;
  Region region;  ///< of the first frame
  /// The output size for a region; called with `region`, and with what registration leaves of it.
  std::function<Size(Region)> outputSize;
  Tuning tuning;
  /// Take the place of the thresholds in the tuning.
  std::optional<GhostThresholds> ghost;
  /// Enlarges the first frame alone where registration would narrow the region, whose bounds are
  /// even: all pictures of a clip then show the same part.
  bool keepRegion = false;
  bool wantWeights = false;
};

struct FusionResult {
  Picture picture;
  std::string failure;  ///< why the first frame was enlarged alone; empty when the frames are fused
  Region region;        ///< the part of the first frame that the picture shows

  // Of fused frames only:
  Region registered;  ///< the part of the first frame that the second shows, too
  std::size_t matches = 0;
  std::size_t inliers = 0;
  double largestMotion = 0;  ///< of a corner, in pixels
  Residual residual;
  GhostThresholds ghost;     ///< in use
  double replacedShare = 0;  ///< 0..1, of the samples of `region`, by de-ghosting
  Plane weights;             ///< if wanted, of the whole first frame: 255 kept .. 0 replaced
  std::string doubt;  ///< why the picture may be poor although the frames register; else empty
};

/// Registers the second frame to the first and fuses both onto the output grid. Where that cannot
/// be, or the motion that was found makes the frames differ more than none, the region is enlarged
/// from the first frame alone, as Enlarger does it. Both frames have one size. Throws Failure when
/// the library could not do it, and what `outputSize` throws.
FusionResult fusePair(const Picture& first, const Picture& second, const FusionRequest& request);

/// What the two frames came to, without files and numbers.
std::array<FrameVerdict, 2> verdictsOf(const FusionResult& result);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_ENGINE_PAIR_FUSER_H
