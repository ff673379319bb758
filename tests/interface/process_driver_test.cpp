// Scene 0 from end to end, and what every scene does around its stages.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <new>
#include <string>
#include <vector>

#include "interface/interposers.h"
#include "interface/session.h"
#include "support/random.h"
#include "support/scratch_directory.h"
#include "support/test_allocator.h"
#include "velmora_sr/interpolation.h"
#include "velmora_sr/kernel_tables.h"
#include "velmora_sr/records.h"

namespace velmora::test {
namespace {

using namespace std::string_literals;
using testing::ElementsAreArray;
using Lines = std::vector<LogLine>;

/// A call on frames of noise.
struct NoiseCall : Call {
  NoiseCall(int32_t width, int32_t height, int32_t format, Region region, int32_t outWidth,
            int32_t outHeight)
      : Call(width, height, format, region, outWidth, outHeight),
        frame(Random(7).bytes(frameBytes(width, height))),
        second(Random(8).bytes(frame.size())) {
    input.leftData = frame.data();
    input.rightData = input.leftData2 = second.data();
  }
  std::vector<uint8_t> frame;
  std::vector<uint8_t> second;
};

TEST(SceneSingle, IsTheOneFrameInterpolationOfTheCallersRegion) {
  const struct {
    int32_t width, height;
    Region region;
    int32_t outWidth, outHeight;
    bool replaced = false;
  } cases[] = {
      {200, 160, whole(200, 160), 400, 320},    // plain enlargement
      {200, 160, {31, 7, 130, 106}, 400, 320},  // odd region of the least size
      {151, 133, whole(151, 133), 233, 377},    // odd sizes everywhere
      {160, 200, whole(160, 200), 50, 41},      // smaller
      {128, 120, whole(128, 120), 128, 120},    // equal: no copy, the sharp kernel has no identity
      {640, 480, {0, 0, 97, 479}, 128, 96, true},   // too narrow: the default region
      {640, 480, {0, 0, 640, 479}, 128, 96, true},  // outside: the default region
      {16, 8, whole(16, 8), 32, 16, true},          // default region outside of the frame
      {2, 2, whole(2, 2), 9, 7, true},
  };
  for (const auto& c : cases) {
    for (const int32_t format : {4, 5, 0}) {
      const Session session(c.width, c.height, 0);
      NoiseCall call(c.width, c.height, format, c.region, c.outWidth, c.outHeight);
      const std::vector<uint8_t> frame = call.frame;
      SCOPED_TRACE(joined(testing::PrintToString(c.region), " of ", c.width, "x", c.height,
                          ", format ", format));
      LogCapture log;
      EXPECT_EQ(call.run(session), 0);
      Lines lines = maskedLines(log);
      if (c.replaced) lines.erase(lines.begin() + 6, lines.begin() + 8);
      EXPECT_THAT(lines, ElementsAreArray(openingLines(session, call) +
                                          Lines{dumpLine(), dumpLine()} + closingLines()));
      EXPECT_EQ(call.frame, frame) << "scene 0 does not change its input";
      // The region is reported as given even where the interpolation replaced it.
      EXPECT_EQ(call.reportedRegion(), c.region);
      EXPECT_EQ(zelkParamPrivate.registFailed, 1);
      EXPECT_EQ(zelkParamPrivate.pub, session.handle());

      // The steps alone give the same bytes from the same requests, but the frame record's.
      const std::vector<uint32_t> requests = TestAllocator::requests();
      TestAllocator::reset();
      std::vector<uint8_t> expected(call.data.size(), Call::kUntouched);
      uint8_t* first = call.frame.data();
      Velmora_SR_CInputImage in = {&first, nullptr, 1, 0, c.width, c.height, format};
      Velmora_SR_COutPutImage out = {expected.data()};
      ASSERT_EQ(SRInterpolation_Single(&in, &out, &zelkParamPrivate), 0);
      EXPECT_EQ(call.data, expected);
      EXPECT_FALSE(call.outputUntouched());
      EXPECT_EQ(std::vector<uint32_t>(requests.begin() + 1, requests.end()),
                TestAllocator::requests());
      EXPECT_EQ(requests.size(), 9u);
      EXPECT_EQ(TestAllocator::live(), 0u);
      EXPECT_EQ(TestAllocator::faults(), "");
    }
  }
}

TEST(SceneSingle, TwelveMegapixels) {
#if !defined(NDEBUG) || defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "runs in the release build";
#endif
  constexpr int32_t kWidth = 4000, kHeight = 3000;
  const Session session(kWidth, kHeight, 0);
  NoiseCall call(kWidth, kHeight, 5, whole(kWidth, kHeight), kWidth, kHeight);
  std::fill_n(call.frame.begin(), kWidth * kHeight, uint8_t{161});
  EXPECT_EQ(call.run(session), 0);
  EXPECT_TRUE(call.data == call.frame);
}

// --- what goes wrong

int allocationsUntilThrow = -1;

void* throwingAlloc(uint32_t size, const char* tag, int32_t reserved) {
  if (allocationsUntilThrow-- == 0) throw std::bad_alloc();
  return TestAllocator::alloc(size, tag, reserved);
}

TEST(ProcessFailures, EveryRequestThatFailsOrThrowsLeavesTheOutputUntouched) {
  Velmora_SR_CreateParams params = parameters(120, 110, 0);
  params.alloc = throwingAlloc;
  const Session session(params);
  NoiseCall call(120, 110, 4, whole(120, 110), 240, 220);
  EXPECT_EQ(call.run(session), 0);
  EXPECT_FALSE(call.outputUntouched());
  const auto requests = static_cast<int>(TestAllocator::requests().size());
  for (int n = 0; n < 2 * requests; ++n) {
    const bool throws = n >= requests;
    SCOPED_TRACE(joined("request ", n % requests, throws ? " throws" : ""));
    std::fill(call.data.begin(), call.data.end(), Call::kUntouched);
    TestAllocator::reset();
    (throws ? allocationsUntilThrow = n - requests : (TestAllocator::failRequest(n), 0));
    LogCapture log;
    EXPECT_EQ(call.run(session), 0);
    EXPECT_EQ(TestAllocator::requests().size(), static_cast<std::size_t>(n % requests) + !throws)
        << "nothing is asked for after a failure";
    EXPECT_EQ(TestAllocator::live(), 0u);
    EXPECT_EQ(TestAllocator::faults(), "");
    EXPECT_TRUE(call.outputUntouched());
    EXPECT_EQ(call.reportedRegion(), whole(120, 110));
    const Lines lines = maskedLines(log);
    EXPECT_EQ(Lines(lines.end() - 2, lines.end()), closingLines());
    EXPECT_THAT(lines,
                testing::Contains(testing::AllOf(
                    testing::Field(&LogLine::priority, kError),
                    testing::Field(&LogLine::text,
                                   testing::HasSubstr(throws ? "Process stopped: std::bad_alloc\n"
                                                             : "alloc memory failed.")))));
  }
  EXPECT_EQ(call.run(session), 0);
  EXPECT_FALSE(call.outputUntouched()) << "the handle survives";
}

/// A session whose kernel file holds these bytes.
struct KernelFile {
  explicit KernelFile(const std::string& bytes) : path(scratch.path("zelk_kernel")) {
    writeFile(path, bytes);
    params = parameters(120, 110, 0);
    params.kernelFileName = path.c_str();
  }
  ScratchDirectory scratch;
  std::string path;
  Velmora_SR_CreateParams params;
};

TEST(ProcessFailures, WithoutWhatTheStagesNeedNothingIsWritten) {
  const KernelFile empty(""), tooShort("\x32\0\0"s);  // for the phase count
  Velmora_SR_CreateParams noFree = parameters(120, 110, 0);
  noFree.free = nullptr;
  const std::pair<Velmora_SR_CreateParams, std::string> cases[] = {
      {empty.params, "no kernel tables."},
      {tooShort.params, "no kernel tables."},
      {noFree, "no allocator functions."}};
  for (const auto& [params, reason] : cases) {
    const Session session(params);
    session.handle()->kernelFileName[0] = '\0';  // as the opening lines have it
    for (const int32_t scene : {0, 1, 2}) {
      NoiseCall call(120, 110, 4, whole(120, 110), 240, 220);
      session.handle()->srScene = scene;
      LogCapture log;
      EXPECT_EQ(call.run(session, 2), 0);
      EXPECT_THAT(maskedLines(log),
                  ElementsAreArray(
                      openingLines(session, call) +
                      Lines{error("NB7UO_ZELK: " + reason + " The output is left untouched.\n")} +
                      closingLines()));
      EXPECT_TRUE(call.outputUntouched());
      EXPECT_EQ(call.reportedRegion(), whole(120, 110));
      EXPECT_TRUE(TestAllocator::requests().empty());
    }
  }
}

TEST(ProcessFailures, MissingKernelRowsAreZero) {
  const KernelFile file("\x0A\0\0\0\x40"s);  // ten phases, and then half a value
  const Session session(file.params);
  ASSERT_NE(Lanczos1D_4_2_Fix, nullptr);
  NoiseCall call(120, 110, 4, whole(120, 110), 240, 220);
  EXPECT_EQ(call.run(session), 0);
  EXPECT_EQ(call.data, std::vector<uint8_t>(call.data.size(), 0));
}

TEST(ProcessFailures, UnknownFormatsAreNotWritten) {
  for (const int32_t scene : {0, 1, 2}) {
    const Session session(120, 110, scene);
    for (const int32_t format : {1, 6, -4}) {
      NoiseCall call(120, 110, format, whole(120, 110), 240, 220);
      LogCapture log;
      EXPECT_EQ(call.run(session, 2), 0);
      EXPECT_TRUE(call.outputUntouched());
      EXPECT_EQ(TestAllocator::live(), 0u);
      const std::string line =
          scene == 0 ? joined("SRInterpolation_Single: unknown image format: ", format, "\n")
                     : "UnSupport image format!\n";
      EXPECT_THAT(log.takeTexts(), testing::Contains(testing::EndsWith(line)));
    }
  }
}

// --- dumps

TEST(Dumps, HoldTheFramesAndTheResult) {
  const std::vector<std::string> kinds[] = {{"single"}, {"left", "right"}, {"left1", "left2"}};
  for (const int32_t scene : {0, 1, 2}) {
    const DumpRedirection redirection;
    setSystemProperty("persist.camera.nb7uo.zelk.yuv", "1");
    const Session session(121, 110, scene);
    NoiseCall call(121, 110, 5, whole(121, 110), 240, 221);
    call.output.format = 77;
    LogCapture log;
    EXPECT_EQ(call.run(session, 2), 0);
    setSystemProperty("persist.camera.nb7uo.zelk.yuv", "");
    std::map<std::string, std::string> dumps;  // by what follows the time stamp
    std::map<std::string, std::string> stamps;
    for (const auto& [name, content] : redirection.files()) {
      const std::size_t split = name.find("_sr_");
      dumps[name.substr(split)] = content;
      stamps[name.substr(split)] = name.substr(0, split);
    }
    // 121 * 110 * 3 / 2 bytes: the chroma of an odd frame ends before that.
    std::map<std::string, std::string> expected = {
        {"_sr_result_w240_h221_f77.yuv", {call.data.begin(), call.data.end()}}};
    const std::string size = "_w121_h110_f5.yuv";
    const std::vector<uint8_t>* frame = &call.frame;
    for (const std::string& kind : kinds[scene]) {
      expected["_sr_" + kind + size] = {frame->begin(), frame->end()};
      frame = &call.second;
    }
    EXPECT_TRUE(dumps == expected) << scene;
    EXPECT_EQ(stamps["_sr_" + kinds[scene].front() + size],
              stamps["_sr_" + kinds[scene].back() + size])
        << "both frames share one time stamp";
  }
}

}  // namespace
}  // namespace velmora::test
