// Several frames of one scene into one larger picture.
#ifndef VELMORA_TOOL_ENGINE_BURST_FUSER_H
#define VELMORA_TOOL_ENGINE_BURST_FUSER_H

#include <string>
#include <vector>

#include "engine/burst_engine.h"
#include "verdict.h"

namespace velmora::tool {

/// A frame that may go into a picture.
struct BurstFrame {
  std::string file;
  Picture picture;       ///< empty once the frame is left out
  double sharpness = 0;  ///< of luma, by sharpnessOf(); 0 where it decides nothing
  std::string leftOut;   ///< why, empty for a frame that goes in
};

/// Leaves frames out until no more than the burst stage takes are in, the least sharp first; never
/// the one of index `reference`.
void leaveLeastSharpOut(std::vector<BurstFrame>& frames, std::optional<std::size_t> reference);

/// The sharpest of those that go in.
std::size_t sharpest(const std::vector<BurstFrame>& frames);

struct BurstResult {
  Picture picture;
  double noise = 0;  ///< of luma in grey levels, measured or given
  int used = 0;      ///< frames, the reference among them
  std::vector<FrameVerdict> verdicts;
  std::vector<Plane> weights;  ///< if wanted, of every frame
};

/// Makes a picture around one of the frames that go in. All have the size and the range of the
/// reference. Throws what BurstEngine does.
BurstResult fuseBurst(const std::vector<BurstFrame>& frames, std::size_t reference,
                      const BurstSettings& settings, bool wantWeights);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_ENGINE_BURST_FUSER_H
