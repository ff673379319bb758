// The standard failure line of the interface code.
#include "logging/direct_log.h"

#include "velmora_sr/records.h"

namespace velmora {

void logFailedStep(Velmora_SR_ESR_RET code, int line, const char* function) {
  __android_log_print(kLogError, kLogTag, "%s: %s in Line: %d, in Function: %s, in File: %s\n",
                      kLogTag, GetRetInfo(code), line, function,
                      "src/interface/source/SRInterface");
}

}  // namespace velmora
