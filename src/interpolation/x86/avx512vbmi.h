// AVX-512 functions with byte permutes that have a file of their own.
#ifndef VELMORA_SRC_INTERPOLATION_X86_AVX512VBMI_H
#define VELMORA_SRC_INTERPOLATION_X86_AVX512VBMI_H

#include "interpolation/functions.h"

namespace velmora::avx512vbmi {

void fuseRow(const FusionRow& row, const FusionColumns& columns, int32_t begin, int32_t end,
             uint8_t* out);

}  // namespace velmora::avx512vbmi

#endif  // VELMORA_SRC_INTERPOLATION_X86_AVX512VBMI_H
