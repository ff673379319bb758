#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "interpolation/driver_call.h"
#include "velmora_sr/interpolation.h"

namespace {

using namespace velmora::test;

/// A call with a second frame, and maps that shift by 2.3, -1.7 samples and leave the frame.
DriverCall callOf(int w, int h, int format, int outW, int outH) {
  DriverCall call = {.w = w,
                     .h = h,
                     .format = format,
                     .outW = outW,
                     .outH = outH,
                     .x0 = 2,
                     .y0 = 4,
                     .x1 = w - 4,
                     .y1 = h - 2};
  call.secondFrame = Random(98).bytes(DriverCall::frameSize(w, h));
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      call.maps.x.push_back(x * 65536 + 150733);
      call.maps.y.push_back(y * 65536 - 111411);
    }
  }
  return call;
}

TEST(TwoFrameDriver, EqualsThePlainComputation) {
  const Kernels kernels = Kernels::lanczos(50);
  const struct {
    int w, h, outW, outH;
  } cases[] = {{60, 40, 120, 80}, {61, 43, 99, 85}, {40, 60, 17, 31}, {2, 2, 5, 4}, {12, 12, 1, 1}};
  for (const int format : {4, 5}) {
    for (const auto& c : cases) {
      DriverCall call = callOf(c.w, c.h, format, c.outW, c.outH);
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

TEST(TwoFrameDriver, LeavesTheOutputAloneForFormatsOtherThanPairs) {
  const Kernels kernels = Kernels::lanczos(50);
  for (const bool registrationFailed : {false, true}) {
    for (const int format : {0, 1, 6}) {
      DriverCall call = callOf(60, 40, format, 120, 80);
      call.registrationFailed = registrationFailed;
      call.run(SRInterpolation);
      EXPECT_EQ(call.result, 1);
      EXPECT_TRUE(call.untouched());
      EXPECT_EQ(call.log, (std::vector<LogLine>{{6, "NB7UO_ZELK", "UnSupport image format!\n"}}));
    }
  }
}

TEST(TwoFrameDriver, TakesItsBlocksInOrderAndReturnsThemWhenOneIsMissing) {
  const Kernels kernels = Kernels::lanczos(50);
  const std::vector<LogLine> missing = {
      {6, "NB7UO_ZELK", "NB7UO_ZELK: SRInterpolation: alloc memory failed.\n"}};
  Handle handle;
  for (const bool registrationFailed : {false, true}) {
    DriverCall whole = callOf(60, 40, 4, 120, 80);
    whole.registrationFailed = registrationFailed;
    TestAllocator::reset();
    whole.runOn(handle, SRInterpolation);
    const auto requests = TestAllocator::requests();
    EXPECT_EQ(requests,
              registrationFailed
                  ? (std::vector<uint32_t>{64 * 44, 34 * 24, 34 * 24, 60 * 40, 60 * 40,
                                           120 * 44 * 2, 60 * 24 * 2, 60 * 24 * 2})
                  : (std::vector<uint32_t>{64 * 44, 34 * 24, 34 * 24, 64 * 44, 34 * 24, 34 * 24,
                                           60 * 40, 60 * 40, 60 * 24 * 2, 60 * 24 * 2}));
    for (int n = 0; n < static_cast<int>(requests.size()); ++n) {
      TestAllocator::reset();
      TestAllocator::failRequest(n);
      DriverCall call = callOf(60, 40, 4, 120, 80);
      call.registrationFailed = registrationFailed;
      call.runOn(handle, SRInterpolation);
      EXPECT_EQ(call.result, SR_RET_ALLOC_FAILED) << n;
      EXPECT_TRUE(call.untouched()) << n;
      EXPECT_EQ(call.log, missing) << n;
      EXPECT_EQ(Handle::leftovers(), "") << n;
    }
  }
}

TEST(TwoFrameDriver, RefusesWhatItCannotRead) {
  const std::string failure = "NB7UO_ZELK: SRInterpolation: ";
  DriverCall withoutTables = callOf(60, 40, 4, 120, 80);
  withoutTables.run(SRInterpolation);
  EXPECT_EQ(withoutTables.result, SR_RET_LOAD_CONFIG_FAILED);
  EXPECT_TRUE(withoutTables.untouched());
  EXPECT_EQ(withoutTables.log,
            (std::vector<LogLine>{{6, "NB7UO_ZELK", failure + "load config file failed.\n"}}));

  const Kernels kernels = Kernels::lanczos(50);
  DriverCall withoutSecond = callOf(60, 40, 4, 120, 80);
  withoutSecond.secondFrame.clear();
  DriverCall withoutMap = callOf(60, 40, 4, 120, 80);
  withoutMap.maps.y.clear();
  DriverCall withoutSize = callOf(60, 40, 4, 120, 80);
  withoutSize.outW = 0;
  for (DriverCall* call : {&withoutSecond, &withoutMap, &withoutSize}) {
    call->run(SRInterpolation);
    EXPECT_EQ(call->result, SR_RET_PARAMS_OUT_OF_RANGE);
    EXPECT_EQ(Bytes(call->buffer.size(), DriverCall::kUnwritten), call->buffer);
    EXPECT_EQ(call->log,
              (std::vector<LogLine>{{6, "NB7UO_ZELK", failure + "params out of range.\n"}}));
  }
}

TEST(TwoFrameDriver, NeedsNoMemoryAtCreation) {
  uint32_t size = 77;
  EXPECT_EQ(Query_Interpolation(nullptr, nullptr, size), 0);
  EXPECT_EQ(size, 0u);
}

}  // namespace
