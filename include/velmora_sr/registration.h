// Registration: from two frames to a homography, its valid area and per-pixel position maps.
#ifndef VELMORA_SR_REGISTRATION_H
#define VELMORA_SR_REGISTRATION_H

#include <cstdint>

#include "velmora_sr/export.h"
#include "velmora_sr/records.h"

VELMORA_API int32_t Query_GlobalRegistration(Velmora_SR_CInputImage* input, SR_ParamsPublic* pub,
                                             uint32_t& size);
VELMORA_API int32_t RegisterImgOnePlane(Velmora_SR_CInputImage* input, SR_ParamsPrivate* priv,
                                        int32_t* posX, int32_t* posY, int32_t& left, int32_t& top,
                                        int32_t& right, int32_t& bottom);

#endif  // VELMORA_SR_REGISTRATION_H
