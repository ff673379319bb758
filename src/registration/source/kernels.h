// Installers of the registration kernels, one per set.
#ifndef VELMORA_SRC_REGISTRATION_KERNELS_H
#define VELMORA_SRC_REGISTRATION_KERNELS_H

#include "kernels/registration_kernels.h"

namespace velmora {

void installScalarKernels(RegistrationKernels& table);

}  // namespace velmora

#endif  // VELMORA_SRC_REGISTRATION_KERNELS_H
