// The functions of the weights, compiled for AVX-512.
#include "burst/weights/row_loops.h"

namespace velmora::burst {

void installWeightsAvx512(WeightFunctions& table);

void installWeightsAvx512(WeightFunctions& table) {
  table = kLoops;
}

}  // namespace velmora::burst
