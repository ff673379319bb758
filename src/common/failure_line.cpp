// The failure line of the interface and the configuration.
#include "common/failure_line.h"

#include <array>
#include <cstdio>

#include "velmora_sr/platform.h"
#include "velmora_sr/records.h"

namespace velmora {

void logFailureLine(int priority, const char* text, int line, const char* function) {
  std::array<char, 1024> finished{};
  std::snprintf(finished.data(), finished.size(),
                "%s: %s in Line: %d, in Function: %s, in File: %s\n", kLogTag, text, line, function,
                kLogSourcePath);
  // The finished line is data: a percent sign in it must not start a conversion.
  __android_log_print(priority, kLogTag, "%s", finished.data());
}

void logFailureLine(int priority, Velmora_SR_ESR_RET code, int line, const char* function) {
  logFailureLine(priority, GetRetInfo(code), line, function);
}

}  // namespace velmora
