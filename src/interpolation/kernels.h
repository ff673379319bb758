// Installers of the interpolation kernels, one per set.
#ifndef VELMORA_SRC_INTERPOLATION_KERNELS_H
#define VELMORA_SRC_INTERPOLATION_KERNELS_H

#include "kernels/interpolation_kernels.h"

namespace velmora {

void installScalarKernels(InterpolationKernels& table);
// Each overwrites the entries that its set speeds up; built where the target can have the set.
void installNeonKernels(InterpolationKernels& table);
void installAvx2Kernels(InterpolationKernels& table);
void installAvx512Kernels(InterpolationKernels& table);

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_KERNELS_H
