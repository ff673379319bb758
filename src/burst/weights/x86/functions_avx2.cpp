// The functions of the weights, compiled for AVX2.
#include "burst/weights/loops.h"

namespace velmora::burst {

void installAvx2(WeightFunctions& table) {
  table = kLoops;
}

}  // namespace velmora::burst
