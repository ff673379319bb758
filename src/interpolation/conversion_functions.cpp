// Rows of interleaved chroma pairs to two planes and back.
#include "interpolation/function_sets.h"

namespace velmora::scalar {

void splitPairs(const uint8_t* pairs, uint8_t* even, uint8_t* odd, int32_t count) {
  for (int32_t j = 0; j < count; ++j) {
    even[j] = pairs[2 * j];
    odd[j] = pairs[2 * j + 1];
  }
}

void mergePairs(const uint8_t* even, const uint8_t* odd, uint8_t* pairs, int32_t count) {
  for (int32_t j = 0; j < count; ++j) {
    pairs[2 * j] = even[j];
    pairs[2 * j + 1] = odd[j];
  }
}

}  // namespace velmora::scalar
