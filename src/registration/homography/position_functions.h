// Scalar function of the position maps: the definition that every variant must reproduce.
#ifndef VELMORA_SRC_REGISTRATION_POSITION_FUNCTIONS_H
#define VELMORA_SRC_REGISTRATION_POSITION_FUNCTIONS_H

#include <cstdint>

namespace velmora::scalar {

void positionRow(const float* homography, int32_t y, int32_t* posX, int32_t* posY, int32_t count);

}  // namespace velmora::scalar

#endif  // VELMORA_SRC_REGISTRATION_POSITION_FUNCTIONS_H
