// Dense registration: the homography, gain and bias that make one frame look like another.
#ifndef VELMORA_SRC_BURST_ALIGNMENT_REGISTRATION_H
#define VELMORA_SRC_BURST_ALIGNMENT_REGISTRATION_H

#include <cstdint>

#include "burst/alignment/pyramid.h"
#include "burst/motion.h"

namespace velmora::burst {

struct PairRegistration {
  int32_t use = 0;  ///< VELMORA_SR_BURST_USED, or why the pair was refused
  Homography homography;
  double gain = 1;  ///< gain * sample of the frame + bias = sample of the reference
  double bias = 0;
  double residualBefore = 0;  ///< root mean squares at level 1, grey levels
  double residualAfter = 0;
};

/// Registers `frame` onto `reference`, from these two alone: what is found never depends on what
/// was found before. Throws std::bad_alloc and Cancelled.
PairRegistration registerFrame(Memory& memory, Workers& workers, const Pyramid& reference,
                               const Pyramid& frame);

/// What registerFrame() asks Workers for in all, in nanoseconds of one thread, about.
inline double registrationWork(Size frame) {
  return 4.0 * frame.width * frame.height;
}

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_ALIGNMENT_REGISTRATION_H
