// Puts the kernels of this set into the registration family.
#include "registration/function_sets.h"

namespace velmora {

void installAvx512([[maybe_unused]] RegistrationFunctions& table) {}

}  // namespace velmora
