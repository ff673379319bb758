#include "interface/source/debug_dump.h"

#include <gtest/gtest.h>

#include <string>

#include "interface/session.h"

namespace velmora::test {
namespace {

using namespace std::string_literals;

constexpr const char* kProperty = "persist.camera.nb7uo.zelk.yuv";

TEST(DebugDump, PathsAreUnpadded) {
  std::tm time = {};
  time.tm_year = 115;
  time.tm_mon = 2;
  time.tm_mday = 7;
  time.tm_hour = 9;
  time.tm_min = 0;
  time.tm_sec = 5;
  const auto path = [&](const char* kind, int32_t width, int32_t height, int32_t format) {
    return dumpPath({kind, nullptr, width, height, format}, time);
  };
  EXPECT_EQ(path("left", 640, 480, 4), "/data/zelk/2015_3_7_9_0_5_sr_left_w640_h480_f4.yuv");
  EXPECT_EQ(path("single", 1, 2, 0), "/data/zelk/2015_3_7_9_0_5_sr_single_w1_h2_f0.yuv");
  EXPECT_EQ(path("result", 8000, 6000, -3),
            "/data/zelk/2015_3_7_9_0_5_sr_result_w8000_h6000_f-3.yuv");
  time.tm_mon = 11;
  time.tm_mday = 31;
  time.tm_hour = 23;
  time.tm_min = 59;
  time.tm_sec = 60;
  EXPECT_EQ(path("left2", 640, 480, 5), "/data/zelk/2015_12_31_23_59_60_sr_left2_w640_h480_f5.yuv");
}

TEST(DebugDump, TimeIsLocalAndNow) {
  const std::time_t before = std::time(nullptr);
  std::tm now = dumpTime();
  const std::time_t after = std::time(nullptr);
  now.tm_isdst = -1;
  const std::time_t taken = std::mktime(&now);
  EXPECT_LE(before, taken);
  EXPECT_GE(after, taken);
}

TEST(DebugDump, WantedWhenThePropertyStartsWithOne) {
  const struct {
    std::string value;
    bool wanted;
    LogLine line;
  } cases[] = {
      {"", false, info("save org image: length = 0, persist.camera.nb7uo.zelk.yuv = \0.\n"s)},
      {"0", false, info("save org image: length = 1, persist.camera.nb7uo.zelk.yuv = 0.\n")},
      {"1", true, info("save org image: length = 1, persist.camera.nb7uo.zelk.yuv = 1.\n")},
      {"1abc", true, info("save org image: length = 4, persist.camera.nb7uo.zelk.yuv = 1.\n")},
      {"01", false, info("save org image: length = 2, persist.camera.nb7uo.zelk.yuv = 0.\n")},
      {"%s", false, info("save org image: length = 2, persist.camera.nb7uo.zelk.yuv = %.\n")},
      {std::string(91, '1'), true,
       info("save org image: length = 91, persist.camera.nb7uo.zelk.yuv = 1.\n")},
  };
  for (const auto& c : cases) {
    setSystemProperty(kProperty, c.value);
    LogCapture log;
    EXPECT_EQ(dumpsWanted(), c.wanted) << c.value;
    EXPECT_EQ(log.take(), std::vector<LogLine>{c.line});
  }
  setSystemProperty(kProperty, "");
}

}  // namespace
}  // namespace velmora::test
