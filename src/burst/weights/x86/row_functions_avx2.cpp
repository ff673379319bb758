// The functions of the weights, compiled for AVX2.
#include "burst/weights/row_loops.h"

namespace velmora::burst {

void installWeightsAvx2(WeightFunctions& table);

void installWeightsAvx2(WeightFunctions& table) {
  table = kLoops;
}

}  // namespace velmora::burst
