// Installers of the interpolation kernels, one per set.
#ifndef VELMORA_SRC_INTERPOLATION_KERNELS_H
#define VELMORA_SRC_INTERPOLATION_KERNELS_H

#include "kernels/interpolation_kernels.h"

namespace velmora {

void installScalarKernels(InterpolationKernels& table);

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_KERNELS_H
