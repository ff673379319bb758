// The vector variants of the registration functions, by set.
#ifndef VELMORA_SRC_REGISTRATION_FUNCTION_SETS_H
#define VELMORA_SRC_REGISTRATION_FUNCTION_SETS_H

#include "registration/functions.h"

namespace velmora {

// Each overwrites the entries that its set speeds up; built where the target can have the set.
void installNeon(RegistrationFunctions& table);
void installAvx2(RegistrationFunctions& table);

}  // namespace velmora

#endif  // VELMORA_SRC_REGISTRATION_FUNCTION_SETS_H
