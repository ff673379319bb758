// The vector variants of the resampling functions, by set, and the scalar functions.
#ifndef VELMORA_SRC_BURST_RESAMPLING_FUNCTION_SETS_H
#define VELMORA_SRC_BURST_RESAMPLING_FUNCTION_SETS_H

#include "burst/resampling/functions.h"

namespace velmora::burst {

// Each overwrites the entries that its set speeds up; built where the target can have the set.
void installNeon(ResamplingFunctions& table);
void installAvx2(ResamplingFunctions& table);

/// What the table's entries mean. Vector variants hand them what fills no vector.
namespace scalar {

void positions(const NodeRow& row, int32_t left, int32_t right, int32_t* x, int32_t* y);
void windowSums(const WindowRow& row, int32_t count, int16_t* out);

}  // namespace scalar

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RESAMPLING_FUNCTION_SETS_H
