#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "velmora_sr/xml_document.h"

namespace {

TEST(XmlConversions, ReadIntegers) {
  constexpr int kMin = std::numeric_limits<int>::min();
  constexpr int kMax = std::numeric_limits<int>::max();
  const struct {
    int value;
    std::vector<const char*> texts;
  } cases[] = {
      {-7, {nullptr, "", "x1", "-", "+ 1", "--1"}},
      {12, {"12", " \t\n+12", "012", "12.9"}},
      {-12, {"-12abc"}},
      {0, {"0x10"}},
      {kMax, {"2147483648", "99999999999999999999999"}},
      {kMin, {"-2147483648", "-2147483649", "-99999999999999999999999"}},
  };
  for (const auto& c : cases) {
    for (const char* text : c.texts)
      EXPECT_EQ(xmltoi(text, -7), c.value) << (text == nullptr ? "null" : text);
  }
  EXPECT_EQ(xmltol("99999999999999999999999", 1), std::numeric_limits<long>::max());
  EXPECT_EQ(xmltol("-99999999999999999999999", 1), std::numeric_limits<long>::min());
  EXPECT_EQ(xmltol("", 1), 1);
}

TEST(XmlConversions, ReadReals) {
  constexpr double kMax = std::numeric_limits<double>::max();
  const struct {
    double value;
    std::vector<const char*> texts;
  } cases[] = {
      {-7.0, {nullptr, "", ".", "-.e3", "nan", "inf", "e5"}},
      {1.0, {"1", "1e", "1e+", "1e 5", "1,5"}},
      {-0.25, {" -2.5e-1x"}},
      {0.5, {"+.5", "5.E-1"}},
      {kMax, {"1e999", "0.0001e999", "1e99999999999999999999"}},
      {-kMax, {"-1e999"}},
      {0.0, {"0x10", "1e-999", "0e999", "1000e-999", "1e-99999999999999999999"}},
      {123456789012345678.0, {"123456789012345678"}},
  };
  for (const auto& c : cases) {
    for (const char* text : c.texts)
      EXPECT_EQ(xmltof(text, -7.0), c.value) << (text == nullptr ? "null" : text);
  }
}

TEST(XmlConversions, ReadTruthTextsAndCharacters) {
  for (const char* text : {"true", "T", " yes", "Y", "1"})
    EXPECT_TRUE(xmltob(text, false)) << text;
  for (const char* text : {"false", "F", "\nno", "N", "0"})
    EXPECT_FALSE(xmltob(text, true)) << text;
  for (const char* text : {static_cast<const char*>(nullptr), "", "  ", "maybe", "2"})
    EXPECT_TRUE(xmltob(text, true) && !xmltob(text, false));
  EXPECT_STREQ(xmltoa("x", "d"), "x");
  EXPECT_STREQ(xmltoa("", "d"), "");
  EXPECT_STREQ(xmltoa(nullptr, "d"), "d");
  EXPECT_EQ(xmltoa(nullptr, nullptr), nullptr);
  EXPECT_EQ(xmltoc("xy", 'd'), 'x');
  EXPECT_EQ(xmltoc("", 'd'), 'd');
  EXPECT_EQ(xmltoc(nullptr, 'd'), 'd');
}

}  // namespace
