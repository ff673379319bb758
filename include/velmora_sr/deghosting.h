// De-ghosting: where two registered frames disagree, the first is blended towards the second.
#ifndef VELMORA_SR_DEGHOSTING_H
#define VELMORA_SR_DEGHOSTING_H

#include <cstdint>

#include "velmora_sr/export.h"
#include "velmora_sr/records.h"

VELMORA_API void DeGhost(const uint8_t* guideImage, uint8_t* outputImage, SR_ParamsPrivate* priv,
                         int32_t width, int32_t height, const int32_t* mapX, const int32_t* mapY);

#endif  // VELMORA_SR_DEGHOSTING_H
