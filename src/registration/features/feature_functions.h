// Scalar functions of feature extraction: the definition that every variant must reproduce.
#ifndef VELMORA_SRC_REGISTRATION_FEATURE_FUNCTIONS_H
#define VELMORA_SRC_REGISTRATION_FEATURE_FUNCTIONS_H

#include "registration/functions.h"

namespace velmora::scalar {

void reduceBox4(const uint8_t* src, std::ptrdiff_t stride, uint8_t* dst, int32_t count);
void integrateRow(const uint8_t* src, int32_t* dst, int32_t count);
void addRow(const int32_t* above, int32_t* row, int32_t count);
void hessianRow(const int32_t* integral, std::ptrdiff_t stride, const HessianFilter& filter,
                int32_t* det, int32_t count);
int32_t maximaInRow(const int32_t* const planes[3], std::ptrdiff_t stride, int32_t threshold,
                    int32_t count, int32_t* columns);
void reducePatch(const uint8_t* window, std::ptrdiff_t stride, int32_t spacing, uint8_t* patch);
void haarSums(const uint8_t* patch, int32_t* sums);

}  // namespace velmora::scalar

#endif  // VELMORA_SRC_REGISTRATION_FEATURE_FUNCTIONS_H
