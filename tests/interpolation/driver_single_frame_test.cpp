#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "interpolation/driver_call.h"
#include "interpolation/reference.h"
#include "support/log_capture.h"
#include "velmora_sr/interpolation.h"
#include "velmora_sr/kernel_tables.h"

namespace {

using namespace velmora::test;

/// A call of the driver with NV12 and all of a 120 x 110 frame enlarged to 200 x 150.
DriverCall usualCall(int format = 4) {
  return {.w = 120,
          .h = 110,
          .format = format,
          .outW = 200,
          .outH = 150,
          .x0 = 0,
          .y0 = 0,
          .x1 = 119,
          .y1 = 109};
}

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

TEST(SingleFrameDriver, TakesItsBlocksInOrderAndReturnsThemWhenOneIsMissing) {
  const Kernels kernels = Kernels::lanczos(50);
  Handle handle;
  DriverCall whole = usualCall();
  whole.runOn(handle, SRInterpolation_Single);
  EXPECT_EQ(TestAllocator::requests(),
            (std::vector<uint32_t>{124 * 114, 64 * 59, 64 * 59, 100 * 75, 100 * 75,  //
                                   200 * 114 * 2, 100 * 59 * 2, 100 * 59 * 2}));
  EXPECT_EQ(Handle::leftovers(), "");
  for (int n = 0; n < 8; ++n) {
    TestAllocator::reset();
    TestAllocator::failRequest(n);
    DriverCall call = usualCall();
    call.runOn(handle, SRInterpolation_Single);
    EXPECT_EQ(call.result, SR_RET_ALLOC_FAILED) << n;
    EXPECT_TRUE(call.untouched()) << n;
    EXPECT_EQ(call.log, (std::vector<LogLine>{{6, "NB7UO_ZELK",
                                               "NB7UO_ZELK: SRInterpolation_Single: alloc memory "
                                               "failed.\n"}}))
        << n;
    EXPECT_EQ(Handle::leftovers(), "") << n;
  }
  handle.pub.alloc = nullptr;
  DriverCall without = usualCall();
  without.runOn(handle, SRInterpolation_Single);
  EXPECT_EQ(without.result, SR_RET_ALLOC_FAILED);
}

TEST(SingleFrameDriver, LeavesTheOutputAloneForAnUnknownFormat) {
  const Kernels kernels = Kernels::lanczos(50);
  for (const int format : {1, 3, 6, -4}) {
    DriverCall call = usualCall(format);
    call.run(SRInterpolation_Single);
    EXPECT_EQ(call.result, 7);
    EXPECT_TRUE(call.untouched());
    EXPECT_TRUE(call.log.empty());
  }
}

TEST(SingleFrameDriver, RefusesWhatItCannotRead) {
  const std::string failure = "NB7UO_ZELK: SRInterpolation_Single: ";
  {
    DriverCall call = usualCall();
    call.run(SRInterpolation_Single);
    EXPECT_EQ(call.result, SR_RET_LOAD_CONFIG_FAILED) << "no tables are installed";
    EXPECT_TRUE(call.untouched());
    EXPECT_EQ(call.log,
              (std::vector<LogLine>{{6, "NB7UO_ZELK", failure + "load config file failed.\n"}}));
  }
  const Kernels kernels = Kernels::lanczos(50);
  const std::vector<LogLine> outOfRange = {{6, "NB7UO_ZELK", failure + "params out of range.\n"}};
  Handle handle;
  handle.pub.srImageWidth = 200;
  handle.pub.srImageHeight = 150;
  Bytes frame(DriverCall::frameSize(120, 110));
  Bytes out(DriverCall::frameSize(200, 150), DriverCall::kUnwritten);
  uint8_t* frames[] = {frame.data()};
  uint8_t* noFrames[] = {nullptr};
  const Velmora_SR_CInputImage good = {frames, nullptr, 1, 0, 120, 110, 4};
  const Velmora_SR_COutPutImage goodOut = {out.data()};
  const auto refused = [&](const Velmora_SR_CInputImage* in, const Velmora_SR_COutPutImage* to,
                           SR_ParamsPrivate* priv) {
    LogCapture capture;
    auto input = in == nullptr ? Velmora_SR_CInputImage{} : *in;
    auto output = to == nullptr ? Velmora_SR_COutPutImage{} : *to;
    const int result = SRInterpolation_Single(in == nullptr ? nullptr : &input,
                                              to == nullptr ? nullptr : &output, priv);
    return result == SR_RET_PARAMS_OUT_OF_RANGE && capture.take() == outOfRange &&
           out == Bytes(out.size(), DriverCall::kUnwritten) && TestAllocator::requests().empty();
  };
  EXPECT_TRUE(refused(nullptr, &goodOut, &handle.priv));
  EXPECT_TRUE(refused(&good, nullptr, &handle.priv));
  EXPECT_TRUE(refused(&good, &goodOut, nullptr));
  const Velmora_SR_COutPutImage nowhere = {nullptr};
  EXPECT_TRUE(refused(&good, &nowhere, &handle.priv));
  for (const Velmora_SR_CInputImage& bad :
       {Velmora_SR_CInputImage{nullptr, nullptr, 1, 0, 120, 110, 4},
        Velmora_SR_CInputImage{noFrames, nullptr, 1, 0, 120, 110, 4},
        Velmora_SR_CInputImage{frames, nullptr, 1, 0, 0, 110, 4},
        Velmora_SR_CInputImage{frames, nullptr, 1, 0, 120, -1, 4}}) {
    EXPECT_TRUE(refused(&bad, &goodOut, &handle.priv));
  }
  handle.pub.srImageHeight = 0;
  EXPECT_TRUE(refused(&good, &goodOut, &handle.priv));
  handle.pub.srImageHeight = 150;
  handle.priv.kernelTaps = 0;
  EXPECT_TRUE(refused(&good, &goodOut, &handle.priv));
  handle.priv.kernelTaps = 4;
  handle.priv.pub = nullptr;
  EXPECT_TRUE(refused(&good, &goodOut, &handle.priv));
}

}  // namespace
