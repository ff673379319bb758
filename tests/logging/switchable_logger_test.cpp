#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>

#include "support/log_capture.h"
#include "support/scratch_directory.h"
#include "velmora_sr/logging.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using velmora::test::LogCapture;
using velmora::test::LogLine;
using velmora::test::readFile;

LogLine systemLine(const std::string& text) {
  return {6, "libimgproc", text};
}

/// Logs before the first test runs: what is installed once stays installed.
struct BeforeAllTests : testing::Environment {
  void SetUp() override {
    LogCapture log;
    LogMsg("f.cpp", 1, 0, "early");
    if (lines < 0) lines = static_cast<int>(log.take().size());  // not in a repeated run
  }
  static inline int lines = -1;
};

[[maybe_unused]] const auto* const registered =
    testing::AddGlobalTestEnvironment(new BeforeAllTests);

TEST(LogMsg, IsSilentUntilInstalled) {
  EXPECT_EQ(BeforeAllTests::lines, 0);
  InitLogParams(nullptr, 0);
  LogCapture log;
  LogMsg("f.cpp", 1, 0, "late");
  EXPECT_THAT(log.take(), ElementsAre(systemLine(">>BRISOLE2[error][f.cpp][1] : late\n")));
}

TEST(LogMsg, PrefixesByLevel) {
  InitLogParams(nullptr, 9);
  LogCapture log;
  LogMsg("matcher.cpp", 17, 0, "%d pairs of %s", 3, "left");
  LogMsg("50%n.cpp", 18, 1, "%s", "100%s%n");
  LogMsg("matcher.cpp", 19, 2, "i");
  LogMsg("matcher.cpp", 20, 7, "u");
  LogMsg(nullptr, 21, -2, "%s", "");
  EXPECT_THAT(log.take(),
              ElementsAre(systemLine(">>BRISOLE2[error][matcher.cpp][17] : 3 pairs of left\n"),
                          systemLine(">>BRISOLE2[warning][50%n.cpp][18] : 100%s%n\n"),
                          systemLine(">>BRISOLE2[info] : i\n"),
                          systemLine(">>BRISOLE2[unknown][matcher.cpp][20] : u\n"),
                          systemLine(">>BRISOLE2[unknown][][21] : \n")));
}

TEST(LogMsg, ModeIsTheHighestLevel) {
  const std::pair<int, std::string> cases[] = {
      {-1, "-2 "}, {0, "-2 0 "}, {1, "-2 0 1 "}, {3, "-2 0 1 2 "}, {4, "-2 0 1 2 4 "}};
  for (const auto& [mode, levels] : cases) {
    InitLogParams(nullptr, mode);
    std::string heard;
    for (int level = -2; level <= 4; ++level) {
      LogCapture log;
      LogMsg("f.cpp", 1, level, "m");
      if (!log.take().empty()) heard += std::to_string(level) + " ";
    }
    EXPECT_EQ(heard, levels) << mode;
  }
}

TEST(LogMsg, CutsTheLineAt4095BytesAndStillEndsIt) {
  InitLogParams(nullptr, 2);
  LogCapture log;
  const std::string prefix = ">>BRISOLE2[info] : ";
  const std::size_t room = 4095 - 1 - prefix.size();
  for (const std::size_t length : {room - 1, room, room + 1, std::size_t{100'000}}) {
    LogMsg("f.cpp", 1, 2, "%s", std::string(length, 'x').c_str());
    EXPECT_THAT(log.take(),
                ElementsAre(systemLine(prefix + std::string(std::min(length, room), 'x') + "\n")));
  }
  LogMsg(std::string(5000, 'f').c_str(), 1, 0, "lost");
  const std::string start = ">>BRISOLE2[error][";
  EXPECT_THAT(log.take(),
              ElementsAre(systemLine(start + std::string(4094 - start.size(), 'f') + "\n")));
}

TEST(InitLogParams, ReturnsAndUsesThePathInModeThreeOnly) {
  const velmora::test::ScratchDirectory directory;
  const std::string path = directory.path("log.txt");
  LogCapture log;

  EXPECT_EQ(InitLogParams(path.c_str(), 3), path.c_str());
  LogMsg("f.cpp", 1, 1, "first");
  LogMsg("f.cpp", 2, 2, "second %d%%", 2);
  EXPECT_THAT(log.take(), IsEmpty());
  EXPECT_EQ(readFile(path),
            ">>BRISOLE2[warning][f.cpp][1] : first\n>>BRISOLE2[info] : second 2%\n");

  EXPECT_EQ(InitLogParams(path.c_str(), 2), nullptr);
  LogMsg("f.cpp", 3, 2, "third");
  EXPECT_THAT(log.take(), ElementsAre(systemLine(">>BRISOLE2[info] : third\n")));

  EXPECT_EQ(InitLogParams(nullptr, 3), nullptr);
  LogMsg("f.cpp", 4, 2, "fourth");
  EXPECT_THAT(log.take(), ElementsAre(systemLine(">>BRISOLE2[info] : fourth\n")));
}

TEST(LogFxn, AppendsToTheFileOrLosesNothing) {
  const velmora::test::ScratchDirectory directory;
  const std::string path = directory.path("log.txt");
  LogCapture log;
  LogFxn(path.c_str(), "%d and %s;", 1, "%d");
  LogFxn(path.c_str(), "again");
  LogFxn(path.c_str(), "%s", "");
  EXPECT_EQ(readFile(path), "1 and %d;again");
  LogFxn(nullptr, nullptr);
  EXPECT_THAT(log.take(), IsEmpty());
  LogFxn(nullptr, "%d and %s", 2, "%n");
  LogFxn(directory.path("missing/log.txt").c_str(), "%d", 1);
  EXPECT_THAT(log.take(), ElementsAre(systemLine("2 and %n"), systemLine("1")));
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
  LogFxn("/dev/full", "%d", 2);
  EXPECT_THAT(log.take(), ElementsAre(systemLine("2")));
}

TEST(LogVersion, IsOneLineOfTheSystemLog) {
  LogCapture log;
  LogVersion();
  EXPECT_THAT(log.take(), ElementsAre(LogLine{4, "libimgproc",
                                              "qerym: Brisole PostProcess Version : "
                                              "__BRISOLE2_v1.0__Mar  2 2015__11:57:00__gcc__ \n"}));
}

}  // namespace
