// Kernels of plane conversion, interpolation and de-ghosting. All pointers are row pointers of
// non-overlapping buffers unless an entry says otherwise.
#ifndef VELMORA_SRC_KERNELS_INTERPOLATION_KERNELS_H
#define VELMORA_SRC_KERNELS_INTERPOLATION_KERNELS_H

#include <cstdint>

namespace velmora {

struct InterpolationKernels {
  /// Splits a row of pairs: even[j] = pairs[2j], odd[j] = pairs[2j + 1] for j in [0, count).
  void (*splitPairs)(const uint8_t* pairs, uint8_t* even, uint8_t* odd, int32_t count);
  /// The inverse: pairs[2j] = even[j], pairs[2j + 1] = odd[j] for j in [0, count).
  void (*mergePairs)(const uint8_t* even, const uint8_t* odd, uint8_t* pairs, int32_t count);
};

}  // namespace velmora

#endif  // VELMORA_SRC_KERNELS_INTERPOLATION_KERNELS_H
