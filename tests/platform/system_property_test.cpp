#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "velmora_sr/platform.h"

namespace {

bool raisedRights = false;

}  // namespace

extern "C" char* __real_secure_getenv(const char* name);
extern "C" char* __wrap_secure_getenv(const char* name) {
  return raisedRights ? nullptr : __real_secure_getenv(name);
}

namespace {

TEST(SystemProperty, IsTheEnvironmentVariableOfThatNameCutAtNinetyOneBytes) {
  const char* const name = "persist.velmora.test";
  const std::string exact(91, 'v');
  for (const std::string& set : {std::string("1"), exact, exact + "w", std::string()}) {
    set.empty() ? unsetenv(name) : setenv(name, set.c_str(), 1);
    for (const bool raised : {false, true}) {
      raisedRights = raised;
      const std::string expected = raised ? "" : set.substr(0, 91);
      char value[100];
      std::memset(value, 'c', sizeof value);
      EXPECT_EQ(__system_property_get(name, value), static_cast<int>(expected.size()));
      EXPECT_EQ(value, expected);
      EXPECT_EQ(std::string(value + 92, 8), "cccccccc");
      EXPECT_EQ(__system_property_get(nullptr, value), 0);
      EXPECT_EQ(value[0], '\0');
      EXPECT_EQ(__system_property_get(name, nullptr), 0);
    }
  }
  raisedRights = false;
}

}  // namespace
