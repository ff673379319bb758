// Puts the kernels of this set into the interpolation family.
#include "interpolation/kernels.h"

namespace velmora {

void installAvx512Kernels([[maybe_unused]] InterpolationKernels& table) {}

}  // namespace velmora
