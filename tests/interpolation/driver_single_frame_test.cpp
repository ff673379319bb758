#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "interpolation/driver_call.h"
#include "interpolation/reference.h"
#include "support/log_capture.h"
#include "velmora_sr/interpolation.h"

namespace {

using namespace velmora::test;

TEST(SingleFrameDriver, EqualsThePlainComputation) {
  const Kernels kernels = Kernels::random(20, 3);
  const struct {
    int w, h, outW, outH, x0, y0, x1, y1;
  } cases[] = {
      {120, 100, 240, 200, 0, 0, 119, 99},  {120, 110, 183, 151, 3, 7, 111, 108},
      {101, 103, 205, 131, 0, 0, 100, 102}, {133, 117, 33, 35, 1, 2, 132, 116},
      {120, 100, 2, 2, 0, 0, 119, 99},      {120, 100, 1, 1, 0, 0, 119, 99},
      {100, 100, 7, 300, 0, 0, 99, 99},
  };
  for (const int format : {4, 5, 0}) {
    for (const auto& c : cases) {
      DriverCall call = {c.w, c.h, format, c.outW, c.outH, c.x0, c.y0, c.x1, c.y1};
      call.run(SRInterpolation_Single);
      EXPECT_EQ(call.result, 0);
      EXPECT_TRUE(call.log.empty());
      ASSERT_EQ(call.output(), call.expected(kernels))
          << "format " << format << ", " << c.w << "x" << c.h << " to " << c.outW << "x" << c.outH;
    }
  }
}

TEST(SingleFrameDriver, ReplacesAnUnusableRegionByTheInsetDefault) {
  const Kernels kernels = Kernels::lanczos(50);
  const struct {
    int w, h, x0, y0, x1, y1;
    bool usable;
    int endW, endH;
  } cases[] = {
      {500, 420, 0, 0, 98, 99, false, 348, 268},   {500, 420, 0, 0, 99, 98, false, 348, 268},
      {500, 420, 0, 0, 99, 99, true, 0, 0},        {501, 423, -1, 0, 400, 400, false, 350, 272},
      {502, 421, 0, 0, 502, 400, false, 350, 270}, {500, 420, 10, 10, 499, 420, false, 348, 268},
      {120, 100, 0, 0, 40, 40, false, -32, -52},   {7, 5, 0, 0, 6, 4, false, -144, -146},
      {2, 2, 0, 0, 1, 1, false, -150, -150},
  };
  for (const auto& c : cases) {
    DriverCall call = {c.w, c.h, 4, 60, 40, c.x0, c.y0, c.x1, c.y1};
    call.run(SRInterpolation_Single);
    EXPECT_EQ(call.result, 0);
    if (c.usable) {
      EXPECT_TRUE(call.log.empty());
      EXPECT_EQ(call.output(), call.expected(kernels));
      continue;
    }
    const auto numbers = [](int x0, int y0, int x1, int y1) {
      return "[vrStartW = " + std::to_string(x0) + ", vrStartH = " + std::to_string(y0) +
             ", vrEndW = " + std::to_string(x1) + ", vrEndH = " + std::to_string(y1) + "].\n";
    };
    const std::vector<LogLine> expectedLog = {
        {6, "NB7UO_ZELK",
         "NB7UO_ZELK: invalid valid region params: " + numbers(c.x0, c.y0, c.x1, c.y1)},
        {6, "NB7UO_ZELK",
         "NB7UO_ZELK: use default valid region params: " + numbers(150, 150, c.endW, c.endH)}};
    EXPECT_EQ(call.log, expectedLog);
    EXPECT_EQ(call.output(),
              enlargedFrame(call.frame, c.w, c.h, 4, kernels, {150, c.endW, 60}, {150, c.endH, 40}))
        << c.w << "x" << c.h;
  }
}

TEST(SingleFrameDriver, GivesFramesWithoutChromaANeutralOne) {
  const Kernels kernels = Kernels::lanczos(50);
  for (const auto& size : {std::pair{1, 40}, {40, 1}, {1, 1}}) {
    DriverCall call = {size.first, size.second, 4, 8, 6, 0, 0, 0, 0};
    call.run(SRInterpolation_Single);
    EXPECT_EQ(call.result, 0);
    const Bytes out = call.output();
    EXPECT_EQ(Bytes(out.begin() + 8 * 6, out.end()), Bytes(24, 128));
  }
}

}  // namespace
