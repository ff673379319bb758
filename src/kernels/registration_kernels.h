// Kernels of feature extraction, matching and the position maps.
#ifndef VELMORA_SRC_KERNELS_REGISTRATION_KERNELS_H
#define VELMORA_SRC_KERNELS_REGISTRATION_KERNELS_H

#include <cstdint>

namespace velmora {

struct RegistrationKernels {
  // --- kd-trees; a descriptor is 64 values, all arithmetic wraps to 32 bits ---

  /// Sum of ((a - b) >> 8)^2 over the 64 values of two descriptors.
  int32_t (*descriptorDistance)(const int32_t* a, const int32_t* b);
  /// sums[0..63]: the sums, value by value, of the descriptors named by count indices.
  void (*descriptorSums)(const int32_t* const* descriptors, const int32_t* indices, int32_t count,
                         int32_t* sums);
  /// spreads[0..63]: the sums of ((value - mean) >> 12)^2 over the same descriptors.
  void (*descriptorSpreads)(const int32_t* const* descriptors, const int32_t* indices,
                            int32_t count, const int32_t* means, int32_t* spreads);
  /// Index of the first of the smallest of count >= 1 values.
  int32_t (*firstSmallest)(const int32_t* values, int32_t count);
};

}  // namespace velmora

#endif  // VELMORA_SRC_KERNELS_REGISTRATION_KERNELS_H
