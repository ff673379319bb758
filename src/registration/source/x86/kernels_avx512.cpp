// Puts the kernels of this set into the registration family.
#include "registration/source/kernels.h"

namespace velmora {

void installAvx512Kernels([[maybe_unused]] RegistrationKernels& table) {}

}  // namespace velmora
