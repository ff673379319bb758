// Large motion: shifts and rotations tried out on very small pictures.
#ifndef VELMORA_SRC_BURST_ALIGNMENT_COARSE_SEARCH_H
#define VELMORA_SRC_BURST_ALIGNMENT_COARSE_SEARCH_H

#include <array>

#include "burst/alignment/pyramid.h"
#include "burst/motion.h"

namespace velmora::burst {

/// Tries shifts of up to a quarter of the frame with rotations of up to 20 degrees, and returns
/// the best three of different rotations, best first. Throws std::bad_alloc and Cancelled.
inline constexpr std::size_t kCoarseMotions = 3;
std::array<Homography, kCoarseMotions> searchCoarsely(Memory& memory, Workers& workers,
                                                      const Pyramid& reference,
                                                      const Pyramid& frame);

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_ALIGNMENT_COARSE_SEARCH_H
