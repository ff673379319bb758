#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "velmora_sr/platform.h"

namespace {

/// Sets ANDROID_LOG_TAGS (null: unset) for one scope.
class LogTags {
 public:
  explicit LogTags(const char* rules) {
    if (rules == nullptr) {
      unsetenv("ANDROID_LOG_TAGS");
    } else {
      setenv("ANDROID_LOG_TAGS", rules, 1);
    }
  }
  ~LogTags() { unsetenv("ANDROID_LOG_TAGS"); }
  LogTags(const LogTags&) = delete;
  LogTags& operator=(const LogTags&) = delete;
};

/// The letters of those priorities from verbose to fatal that come through for a tag.
std::string audible(const char* rules, const char* tag) {
  const LogTags environment(rules);
  std::string letters;
  for (int priority = 2; priority <= 7; ++priority) {
    testing::internal::CaptureStderr();
    const int result = __android_log_print(priority, tag, "text");
    const std::string line = testing::internal::GetCapturedStderr();
    EXPECT_EQ(result > 0, !line.empty());
    if (line.empty()) continue;
    letters += line.front();
    EXPECT_EQ(line.substr(1), std::string("/").append(tag).append(": text\n"));
  }
  return letters;
}

std::string printed(int priority, const char* tag, const char* text) {
  const LogTags environment("*:V");
  testing::internal::CaptureStderr();
  __android_log_print(priority, tag, "%s", text);
  return testing::internal::GetCapturedStderr();
}

struct FilterCase {
  const char* rules;
  const char* ofOurs;
  const char* ofOthers;
};

TEST(AndroidLog, FiltersByTheRulesOfTheEnvironment) {
  const FilterCase cases[] = {
      {nullptr, "WEF", "WEF"},
      {"", "WEF", "WEF"},
      {"ours:I", "IWEF", "WEF"},
      {"ours:i", "IWEF", "WEF"},
      {"ours:4", "IWEF", "WEF"},
      {"ours:2", "VDIWEF", "WEF"},
      {"ours", "VDIWEF", "WEF"},
      {"*", "DIWEF", "DIWEF"},
      {"*:V", "VDIWEF", "VDIWEF"},
      {"*:S", "", ""},
      {"*:8", "", ""},
      {"ours:E *:S", "EF", ""},
      {"*:S ours:E", "EF", ""},
      {"*:S,ours:F", "F", ""},
      {"  *:V \t ours:S\n", "", "VDIWEF"},
      {"ours:V ours:E", "EF", "WEF"},
      {"our:V oursx:V", "WEF", "WEF"},
      {"ours:X ours: ours:II :V *:?", "WEF", "WEF"},
      {"ours:1", "WEF", "WEF"},
      {"ours:9", "WEF", "WEF"},
      {"ours:x:V", "WEF", "WEF"},
  };
  for (const FilterCase& c : cases) {
    SCOPED_TRACE(c.rules == nullptr ? "(unset)" : c.rules);
    EXPECT_EQ(audible(c.rules, "ours"), c.ofOurs);
    EXPECT_EQ(audible(c.rules, "others"), c.ofOthers);
  }
}

TEST(AndroidLog, ATagMayHoldAColon) {
  EXPECT_EQ(audible("a:b:I", "a:b"), "IWEF");
}

TEST(AndroidLog, SilenceHoldsForEveryPriority) {
  const LogTags environment("*:S");
  EXPECT_EQ(__android_log_print(8, "tag", "text"), 0);
}

TEST(AndroidLog, PrefixesEveryLineOfTheText) {
  EXPECT_EQ(printed(4, "tag", "one"), "I/tag: one\n");
  EXPECT_EQ(printed(4, "tag", "one\n"), "I/tag: one\n");
  EXPECT_EQ(printed(6, "tag", "one\ntwo\n"), "E/tag: one\nE/tag: two\n");
  EXPECT_EQ(printed(6, "tag", "one\n\n"), "E/tag: one\nE/tag: \n");
  EXPECT_EQ(printed(6, "tag", ""), "E/tag: \n");
  EXPECT_EQ(printed(8, "tag", "odd priority"), "?/tag: odd priority\n");
  EXPECT_EQ(printed(7, nullptr, "no tag"), "F/: no tag\n");
}

TEST(AndroidLog, FormatsItsArgumentsWhateverTheirLength) {
  EXPECT_EQ(printed(5, "tag", "100%d"), "W/tag: 100%d\n");
  const std::string longText(100'000, 'x');
  EXPECT_EQ(printed(5, "tag", longText.c_str()),
            std::string("W/tag: ").append(longText).append("\n"));
  testing::internal::CaptureStderr();
  __android_log_print(5, "tag", "%d of %s", 3, "four");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "W/tag: 3 of four\n");
}

TEST(AndroidLog, MessagesOfSeveralThreadsDoNotMix) {
  testing::internal::CaptureStderr();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int k = 0; k < 100; ++k)
        __android_log_print(6, "tag", "first\nsecond");
    });
  }
  for (auto& thread : threads)
    thread.join();
  std::string expected;
  for (int i = 0; i < 400; ++i)
    expected += "E/tag: first\nE/tag: second\n";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), expected);
}

}  // namespace
