#include "arguments.h"

#include <gtest/gtest.h>

#include "errors.h"

namespace velmora::tool {
namespace {

template <typename Parse>
void expectRefused(const Parse& parse, std::initializer_list<const char*> values) {
  for (const char* value : values) {
    try {
      parse("--option", value);
      ADD_FAILURE() << value << " was accepted";
    } catch (const UsageError& error) {
      // Names the option and the value.
      EXPECT_EQ(std::string(error.what()).find("--option: \"" + std::string(value) + "\" is no "),
                0u)
          << error.what();
    }
  }
}

TEST(Arguments, Sizes) {
  EXPECT_EQ(parseSize("--option", "1920x1080"), (Size{1920, 1080}));
  expectRefused(parseSize,
                {"", "1920", "1920x", "x1080", "1920X1080", "1920x1080x3", "0x5", "5x0", "-5x5",
                 "5x5 ", " 5x5", "40000x5", "32000x32000", "99999999999x5", "1e3x5"});
}

TEST(Arguments, Regions) {
  EXPECT_EQ(parseRegion("--option", "0,10,99,10"), (Region{0, 10, 99, 10}));
  expectRefused(parseRegion, {"", "1,2,3", "1,2,3,4,5", "5,0,4,9", "0,5,9,4", "-1,0,5,5", "a,b,c,d",
                              "1;2;3;4", "1,2,3,4x"});
}

TEST(Arguments, Scales) {
  EXPECT_EQ(parseScale("--option", "1.5"), 1.5);
  EXPECT_EQ(parseScale("--option", "64"), 64);
  expectRefused(parseScale, {"", "0", "-2", "65", "2x", "nan", "inf", "1,5"});
}

TEST(Arguments, FormatsAndNumbers) {
  EXPECT_EQ(parseFormat("--option", "nv21", true), FileFormat::nv21);
  EXPECT_EQ(parseFormat("--option", "jpeg", false), FileFormat::jpeg);
  expectRefused([](auto option, auto value) { return parseFormat(option, value, true); },
                {"png", "NV12", "yuv", ""});
  EXPECT_EQ(parseNumber("--option", "100", 1, 100), 100);
  expectRefused([](auto option, auto value) { return parseNumber(option, value, 1, 100); },
                {"", "0", "101", "5.5", "ten"});
}

TEST(Arguments, OutputSizeFollowsRegionAndScale) {
  FrameOptions options;
  EXPECT_EQ(options.outputSize({0, 0, 99, 49}), (Size{200, 100}));
  options.scale = "1.5";
  EXPECT_EQ(options.outputSize({10, 10, 110, 60}), (Size{152, 77}));  // 151.5 and 76.5
  options.scale = "0.001";
  EXPECT_EQ(options.outputSize({0, 0, 99, 49}), (Size{1, 1}));
  options.scale = "64";
  EXPECT_THROW(static_cast<void>(options.outputSize({0, 0, 999, 49})), UsageError);
  options.scale.clear();
  options.size = "33x44";
  EXPECT_EQ(options.outputSize({0, 0, 99, 49}), (Size{33, 44}));
}

TEST(Arguments, RegionsStayInsideThePicture) {
  FrameOptions options;
  EXPECT_EQ(options.regionIn({640, 480}), (Region{0, 0, 639, 479}));
  options.region = "0,0,639,479";
  EXPECT_EQ(options.regionIn({640, 480}), (Region{0, 0, 639, 479}));
  EXPECT_THROW(static_cast<void>(options.regionIn({639, 480})), UsageError);
  EXPECT_THROW(static_cast<void>(options.regionIn({640, 479})), UsageError);
}

}  // namespace
}  // namespace velmora::tool
