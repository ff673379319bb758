#include <gtest/gtest.h>

#include "interpolation/driver_call.h"
#include "velmora_sr/interpolation.h"

namespace {

using namespace velmora::test;

// Through maps that shift by 2.3, -1.7 samples and leave the frame.
TEST(TwoFrameDriver, EqualsThePlainComputation) {
  const Kernels kernels = Kernels::lanczos(50);
  const struct {
    int w, h, outW, outH;
  } cases[] = {{60, 40, 120, 80}, {61, 43, 99, 85}, {40, 60, 17, 31}, {2, 2, 5, 4}, {12, 12, 1, 1}};
  for (const int format : {4, 5}) {
    for (const auto& c : cases) {
      DriverCall call = {c.w, c.h, format, c.outW, c.outH, 2, 4, c.w - 4, c.h - 2};
      call.addSecondFrame(150733, -111411);
      call.run(SRInterpolation);
      EXPECT_EQ(call.result, 0);
      EXPECT_TRUE(call.log.empty());
      ASSERT_EQ(call.output(), call.expected(kernels)) << c.w << "x" << c.h << " format " << format;
    }
  }
}

// The region is taken as it is: inside and beyond the frame, upside down. Bands hold many of the
// strips of rows in which they are worked through, or less than one, enlarged and reduced.
TEST(TwoFrameDriver, EnlargesTheFirstFrameAloneAfterAFailedRegistration) {
  const Kernels kernels = Kernels::random(50, 3);
  const struct {
    int w, h, outW, outH, x0, y0, x1, y1;
  } cases[] = {{61, 43, 99, 85, 2, 4, 57, 41},
               {40, 300, 31, 451, 0, 0, 39, 299},
               {33, 257, 50, 300, 3, 7, 30, 250},
               {40, 300, 41, 77, 0, 0, 39, 299},
               {40, 300, 41, 9, 0, 0, 39, 299},
               {40, 203, 41, 500, 0, 202, 39, 0},
               {40, 130, 41, 200, -20, -40, 60, 190},
               {20, 29, 33, 47, 0, 0, 19, 28},
               {9, 7, 20, 31, 0, 0, 8, 6},
               {6, 3, 6, 1, 0, 0, 5, 2},
               {40, 500, 17, 999, 0, 100, 39, 101},
               {40, 200, 17, 150, 0, 500, 39, 900}};
  for (const int format : {4, 5}) {
    for (const auto& c : cases) {
      // Nothing is known of the second frame.
      DriverCall call = {c.w, c.h, format, c.outW, c.outH, c.x0, c.y0, c.x1, c.y1};
      call.registrationFailed = true;
      call.run(SRInterpolation);
      EXPECT_EQ(call.result, 0);
      EXPECT_TRUE(call.log.empty());
      ASSERT_EQ(call.output(), call.expected(kernels)) << c.w << "x" << c.h << " to " << c.outH;
    }
  }
}

TEST(TwoFrameDriver, NeedsNoMemoryAtCreation) {
  uint32_t size = 77;
  EXPECT_EQ(Query_Interpolation(nullptr, nullptr, size), 0);
  EXPECT_EQ(size, 0u);
}

}  // namespace
