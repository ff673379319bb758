// The noise of a registered pair, from their difference.
#ifndef VELMORA_SRC_BURST_WEIGHTS_NOISE_BETWEEN_H
#define VELMORA_SRC_BURST_WEIGHTS_NOISE_BETWEEN_H

#include "burst/motion.h"
#include "burst/workers.h"

namespace velmora::burst {

/// What is known of a pair before its weights are.
struct MatchedPair {
  const SourceFrame* reference;
  const SourceFrame* frame;
  const Motion* motion;  ///< from the reference to the frame
  double gain;           ///< of luma; chroma's is the same around 128, without bias
  double bias;
};

/// Standard deviations of the noise of one frame's luma, U and V in grey levels.
struct NoiseLevels {
  double sigma[kPlanes];
};

/// Measured on at most 2048 blocks of 16 x 16 samples a plane. A plane in which no block is usable
/// gets a level below 0.
NoiseLevels measureNoiseBetween(Memory& memory, Workers& workers, const MatchedPair& pair);

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_WEIGHTS_NOISE_BETWEEN_H
