// RANSAC that also tells which pairs it kept.
#ifndef VELMORA_SRC_REGISTRATION_RANSAC_H
#define VELMORA_SRC_REGISTRATION_RANSAC_H

#include <cstdint>

#include "velmora_sr/matching.h"

namespace velmora {

/// RansacEstimation.
/// @param inliers  set to one mark per original pair, not 0 for those that stayed, inside the
///                 scratch; to null when no model was found and the first pairs->count stayed
int32_t ransac(tagST_MATCH_PAIRS& pairs, float* homography, const tagRANSAC_PARAMS& params,
               unsigned char* scratch, const unsigned char*& inliers);

}  // namespace velmora

#endif  // VELMORA_SRC_REGISTRATION_RANSAC_H
