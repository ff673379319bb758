// Puts the kernels of this set into the registration family.
#include "registration/source/kernels.h"

namespace velmora {

void installNeonKernels([[maybe_unused]] RegistrationKernels& table) {}

}  // namespace velmora
