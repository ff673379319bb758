// Takes the log of the library and what it prints over, for harnesses that run thousands of calls.
#include <cstdarg>
#include <cstdio>

#include "velmora_sr/platform.h"

namespace {

[[maybe_unused]] const std::FILE* const nowhere = std::freopen("/dev/null", "w", stdout);

}  // namespace

// Composes each line, so that sanitizers see what goes into it.
extern "C" int __android_log_print(int, const char*, const char* fmt, ...) {
  char line[1024];
  va_list arguments;
  va_start(arguments, fmt);
  const int length = std::vsnprintf(line, sizeof line, fmt, arguments);
  va_end(arguments);
  return length;
}

extern "C" int __system_property_get(const char*, char* value) {
  if (value != nullptr) value[0] = '\0';
  return 0;
}
