#include "terminal.h"

#include <gtest/gtest.h>

namespace velmora::tool::terminal {
namespace {

TEST(Terminal, ShowsWhatCouldSteerItAsEscapes) {
  const struct {
    std::string_view text, shown;
  } cases[] = {
      {"plain ~ \\", "plain ~ \\"},
      {"\x1b[31m\x07\x7f", "\\x1b[31m\\x07\\x7f"},
      {"a\n\t\rb", "a\\n\\t\\rb"},
      {std::string_view("\0", 1), "\\x00"},
      {"\u00a0\u20ac\ud7ff\ue000\U0001f600", "\u00a0\u20ac\ud7ff\ue000\U0001f600"},
      {"\xc2\x9b\xc2\x80", "\\xc2\\x9b\\xc2\\x80"},           // C1
      {"\xc1\xbf\xe0\x9f\xbf", "\\xc1\\xbf\\xe0\\x9f\\xbf"},  // too long
      {"\xed\xa0\x80\xf4\x90\x80\x80", "\\xed\\xa0\\x80\\xf4\\x90\\x80\\x80"},
      {"\xf0\x9f\x98", "\\xf0\\x9f\\x98"},  // cut
      {"\xe2\x1b\xac\xff", "\\xe2\\x1b\\xac\\xff"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(printable(c.text), c.shown);
  EXPECT_EQ(printable("a\n\x1b\n", true), "a\n\\x1b\n");

  const std::string longer(5000, '\x01');
  ::testing::internal::CaptureStderr();
  writeLine({"a\n", longer, "z"});
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "a\\n" + printable(longer) + "z\n");
}

}  // namespace
}  // namespace velmora::tool::terminal
