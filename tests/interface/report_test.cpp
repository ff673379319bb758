// What VELMORA_SR_GetReport tells of each kind of call, and the functions beside it.
#include "velmora_sr/report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "interface/session.h"
#include "interface/textured_frame.h"
#include "support/scratch_directory.h"
#include "support/test_allocator.h"
#include "velmora_sr/kernel_tables.h"

namespace velmora::test {
namespace {

/// The first frame and one whose window is moved by (x, y).
PairCall pairAt(int32_t x, int32_t y) {
  return {frameAt(0, 0), frameAt(x, y)};
}

TEST(Report, OfAFusedPairHasWhatWasFound) {
  const Session session(kWidth, kHeight, 2);
  PairCall call = pairAt(12, -8);
  std::vector<uint8_t> weights(kWidth * kHeight, 7);
  ASSERT_EQ(VELMORA_SR_RequestWeights(session.handle(), weights.data()), 0);
  for (uint8_t& sample : std::span(call.second).subspan(100 * kWidth, 20 * kWidth))
    sample = 0;  // a black bar, which de-ghosting takes over
  ASSERT_EQ(call.run(session), 0);

  const Velmora_SR_Report report = reportOf(session.handle());
  EXPECT_EQ(std::tuple(report.scene, report.written, report.fused, report.registered, report.cause,
                       report.reduction, report.kernelPhases, report.ghostLow, report.ghostHigh),
            std::tuple(2, 1, 1, 1, VELMORA_SR_CAUSE_NONE, 4, 50, 1, 5));
  EXPECT_STREQ(report.reason, "");
  const Region shown = call.reportedRegion();
  EXPECT_EQ(shown, (Region{report.left + report.left % 2, report.top + report.top % 2,
                           report.right - report.right % 2, report.bottom - report.bottom % 2}));
  // The second frame shows at p what the first shows at p + (12, -8).
  const float* h = report.homography;
  ASSERT_EQ(report.hasHomography, 1);
  EXPECT_NEAR(h[2], -12, 0.5);
  EXPECT_NEAR(h[5], 8, 0.5);
  EXPECT_EQ(h[8], 1);
  int inliers = 0;
  ASSERT_GE(report.inlierCount, 10);
  for (const Velmora_SR_Match& match : std::span(report.matches, std::size_t(report.matchCount))) {
    ASSERT_LT(match.first, report.keyPointCount[0]);
    ASSERT_LT(match.second, report.keyPointCount[1]);
    if (match.inlier == 0) continue;
    ++inliers;
    const Velmora_SR_KeyPoint& a = report.keyPoints[0][match.first];
    const Velmora_SR_KeyPoint& b = report.keyPoints[1][match.second];
    EXPECT_LT(std::hypot(b.x + 12 - a.x, b.y - 8 - a.y), 6);
  }
  EXPECT_EQ(inliers, report.inlierCount);
  for (int stage = VELMORA_SR_STAGE_REDUCTION; stage <= VELMORA_SR_STAGE_INTERPOLATION; ++stage)
    EXPECT_GT(report.milliseconds[stage], 0) << stage;

  double replaced = 0;
  EXPECT_EQ((Region{report.shownLeft, report.shownTop, report.shownRight, report.shownBottom}),
            shown);
  int samples = 0;
  for (int y = shown.startH; y <= shown.endH; y += 2) {  // more than 65,536 samples: every second
    for (int x = shown.startW; x <= shown.endW; x += 2, ++samples)
      replaced += 1 - weights[std::size_t(y * kWidth + x)] / 255.0;
  }
  EXPECT_NEAR(report.replacedShare, replaced / samples, 0.002);
  EXPECT_EQ(weights[std::size_t(100 * kWidth + 200)], 0) << "row 108 of the second frame";

  // A copy fuses nothing, and has no cause either.
  call.output.width = kWidth;
  call.output.height = kHeight;
  ASSERT_EQ(call.run(session), 0);
  EXPECT_EQ(reportOf(session.handle()).written, 1);
  EXPECT_EQ(reportOf(session.handle()).fused, 0);
  EXPECT_STREQ(reportOf(session.handle()).reason, "");
  EXPECT_EQ(weights, std::vector<uint8_t>(weights.size(), 255));
}

TEST(Report, TellsWhyAndWhereACallFailed) {
  const Session session(kWidth, kHeight, 1);
  const auto expect = [&session](PairCall& call, int32_t result, int32_t stage, int32_t cause,
                                 const std::string& reason, int32_t written) {
    EXPECT_EQ(call.run(session), result);
    const Velmora_SR_Report r = reportOf(session.handle());
    EXPECT_EQ(std::tuple(r.result, r.stage, r.cause, r.reason, r.written, r.fused),
              std::tuple(result, stage, cause, reason, written, 0));
  };
  const std::vector<uint8_t> flat(frameBytes(kWidth, kHeight), 120);
  const std::string tooFlat =
      " frame has too few key points, below 5: it is too flat or too blurred";
  const struct {
    const std::vector<uint8_t>&first, &second;
    int32_t stage;
    std::string reason;
  } pairs[] = {
      {flat, frameAt(0, 0), VELMORA_SR_STAGE_DETECTOR, "the first" + tooFlat},
      {frameAt(0, 0), flat, VELMORA_SR_STAGE_DETECTOR, "the second" + tooFlat},
      {frameAt(0, 0), frameAt(9000, 0), VELMORA_SR_STAGE_SEARCH,
       "too few key points of the second frame, below 5, have a clearly nearest partner in the "
       "first"},
  };
  for (const auto& [first, second, stage, reason] : pairs) {
    PairCall call(first, second);
    expect(call, 0, stage, VELMORA_SR_CAUSE_FRAMES, reason, 1);
  }

  constexpr int32_t kCall = VELMORA_SR_STAGE_CALL, kArguments = VELMORA_SR_CAUSE_ARGUMENTS;
  PairCall call = pairAt(0, 0);
  call.input.format = 17;
  expect(call, 0, VELMORA_SR_STAGE_INTERPOLATION, kArguments,
         "the format is not handled by the scene", 0);
  call.output.width = 0;
  expect(call, -1, kCall, kArguments, "an impossible frame size, or no output data", 0);
  call.input.rightData = nullptr;
  expect(call, -3, kCall, kArguments, "a frame of the scene is missing", 0);
  session.handle()->srScene = 5;
  expect(call, -4, kCall, kArguments, "the scene is not known", 0);
  EXPECT_EQ(call.run(session, 0), -1);
  EXPECT_STREQ(reportOf(session.handle()).reason, "a null argument, or no frame");
  EXPECT_EQ(reportOf(session.handle()).result, -1);
  session.handle()->srScene = 0;
  call.input.format = 4;
  call.output.width = kOutWidth;
  session.handle()->free = nullptr;
  expect(call, 0, kCall, VELMORA_SR_CAUSE_SETUP, "no allocator functions", 0);
  session.handle()->free = TestAllocator::free;
  expect(call, 0, VELMORA_SR_STAGE_NONE, VELMORA_SR_CAUSE_NONE, "", 1);
  call.input.vrDepthEndW = kWidth;  // outside: the default region takes its place
  ASSERT_EQ(call.run(session), 0);
  EXPECT_EQ(call.reportedRegion().endW, kWidth);
  EXPECT_EQ(reportOf(session.handle()).shownRight, 328);
}

TEST(Register, IsTakenOverByTheCallForTheSameFrames) {
  const Session session(kWidth, kHeight, 2);
  PairCall alone = pairAt(12, -8);
  ASSERT_EQ(alone.run(session), 0);
  const std::size_t requests = TestAllocator::requests().size();

  PairCall call = pairAt(12, -8);
  const auto requestsOf = [&](PairCall& one) {
    const std::size_t before = TestAllocator::requests().size();
    EXPECT_EQ(one.run(session), 0);
    return TestAllocator::requests().size() - before;
  };
  ASSERT_EQ(VELMORA_SR_Register(session.handle(), &call.input, 2), 0);
  const Velmora_SR_Report found = reportOf(session.handle());
  EXPECT_EQ(found.registered, 1);
  EXPECT_EQ(found.written, 0);
  EXPECT_EQ(call.first, frameAt(0, 0));
  EXPECT_LT(requestsOf(call), requests) << "registered again";
  EXPECT_EQ(call.data, alone.data);
  EXPECT_EQ(call.first, alone.first);
  EXPECT_EQ(call.reportedRegion(), alone.reportedRegion());
  const Velmora_SR_Report report = reportOf(session.handle());
  EXPECT_EQ(report.fused, 1);
  EXPECT_EQ(report.matchCount, found.matchCount);
  EXPECT_EQ(requestsOf(call), requests) << "taken over twice";

  PairCall other = pairAt(12, -8);
  ASSERT_EQ(VELMORA_SR_Register(session.handle(), &call.input, 2), 0);
  EXPECT_EQ(requestsOf(other), requests) << "taken over by other frames";

  // A pair that does not register is not tried again.
  std::fill(call.second.begin(), call.second.end(), uint8_t{90});
  ASSERT_EQ(VELMORA_SR_Register(session.handle(), &call.input, 2), 0);
  EXPECT_EQ(reportOf(session.handle()).stage, VELMORA_SR_STAGE_DETECTOR);
  EXPECT_LT(requestsOf(call), requests);
  EXPECT_EQ(reportOf(session.handle()).written, 1);
  EXPECT_EQ(reportOf(session.handle()).stage, VELMORA_SR_STAGE_DETECTOR);

  EXPECT_EQ(VELMORA_SR_Register(nullptr, &call.input, 2), -1);
  EXPECT_EQ(VELMORA_SR_Register(session.handle(), nullptr, 2), -1);
  EXPECT_EQ(VELMORA_SR_Register(session.handle(), &call.input, 1), -3);
  call.input.width = 0;
  EXPECT_EQ(VELMORA_SR_Register(session.handle(), &call.input, 2), -1);
  session.handle()->srScene = 0;
  EXPECT_EQ(VELMORA_SR_Register(session.handle(), &call.input, 2), -4);
}

TEST(Report, GoesAsFarAsItsSizeAndToTheHandleOfTheCall) {
  const Session session(kWidth, kHeight, 2);
  const SR_ParamsPublic other = {};
  Velmora_SR_Report report;
  const struct {
    const SR_ParamsPublic* handle;
    std::size_t size;
    int32_t code;
    std::size_t filled;
  } cases[] = {
      {session.handle(), offsetof(Velmora_SR_Report, written), 0,
       offsetof(Velmora_SR_Report, written)},
      {session.handle(), sizeof report + 100, 0, sizeof report},  // of a later version
      {session.handle(), 7, -1, 7},
      {nullptr, sizeof report, -1, sizeof report},
      {&other, sizeof report, -2, sizeof report},
  };
  for (const auto& c : cases) {
    std::memset(&report, 0x5A, sizeof report);
    report.size = static_cast<uint32_t>(c.size);
    EXPECT_EQ(VELMORA_SR_GetReport(c.handle, &report), c.code);
    EXPECT_EQ(report.size, c.filled);
    EXPECT_EQ(report.scene, c.code == 0 ? 2 : 0x5A5A5A5A);
    EXPECT_EQ(report.written, c.size > sizeof report ? 0 : 0x5A5A5A5A);
  }
  EXPECT_EQ(VELMORA_SR_GetReport(session.handle(), nullptr), -1);
  EXPECT_EQ(VELMORA_SR_RequestWeights(&other, nullptr), -2);
  EXPECT_EQ(VELMORA_SR_RequestWeights(nullptr, nullptr), -1);
}

// Bytes are taken as the files that hold them, to the letter of the log.
TEST(CreateFromMemory, IsCreationFromFiles) {
  const ScratchDirectory scratch;
  const std::string xmlPath = scratch.path("zelk.xml"), kernelPath = scratch.path("zelk_kernel");
  const std::string head = "<?xml version=\"1.0\"?><Config><GhostCorrection>";
  const std::string tail = "</GhostCorrection></Config>";
  const std::string kernels =
      std::string("\2\0\0\0", 4) + std::string(2 * 2 * 34 + 2 * 2 * 8, '\1');
  const struct {
    std::string configuration, kernels;
    std::array<int32_t, 5> read;  // thresholds, whether each file was read whole, phases
  } cases[] = {
      {head + "<LowThr>3</LowThr><HighThr>9</HighThr>" + tail, kernels, {3, 9, 1, 1, 2}},
      {head + "<LowThr>2</LowThr>" + tail, kernels.substr(0, 90), {2, 5, 0, 0, 2}},
      {head + "<LowThr>9</LowThr><HighThr>3</HighThr>" + tail,
       kernels.substr(0, 3),
       {1, 5, 0, 0, 0}},
      {"no XML", std::string("\0\0\0\0", 4), {1, 5, 0, 0, 50}},
  };
  for (const auto& c : cases) {
    writeFile(xmlPath, c.configuration);
    writeFile(kernelPath, c.kernels);
    Velmora_SR_CreateParams params = parameters(kWidth, kHeight, 0);
    params.configFileName = xmlPath.c_str();
    params.kernelFileName = kernelPath.c_str();
    const auto bytes = [](const std::string& text) {
      return reinterpret_cast<const uint8_t*>(text.data());
    };
    const Velmora_SR_Tuning tuning = {bytes(c.configuration),
                                      static_cast<uint32_t>(c.configuration.size()),
                                      bytes(c.kernels), static_cast<uint32_t>(c.kernels.size())};
    std::vector<LogLine> logs[2];
    for (const bool fromMemory : {false, true}) {
      LogCapture log;
      SR_ParamsPublic* handle = nullptr;
      ASSERT_EQ(VELMORA_SR_CreateFromMemory(&params, fromMemory ? &tuning : nullptr, &handle), 0);
      logs[fromMemory] = log.take();
      const Velmora_SR_Report r = reportOf(handle);
      EXPECT_EQ(
          (std::array{r.ghostLow, r.ghostHigh, r.configurationRead, r.kernelsRead, r.kernelPhases}),
          c.read);
      EXPECT_TRUE(r.kernelsRead == 0 || Lanczos1D_4_2_Fix[1][3] == 0x101);
      VELMORA_SR_Destroy(&handle);
      std::remove(xmlPath.c_str());
      std::remove(kernelPath.c_str());
    }
    EXPECT_EQ(logs[1], logs[0]);
  }
}

}  // namespace
}  // namespace velmora::test
