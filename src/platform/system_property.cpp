// Stand-in for the Android system properties outside Android: environment variables.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "velmora_sr/platform.h"

extern "C" __attribute__((weak)) int __system_property_get(const char* name, char* value) {
  constexpr std::size_t kValueSize = 92;  // terminator included, as on Android
  if (value == nullptr) return 0;
  value[0] = '\0';
  const char* found = name == nullptr ? nullptr : std::getenv(name);
  if (found == nullptr) return 0;
  const std::size_t length = std::min(std::strlen(found), kValueSize - 1);
  std::memcpy(value, found, length);
  value[length] = '\0';
  return static_cast<int>(length);
}
