// Installers of the interpolation kernels, one per set, and the scalar kernels themselves.
#ifndef VELMORA_SRC_INTERPOLATION_KERNELS_H
#define VELMORA_SRC_INTERPOLATION_KERNELS_H

#include "kernels/interpolation_kernels.h"

namespace velmora {

void installScalarKernels(InterpolationKernels& table);
// Each overwrites the entries that its set speeds up; built where the target can have the set.
void installNeonKernels(InterpolationKernels& table);
void installAvx2Kernels(InterpolationKernels& table);
void installAvx512Kernels(InterpolationKernels& table);

/// What the table's entries mean. Vector variants hand them the columns that fill no vector.
namespace scalar {

void splitPairs(const uint8_t* pairs, uint8_t* even, uint8_t* odd, int32_t count);
void mergePairs(const uint8_t* even, const uint8_t* odd, uint8_t* pairs, int32_t count);

void filterColumns(const FilterBlock& block, const ColumnPlan& plan, int32_t begin, int32_t end);
void filterRows(const int16_t* const* rows, const int16_t* taps, uint8_t* out, int32_t count);
void fuseRow(const FusionRow& row, const FusionColumns& columns, int32_t begin, int32_t end,
             uint8_t* out);
void deghostBlocks(const DeghostRow& row, int32_t begin, int32_t end);

}  // namespace scalar

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_KERNELS_H
