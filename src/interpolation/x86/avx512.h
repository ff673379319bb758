// AVX-512 functions that have a file of their own.
#ifndef VELMORA_SRC_INTERPOLATION_X86_AVX512_H
#define VELMORA_SRC_INTERPOLATION_X86_AVX512_H

#include "interpolation/functions.h"

namespace velmora::avx512 {

void fuseRow(const FusionRow& row, const FusionColumns& columns, int32_t begin, int32_t end,
             uint8_t* out);

}  // namespace velmora::avx512

#endif  // VELMORA_SRC_INTERPOLATION_X86_AVX512_H
