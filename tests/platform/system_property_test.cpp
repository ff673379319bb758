#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "velmora_sr/platform.h"

namespace {

constexpr const char* kName = "persist.velmora.test";

class SystemProperty : public testing::Test {
 protected:
  void SetUp() override { std::memset(value_, 'c', sizeof value_); }
  void TearDown() override { unsetenv(kName); }

  /// What the lookup leaves in the 92 bytes, after checking the bytes behind them.
  std::string lookUp(int expectedLength) {
    EXPECT_EQ(__system_property_get(kName, value_), expectedLength);
    EXPECT_EQ(std::string(value_ + 92, 8), "cccccccc");
    return value_;
  }

  char value_[100];
};

TEST_F(SystemProperty, IsTheEnvironmentVariableOfThatName) {
  setenv(kName, "1", 1);
  EXPECT_EQ(lookUp(1), "1");
}

TEST_F(SystemProperty, UnsetIsTheEmptyText) {
  EXPECT_EQ(lookUp(0), "");
  std::memset(value_, 'c', sizeof value_);
  EXPECT_EQ(__system_property_get(nullptr, value_), 0);
  EXPECT_EQ(value_[0], '\0');
}

TEST_F(SystemProperty, IsCutAtNinetyOneBytes) {
  const std::string exact(91, 'v');
  setenv(kName, exact.c_str(), 1);
  EXPECT_EQ(lookUp(91), exact);
  setenv(kName, (exact + "w").c_str(), 1);
  EXPECT_EQ(lookUp(91), exact);
}

TEST_F(SystemProperty, NoBufferNoWrite) {
  setenv(kName, "1", 1);
  EXPECT_EQ(__system_property_get(kName, nullptr), 0);
}

}  // namespace
