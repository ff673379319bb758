// The vector variants of the restoration functions, by set, and the scalar functions.
#ifndef VELMORA_SRC_BURST_RESTORATION_FUNCTION_SETS_H
#define VELMORA_SRC_BURST_RESTORATION_FUNCTION_SETS_H

#include "burst/restoration/functions.h"

namespace velmora::burst {

// Each overwrites the entries that its set speeds up; built where the target can have the set.
void installNeon(RestorationFunctions& table);
void installAvx2(RestorationFunctions& table);
void installAvx512(RestorationFunctions& table);

/// What the table's entries mean.
namespace scalar {

void split(const int16_t* in, int32_t count, int32_t stride, std::ptrdiff_t phase, int16_t* out);
void merge(const int16_t* in, int32_t count, int32_t stride, std::ptrdiff_t phase, int16_t* out);
void transformColumns(int32_t size, const int16_t* const* rows, int32_t count, int16_t* out,
                      std::ptrdiff_t pitch);
void shrinkByThreshold(const BlockRow& row, const NoiseChoice<int16_t>& thresholds);
void shrinkByPilot(const BlockRow& row, const NoiseChoice<float>& noise);
void addColumns(const ColumnSums& sums);
void divide(const float* numerators, const float* denominators, int32_t count, int16_t* out);

}  // namespace scalar

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RESTORATION_FUNCTION_SETS_H
