// Installers of the registration kernels, one per set.
#ifndef VELMORA_SRC_REGISTRATION_KERNELS_H
#define VELMORA_SRC_REGISTRATION_KERNELS_H

#include "kernels/registration_kernels.h"

namespace velmora {

void installScalarKernels(RegistrationKernels& table);
// Each overwrites the entries that its set speeds up; built where the target can have the set.
void installNeonKernels(RegistrationKernels& table);
void installAvx2Kernels(RegistrationKernels& table);
void installAvx512Kernels(RegistrationKernels& table);

}  // namespace velmora

#endif  // VELMORA_SRC_REGISTRATION_KERNELS_H
