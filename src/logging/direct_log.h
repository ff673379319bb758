// The messages that the interface code writes to the system log directly.
#ifndef VELMORA_SRC_LOGGING_DIRECT_LOG_H
#define VELMORA_SRC_LOGGING_DIRECT_LOG_H

#include <cstdint>

#include "velmora_sr/platform.h"
#include "velmora_sr/velmora_sr.h"

namespace velmora {

inline constexpr int kLogInfo = 4;
inline constexpr int kLogError = 6;

/// Tag of the interface, configuration and driver code. Most of its lines repeat it at the front.
inline constexpr const char* kLogTag = "NB7UO_ZELK";

/// Logs the standard line of a failed step of the interface code, with its text from GetRetInfo:
/// "NB7UO_ZELK: alloc memory failed. in Line: 12, in Function: name, in File: ...".
/// @param line      the line constant of the step; hosts search their logs for it, so it does not
///                  follow the source
/// @param function  name of the failed function, not null
void logFailedStep(Velmora_SR_ESR_RET code, int line, const char* function);

}  // namespace velmora

#endif  // VELMORA_SRC_LOGGING_DIRECT_LOG_H
