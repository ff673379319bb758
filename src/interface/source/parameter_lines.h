// The log lines that list the parameters of a creation and of a process call.
#ifndef VELMORA_SRC_INTERFACE_SOURCE_PARAMETER_LINES_H
#define VELMORA_SRC_INTERFACE_SOURCE_PARAMETER_LINES_H

#include "velmora_sr/velmora_sr.h"

namespace velmora {

/// Logs what a handle was created with, paths as the caller gave them, in one info line of at most
/// 2047 bytes; what does not fit is cut.
void logCreationParameters(const SR_ParamsPublic& handle);

/// Logs what a process call works with, paths from the handle's copies; otherwise the same.
void logProcessParameters(const SR_ParamsPublic& handle);

}  // namespace velmora

#endif  // VELMORA_SRC_INTERFACE_SOURCE_PARAMETER_LINES_H
