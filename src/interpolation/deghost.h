// De-ghosting for callers that must know whether it was done.
#ifndef VELMORA_SRC_INTERPOLATION_DEGHOST_H
#define VELMORA_SRC_INTERPOLATION_DEGHOST_H

#include <cstdint>

#include "velmora_sr/records.h"

namespace velmora {

/// What DeGhost does, and whether it did: SR_RET_SUCCEED, or the code of the error that it logged
/// (SR_RET_PARAMS_OUT_OF_RANGE, SR_RET_ALLOC_FAILED) with both frames untouched.
Velmora_SR_ESR_RET deghostFrame(const uint8_t* guideImage, uint8_t* outputImage,
                                SR_ParamsPrivate* priv, int32_t width, int32_t height,
                                const int32_t* mapX, const int32_t* mapY);

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_DEGHOST_H
