// AVX2 functions that have a file of their own.
#ifndef VELMORA_SRC_BURST_ALIGNMENT_X86_AVX2_H
#define VELMORA_SRC_BURST_ALIGNMENT_X86_AVX2_H

#include "burst/alignment/functions.h"

namespace velmora::burst::avx2 {

void halveBytes(const uint8_t* upper, const uint8_t* lower, int16_t* out, uint8_t* masked,
                int32_t count);
void halve(const int16_t* const* rows, const uint8_t* const* maskedRows, int16_t* out,
           uint8_t* masked, int32_t count);
void smooth(const int16_t* const* rows, int16_t* out, int32_t count);
void smoothBytes(const uint8_t* const* rows, int16_t* out, int32_t count);
void widenMask(const uint8_t* const* rows, uint8_t* out, int32_t count);

}  // namespace velmora::burst::avx2

#endif  // VELMORA_SRC_BURST_ALIGNMENT_X86_AVX2_H
