#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "velmora_sr/platform.h"

namespace {

/// What a message writes under these rules (null: none).
std::string printed(const char* rules, int priority, const char* tag, const char* text) {
  rules == nullptr ? unsetenv("ANDROID_LOG_TAGS") : setenv("ANDROID_LOG_TAGS", rules, 1);
  testing::internal::CaptureStderr();
  const int result = __android_log_print(priority, tag, "%s", text);
  std::string lines = testing::internal::GetCapturedStderr();
  EXPECT_EQ(result > 0, !lines.empty());
  unsetenv("ANDROID_LOG_TAGS");
  return lines;
}

/// The letters of those priorities from verbose to fatal that come through for a tag.
std::string audible(const char* rules, const std::string& tag) {
  std::string letters;
  for (int priority = 2; priority <= 7; ++priority) {
    const std::string line = printed(rules, priority, tag.c_str(), "text");
    if (line.empty()) continue;
    letters += line.front();
    EXPECT_EQ(line.substr(1), "/" + tag + ": text\n");
  }
  return letters;
}

TEST(AndroidLog, FiltersByTheRulesOfTheEnvironment) {
  const struct {
    const char *rules, *ofOurs, *ofOthers;
  } cases[] = {
      {nullptr, "WEF", "WEF"},
      {"ours:4", "IWEF", "WEF"},
      {"ours", "VDIWEF", "WEF"},
      {"*", "DIWEF", "DIWEF"},
      {"*:V", "VDIWEF", "VDIWEF"},
      {"*:8", "", ""},
      {"ours:e *:S", "EF", ""},  // any order
      {"*:S,ours:F", "F", ""},
      {"  *:V \t ours:S\n", "", "VDIWEF"},
      {"ours:V ours:E", "EF", "WEF"},
      {"our:V oursx:V", "WEF", "WEF"},
      {"ours:X ours: ours:II :V *:? ours:1 ours:9 ours:x:V", "WEF", "WEF"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.rules == nullptr ? "(unset)" : c.rules);
    EXPECT_EQ(audible(c.rules, "ours"), c.ofOurs);
    EXPECT_EQ(audible(c.rules, "others"), c.ofOthers);
  }
}

TEST(AndroidLog, PrefixesEveryLineOfTheText) {
  const struct {
    int priority;
    const char *tag, *text, *lines;
  } cases[] = {
      {4, "tag", "one", "I/tag: one\n"},
      {6, "tag", "one\ntwo\n", "E/tag: one\nE/tag: two\n"},
      {6, "tag", "one\n\n", "E/tag: one\nE/tag: \n"},
      {6, "tag", "", "E/tag: \n"},
      {5, "tag", "100%d", "W/tag: 100%d\n"},
      {8, "tag", "odd priority", "?/tag: odd priority\n"},
      {7, nullptr, "no tag", "F/: no tag\n"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(printed("*:V", c.priority, c.tag, c.text), c.lines);
  EXPECT_EQ(printed("*:S", 8, "tag", "text"), "") << "silence holds for every priority";
  EXPECT_EQ(audible("a:b:I", "a:b"), "IWEF") << "a tag may hold a colon";
  const std::string longText(100'000, 'x');
  EXPECT_EQ(printed(nullptr, 5, "tag", longText.c_str()), "W/tag: " + longText + "\n");
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
