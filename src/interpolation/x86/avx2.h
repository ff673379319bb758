// AVX2 functions that have a file of their own.
#ifndef VELMORA_SRC_INTERPOLATION_X86_AVX2_H
#define VELMORA_SRC_INTERPOLATION_X86_AVX2_H

#include "interpolation/functions.h"

namespace velmora::avx2 {

void fuseRow(const FusionRow& row, const FusionColumns& columns, int32_t begin, int32_t end,
             uint8_t* out);
void deghostBlocks(const DeghostRow& row, int32_t begin, int32_t end);

}  // namespace velmora::avx2

#endif  // VELMORA_SRC_INTERPOLATION_X86_AVX2_H
