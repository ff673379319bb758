// The functions of the weights, compiled for AVX-512.
#include "burst/weights/loops.h"

namespace velmora::burst {

void installAvx512(WeightFunctions& table) {
  table = kLoops;
}

}  // namespace velmora::burst
