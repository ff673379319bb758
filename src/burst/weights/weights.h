// Robust weights: how much of a frame each place of the reference can trust.
#ifndef VELMORA_SRC_BURST_WEIGHTS_WEIGHTS_H
#define VELMORA_SRC_BURST_WEIGHTS_WEIGHTS_H

#include "burst/weights/noise_between.h"

namespace velmora::burst {

/// One weight for each chroma sample of the reference and the four luma samples around it: 0 none,
/// 255 as much as the reference itself.
struct Weights {
  PlaneBuffer<uint8_t> half;
  double mean = 0;  ///< over the whole frame, 0 .. 1
};

/// The sum of the weights that weighPair() hands to Workers::run; see Workers::expect.
inline double weightsWork(Size frame) {
  return 8.0 * frame.width * frame.height;
}

/// Throws std::bad_alloc and Cancelled.
Weights weighPair(Memory& memory, Workers& workers, const MatchedPair& pair,
                  const NoiseLevels& noise);

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_WEIGHTS_WEIGHTS_H
