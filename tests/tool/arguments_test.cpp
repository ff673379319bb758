#include "arguments.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "burst_options.h"
#include "errors.h"

namespace velmora::tool {
namespace {

using testing::StartsWith;
using testing::ThrowsMessage;

TEST(Arguments, RefuseWhatIsNoValueByOptionAndValue) {
  const struct {
    std::function<void(const std::string&, const std::string&)> parse;
    std::vector<std::string> values;
  } cases[] = {
      {parseSize,
       {"", "1920", "1920x", "x1080", "1920X1080", "1x2x3", "0x5", "5x0", "-5x5", "5x5 ", " 5x5",
        "40000x5", "32000x32000", "99999999999x5", "1e3x5"}},
      {parseRegion,
       {"", "1,2,3", "1,2,3,4,5", "5,0,4,9", "0,5,9,4", "-1,0,5,5", "a,b,c,d", "1;2;3;4",
        "1,2,3,4x"}},
      {parseScale, {"", "0", "-2", "65", "2x", "nan", "inf", "1,5"}},
      {[](auto& option, auto& value) { parseFormat(option, value, true); },
       {"", "png", "NV12", "yuv"}},
      {[](auto& option, auto& value) { parseNumber(option, value, 1, 100); },
       {"", "0", "101", "5.5", "ten"}},
  };
  for (const auto& c : cases) {
    for (const std::string& value : c.values) {
      EXPECT_THAT([&] { c.parse("--option", value); },
                  ThrowsMessage<UsageError>(StartsWith("--option: \"" + value + "\" is no ")));
    }
  }
}

TEST(Arguments, AreReadExactly) {
  EXPECT_EQ(parseRegion("", "0,10,99,10"), (Region{0, 10, 99, 10}));
  EXPECT_EQ(parseScale("", "64"), 64);
  EXPECT_EQ(parseFormat("", "jpeg", false), FileFormat::jpeg);
  EXPECT_EQ(parseNumber("", "100", 1, 100), 100);
}

TEST(Arguments, ThreadsReachTheBurstStage) {
  BurstOptions options;
  for (const auto& [value, threads] : {std::pair("", 0), std::pair("3", 3)}) {
    options.threads = value;
    options.check("");
    EXPECT_EQ(options.settings({}, {0, 0, 99, 49}, {100, 50}).threads, threads) << value;
  }
}

TEST(Arguments, OutputSizeFollowsRegionAndScale) {
  const struct {
    const char *scale, *size;
    Region region;
    Size output;
  } cases[] = {{"", "", {0, 0, 99, 49}, {200, 100}},
               {"1.5", "", {10, 10, 110, 60}, {152, 77}},  // 151.5 and 76.5
               {"0.001", "", {0, 0, 99, 49}, {1, 1}},
               {"", "33x44", {0, 0, 99, 49}, {33, 44}}};
  FrameOptions options;
  for (const auto& c : cases) {
    options.scale = c.scale;
    options.size = c.size;
    EXPECT_EQ(options.outputSize(c.region), c.output) << c.scale;
  }
  options = {};
  options.scale = "64";
  EXPECT_THROW(static_cast<void>(options.outputSize({0, 0, 999, 49})), UsageError);
  EXPECT_EQ(options.regionIn({640, 480}), (Region{0, 0, 639, 479}));
  options.region = "0,0,639,479";
  EXPECT_EQ(options.regionIn({640, 480}), (Region{0, 0, 639, 479}));
  EXPECT_THROW(static_cast<void>(options.regionIn({639, 480})), UsageError);
  EXPECT_THROW(static_cast<void>(options.regionIn({640, 479})), UsageError);
}

}  // namespace
}  // namespace velmora::tool
