// The stages of a registration with the allocator of their call and an observer. Their exported
// forms, named in brackets, hand them the allocator of the call in progress and no observer;
// parameters and results are theirs.
#ifndef VELMORA_SRC_REGISTRATION_OBSERVED_STAGES_H
#define VELMORA_SRC_REGISTRATION_OBSERVED_STAGES_H

#include <cstdint>

#include "memory/allocator.h"
#include "report/observer.h"
#include "velmora_sr/features.h"
#include "velmora_sr/matching.h"
#include "velmora_sr/registration.h"

namespace velmora {

/// Features of both frames [GetFeatureSurf].
int32_t extractFeatures(tagST_GETFEATURE_PARAMS_IN* in, ST_IMAGEFEATURES* first,
                        ST_IMAGEFEATURES* second, tagSURFParams& p, const Allocator& allocator,
                        const Observer& observer);

/// Matches that agree with one homography [FeatureMatcher].
int32_t matchFeatures(ST_IMAGEFEATURES* refFeatures, ST_IMAGEFEATURES* matchFeatures,
                      ST_NODE** trees, tagST_MATCH_PAIRS* pairs, int32_t scale, float ratio,
                      const Observer& observer);

/// Homography and area of the pairs that are left [ImgRegistration].
int32_t estimateHomography(tagST_IMGREGISTRATION_PARAMS_IN* in, float* homography, int32_t& left,
                           int32_t& top, int32_t& right, int32_t& bottom, const Observer& observer);

/// The area that a homography leaves [MatrixEstimation].
/// @param reason  set to why it is rejected, a constant; meaningless otherwise
int32_t findArea(const float* homography, int32_t width, int32_t height, int32_t& left,
                 int32_t& top, int32_t& right, int32_t& bottom, const char*& reason);

/// All of it, the position maps included [RegisterImgOnePlane]; the homography goes to the
/// observer's report.
/// @param posX,posY  both null: no maps
int32_t registerPair(Velmora_SR_CInputImage* input, SR_ParamsPrivate* priv, int32_t* posX,
                     int32_t* posY, int32_t& left, int32_t& top, int32_t& right, int32_t& bottom,
                     const Observer& observer);

/// [HomographyRegistration] of a single part.
int32_t registerWhole(_YUVIM& second, _YUVIM& first, _WIDTHHEIGHT size, float** homographies,
                      int32_t& left, int32_t& top, int32_t& right, int32_t& bottom,
                      const Allocator& allocator, const Observer& observer);

}  // namespace velmora

#endif  // VELMORA_SRC_REGISTRATION_OBSERVED_STAGES_H
