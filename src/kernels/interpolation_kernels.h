// Kernels of plane conversion, interpolation and de-ghosting. All pointers are row pointers of
// non-overlapping buffers unless an entry says otherwise.
#ifndef VELMORA_SRC_KERNELS_INTERPOLATION_KERNELS_H
#define VELMORA_SRC_KERNELS_INTERPOLATION_KERNELS_H

#include <cstdint>

namespace velmora {

struct InterpolationKernels {};

}  // namespace velmora

#endif  // VELMORA_SRC_KERNELS_INTERPOLATION_KERNELS_H
