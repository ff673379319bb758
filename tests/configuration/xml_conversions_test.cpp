#include <gtest/gtest.h>

#include <limits>

#include "velmora_sr/xml_document.h"

namespace {

TEST(XmlConversions, ReadIntegers) {
  constexpr int kMin = std::numeric_limits<int>::min();
  constexpr int kMax = std::numeric_limits<int>::max();
  const struct {
    const char* text;
    int value;
  } cases[] = {
      {nullptr, -7},
      {"", -7},
      {"x1", -7},
      {"-", -7},
      {"+ 1", -7},
      {"--1", -7},
      {"12", 12},
      {" \t\n+12", 12},
      {"-12abc", -12},
      {"3.9", 3},
      {"007", 7},
      {"0x10", 0},
      {"2147483648", kMax},
      {"-2147483649", kMin},
      {"-2147483648", kMin},
      {"99999999999999999999999", kMax},
      {"-99999999999999999999999", kMin},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(xmltoi(c.text, -7), c.value) << (c.text == nullptr ? "null" : c.text);
  }
  EXPECT_EQ(xmltol("99999999999999999999999", 1), std::numeric_limits<long>::max());
  EXPECT_EQ(xmltol("-99999999999999999999999", 1), std::numeric_limits<long>::min());
  EXPECT_EQ(xmltol("-5", 1), -5);
  EXPECT_EQ(xmltol("", 1), 1);
}

TEST(XmlConversions, ReadReals) {
  constexpr double kMax = std::numeric_limits<double>::max();
  const struct {
    const char* text;
    double value;
  } cases[] = {
      {nullptr, -7.0},
      {"", -7.0},
      {".", -7.0},
      {"-.e3", -7.0},
      {"nan", -7.0},
      {"inf", -7.0},
      {"e5", -7.0},
      {"1", 1.0},
      {" -2.5e-1x", -0.25},
      {"+.5", 0.5},
      {"5.", 5.0},
      {"1e", 1.0},
      {"1e+", 1.0},
      {"1e 5", 1.0},
      {"1E2", 100.0},
      {"0x10", 0.0},
      {"1,5", 1.0},
      {"1e999", kMax},
      {"-1e999", -kMax},
      {"1e-999", 0.0},
      {"0.0001e999", kMax},
      {"0e999", 0.0},
      {"1000e-999", 0.0},
      {"1e99999999999999999999", kMax},
      {"1e-99999999999999999999", 0.0},
      {"0.1", 0.1},
      {"123456789012345678", 123456789012345678.0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(xmltof(c.text, -7.0), c.value) << (c.text == nullptr ? "null" : c.text);
  }
}

TEST(XmlConversions, ReadTruthTextsAndCharacters) {
  for (const char* text : {"true", "T", " yes", "Y", "1"})
    EXPECT_TRUE(xmltob(text, false)) << text;
  for (const char* text : {"false", "F", "\nno", "N", "0"})
    EXPECT_FALSE(xmltob(text, true)) << text;
  for (const char* text : {static_cast<const char*>(nullptr), "", "  ", "maybe", "2"}) {
    EXPECT_TRUE(xmltob(text, true));
    EXPECT_FALSE(xmltob(text, false));
  }
  EXPECT_STREQ(xmltoa("x", "d"), "x");
  EXPECT_STREQ(xmltoa("", "d"), "");
  EXPECT_STREQ(xmltoa(nullptr, "d"), "d");
  EXPECT_EQ(xmltoa(nullptr, nullptr), nullptr);
  EXPECT_EQ(xmltoc("xy", 'd'), 'x');
  EXPECT_EQ(xmltoc("", 'd'), 'd');
  EXPECT_EQ(xmltoc(nullptr, 'd'), 'd');
}

}  // namespace
