// The vector variants of the interpolation functions, by set, and the scalar functions.
#ifndef VELMORA_SRC_INTERPOLATION_FUNCTION_SETS_H
#define VELMORA_SRC_INTERPOLATION_FUNCTION_SETS_H

#include "interpolation/functions.h"

namespace velmora {

// Each overwrites the entries that its set speeds up; built where the target can have the set.
void installNeon(InterpolationFunctions& table);
void installAvx2(InterpolationFunctions& table);
void installAvx512(InterpolationFunctions& table);
void installAvx512Vbmi(InterpolationFunctions& table);

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

#endif  // VELMORA_SRC_INTERPOLATION_FUNCTION_SETS_H
