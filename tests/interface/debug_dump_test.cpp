#include "interface/source/debug_dump.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "interface/interposers.h"
#include "interface/session.h"
#include "support/scratch_directory.h"

namespace velmora::test {
namespace {

using namespace std::string_literals;

TEST(DebugDump, PathsAreUnpaddedAndTimeIsLocalAndNow) {
  std::tm time = {};
  time.tm_year = 115;
  time.tm_mon = 2;
  time.tm_mday = 7;
  time.tm_hour = 9;
  time.tm_sec = 5;
  EXPECT_EQ(dumpPath({"left", nullptr, 640, 480, 4}, time),
            "/data/zelk/2015_3_7_9_0_5_sr_left_w640_h480_f4.yuv");
  time.tm_mon = 11;
  time.tm_min = 59;
  EXPECT_EQ(dumpPath({"result", nullptr, 8000, 6000, -3}, time, 1),
            "/data/zelk/2015_12_7_9_59_5_sr_result_w8000_h6000_f-3_2.yuv");
  const std::time_t before = std::time(nullptr);
  std::tm now = dumpTime();
  const std::time_t after = std::time(nullptr);
  now.tm_isdst = -1;
  const std::time_t taken = std::mktime(&now);
  EXPECT_LE(before, taken);
  EXPECT_GE(after, taken);
}

TEST(DebugDump, WantedWhenThePropertyStartsWithOne) {
  for (const std::string& value : {""s, "0"s, "1"s, "1abc"s, "01"s, "%s"s, std::string(91, '1')}) {
    setSystemProperty("persist.camera.nb7uo.zelk.yuv", value);
    LogCapture log;
    EXPECT_EQ(dumpsWanted(), value.starts_with('1')) << value;
    EXPECT_EQ(log.take(), std::vector<LogLine>{dumpLine(value)});
  }
  setSystemProperty("persist.camera.nb7uo.zelk.yuv", "");
}

TEST(DebugDump, TakesOnlyNewFilesForTheirOwner) {
  const DumpRedirection redirection;
  const ScratchDirectory elsewhere;
  const std::string victim = elsewhere.path("victim");
  writeFile(victim, "precious");
  const std::string name = redirection.path("1900_1_0_0_0_0_sr_left_w2_h2_f4");
  ASSERT_EQ(symlink(victim.c_str(), (name + ".yuv").c_str()), 0);
  ASSERT_EQ(symlink(elsewhere.path("dangling").c_str(), (name + "_2.yuv").c_str()), 0);
  const uint8_t frames[] = {1, 2, 3, 4, 5, 6, 7};
  LogCapture log;
  for (const int first : {0, 1})
    dump({"left", frames + first, 2, 2, 4}, {});
  EXPECT_EQ(readFile(name + "_3.yuv"), "\1\2\3\4\5\6");
  EXPECT_EQ(readFile(name + "_4.yuv"), "\2\3\4\5\6\7");
  EXPECT_EQ(readFile(victim), "precious");
  EXPECT_EQ(redirection.files().size(), 3u) << "the dangling link has not become a file";
  struct stat status = {};
  ASSERT_EQ(stat((name + "_3.yuv").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  const std::string file = "[/data/zelk/1900_1_0_0_0_0_sr_left_w2_h2_f4";
  EXPECT_EQ(log.takeTexts()[1], "NB7UO_ZELK: done writing 2 bytes to file " + file + "_3.yuv]\n");

  for (int n = 5; n <= 1000; ++n)
    writeFile(joined(name, "_", n, ".yuv"), "");
  dump({"left", frames, 2, 2, 4}, {});
  EXPECT_EQ(log.takeTexts(),
            std::vector<std::string>{"NB7UO_ZELK: failed to create file " + file + ".yuv]"});
}

}  // namespace
}  // namespace velmora::test
