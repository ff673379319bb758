// The variants of the functions of the weights, by set.
#ifndef VELMORA_SRC_BURST_WEIGHTS_FUNCTION_SETS_H
#define VELMORA_SRC_BURST_WEIGHTS_FUNCTION_SETS_H

#include "burst/weights/functions.h"

namespace velmora::burst {

// Each overwrites the entries that its set speeds up; built where the target can have the set.
void installAvx2(WeightFunctions& table);
void installAvx512(WeightFunctions& table);

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_WEIGHTS_FUNCTION_SETS_H
