// The stages of feature extraction that take memory, with the allocator of their call. Their
// exported forms, named in brackets, take the one of the call in progress; parameters and results
// are theirs.
#ifndef VELMORA_SRC_REGISTRATION_FEATURES_STAGES_H
#define VELMORA_SRC_REGISTRATION_FEATURES_STAGES_H

#include <cstdint>

#include "memory/allocator.h"
#include "velmora_sr/features.h"

namespace velmora {

/// The integral image of a picture, on the caller [IntegralMat] or on four slots of the pool
/// [IntegralMat_multi].
int32_t integrate(tagST_PIC* pic, tagIntegralMat* out, const Allocator& allocator);
int32_t integrateOnSlots(tagST_PIC* pic, tagIntegralMat* out, const Allocator& allocator);

/// The key points of an integral image, on the caller [SURF_detect] or on slots [SURF_detect_neon].
int32_t detect(const tagIntegralMat* im, const tagSURFParams* p, ST_KEYPOINT* out, int32_t* count,
               const Allocator& allocator);
int32_t detectOnSlots(const tagIntegralMat* im, const tagSURFParams* p, ST_KEYPOINT* out,
                      int32_t* count, const Allocator& allocator);

}  // namespace velmora

#endif  // VELMORA_SRC_REGISTRATION_FEATURES_STAGES_H
