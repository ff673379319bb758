// The error line of a stage that gives up.
#ifndef VELMORA_SRC_INTERPOLATION_FAILURE_LOG_H
#define VELMORA_SRC_INTERPOLATION_FAILURE_LOG_H

#include "common/failure_line.h"
#include "velmora_sr/platform.h"
#include "velmora_sr/records.h"

namespace velmora {

/// Passes a result on; logs "TAG: FUNCTION: TEXT\n" as an error unless it is a success.
inline Velmora_SR_ESR_RET logged(Velmora_SR_ESR_RET result, const char* function) {
  if (result != SR_RET_SUCCEED) {
    __android_log_print(kLogError, kLogTag, "%s: %s: %s\n", kLogTag, function, GetRetInfo(result));
  }
  return result;
}

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_FAILURE_LOG_H
