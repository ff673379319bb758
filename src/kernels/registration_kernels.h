// Kernels of feature extraction, matching and the position maps.
#ifndef VELMORA_SRC_KERNELS_REGISTRATION_KERNELS_H
#define VELMORA_SRC_KERNELS_REGISTRATION_KERNELS_H

#include <cstdint>

namespace velmora {

struct RegistrationKernels {};

}  // namespace velmora

#endif  // VELMORA_SRC_KERNELS_REGISTRATION_KERNELS_H
