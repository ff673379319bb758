// Stand-in for the Android system properties outside Android: environment variables.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "velmora_sr/platform.h"

extern "C" __attribute__((weak)) int __system_property_get(const char* name, char* value) {
  constexpr std::size_t kValueSize = 92;  // terminator included, as on Android
  if (value == nullptr) return 0;
  value[0] = '\0';
  // Properties are the owner's to set: whoever starts a program that runs with raised rights is not
  // to switch anything in it.
  const char* found = name == nullptr ? nullptr : secure_getenv(name);
  if (found == nullptr) return 0;
  const std::size_t length = std::min(std::strlen(found), kValueSize - 1);
  std::memcpy(value, found, length);
  value[length] = '\0';
  return static_cast<int>(length);
}
