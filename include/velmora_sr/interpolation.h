// Reconstruction: plane conversion, one-frame and two-frame interpolation, and their drivers.
#ifndef VELMORA_SR_INTERPOLATION_H
#define VELMORA_SR_INTERPOLATION_H

#include <cstdint>

#include "velmora_sr/export.h"
#include "velmora_sr/records.h"

VELMORA_API int32_t SRInterpolation_Single(Velmora_SR_CInputImage* input,
                                           Velmora_SR_COutPutImage* output, SR_ParamsPrivate* priv);
VELMORA_API int32_t SRInterpolation(Velmora_SR_CInputImage* input, Velmora_SR_COutPutImage* output,
                                    SR_ParamsPrivate* priv);
VELMORA_API int32_t Query_Interpolation(Velmora_SR_CInputImage* input, SR_ParamsPublic* pub,
                                        uint32_t& size);

#endif  // VELMORA_SR_INTERPOLATION_H
