// Scene 0 from end to end, and what every scene does around its stages.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <new>
#include <stdexcept>
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

/// Scene 0 on a frame of noise.
struct NoiseCall : Call {
  NoiseCall(int32_t width, int32_t height, int32_t format, Region region, int32_t outWidth,
            int32_t outHeight)
      : Call(width, height, format, region, outWidth, outHeight),
        frame(Random(7).bytes(frameBytes(width, height))) {
    input.leftData = frame.data();
  }
  std::vector<uint8_t> frame;
};

TEST(SceneSingle, Transcript) {
  const Session session(200, 160, 0);
  NoiseCall call(200, 160, 4, {3, 5, 190, 150}, 300, 200);
  LogCapture log;
  EXPECT_EQ(call.run(session), 0);
  EXPECT_THAT(maskedLines(log),
              ElementsAreArray(openingLines(session, call) +
                               std::vector<LogLine>{dumpLine(), dumpLine()} + closingLines()));
}

TEST(SceneSingle, IsTheOneFrameInterpolationOfTheCallersRegion) {
  const struct {
    int32_t width, height;
    Region region;
    int32_t outWidth, outHeight;
  } cases[] = {
      {200, 160, whole(200, 160), 400, 320},    // plain enlargement
      {200, 160, {31, 7, 130, 106}, 400, 320},  // odd region of the least size
      {151, 133, whole(151, 133), 233, 377},    // odd sizes everywhere
      {160, 200, whole(160, 200), 50, 41},      // smaller
      {128, 120, whole(128, 120), 128, 120},    // equal: no copy, the sharp kernel has no identity
      {640, 480, {0, 0, 97, 479}, 128, 96},     // too narrow: the default region
      {640, 480, {0, 0, 640, 479}, 128, 96},    // outside: the default region
      {16, 8, whole(16, 8), 32, 16},            // default region outside of the frame
      {2, 2, whole(2, 2), 9, 7},
  };
  for (const auto& c : cases) {
    for (const int32_t format : {4, 5, 0}) {
      const Session session(c.width, c.height, 0);
      NoiseCall call(c.width, c.height, format, c.region, c.outWidth, c.outHeight);
      const std::vector<uint8_t> frame = call.frame;
      SCOPED_TRACE(joined(testing::PrintToString(c.region), " of ", c.width, "x", c.height,
                          ", format ", format));
      EXPECT_EQ(call.run(session), 0);
      EXPECT_EQ(call.frame, frame) << "scene 0 does not change its input";
      // The region is reported as given even where the interpolation replaced it.
      EXPECT_EQ(call.reportedRegion(), c.region);
      EXPECT_EQ(zelkParamPrivate.registFailed, 1);
      EXPECT_EQ(zelkParamPrivate.pub, session.handle());

      std::vector<uint8_t> expected(call.data.size(), Call::kUntouched);
      uint8_t* first = call.frame.data();
      Velmora_SR_CInputImage in = {&first, nullptr, 1, 0, c.width, c.height, format};
      Velmora_SR_COutPutImage out = {expected.data()};
      ASSERT_EQ(SRInterpolation_Single(&in, &out, &zelkParamPrivate), 0);
      EXPECT_EQ(call.data, expected);
      EXPECT_FALSE(call.outputUntouched());
      EXPECT_EQ(TestAllocator::live(), 0u);
      EXPECT_EQ(TestAllocator::faults(), "");
    }
  }
}

TEST(SceneSingle, RepeatsGiveTheSameBytesFromTheSameRequests) {
  const Session session(203, 161, 0);
  NoiseCall call(203, 161, 4, whole(203, 161), 407, 322);
  EXPECT_EQ(call.run(session), 0);
  const std::vector<uint8_t> first = call.data;
  const std::vector<uint32_t> requests = TestAllocator::requests();
  EXPECT_GE(requests.size(), 6u);
  for (int repeat = 0; repeat < 3; ++repeat) {
    const std::size_t before = TestAllocator::requests().size();
    std::fill(call.data.begin(), call.data.end(), Call::kUntouched);
    EXPECT_EQ(call.run(session), 0);
    EXPECT_EQ(call.data, first);
    const auto& all = TestAllocator::requests();
    EXPECT_EQ(std::vector<uint32_t>(all.begin() + static_cast<std::ptrdiff_t>(before), all.end()),
              requests);
  }
  EXPECT_EQ(TestAllocator::live(), 0u);
  EXPECT_EQ(TestAllocator::faults(), "");
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

TEST(ProcessFailures, EveryRequestThatFailsLeavesTheOutputUntouched) {
  const Session session(120, 110, 0);
  NoiseCall call(120, 110, 4, whole(120, 110), 240, 220);
  EXPECT_EQ(call.run(session), 0);
  const auto requests = static_cast<int>(TestAllocator::requests().size());
  for (int n = 0; n < requests; ++n) {
    SCOPED_TRACE(joined("request ", n, " of ", requests));
    std::fill(call.data.begin(), call.data.end(), Call::kUntouched);
    TestAllocator::reset();
    TestAllocator::failRequest(n);
    LogCapture log;
    EXPECT_EQ(call.run(session), 0);
    EXPECT_EQ(TestAllocator::requests().size(), static_cast<std::size_t>(n) + 1)
        << "nothing is asked for after a failure";
    EXPECT_EQ(TestAllocator::live(), 0u);
    EXPECT_EQ(TestAllocator::faults(), "");
    EXPECT_TRUE(call.outputUntouched());
    EXPECT_EQ(call.reportedRegion(), whole(120, 110));

    const std::vector<LogLine> lines = maskedLines(log);
    EXPECT_EQ(std::vector<LogLine>(lines.end() - 2, lines.end()), closingLines());
    EXPECT_THAT(lines,
                testing::Contains(testing::AllOf(
                    testing::Field(&LogLine::priority, kError),
                    testing::Field(&LogLine::text, testing::HasSubstr("alloc memory failed.")))));
  }
  TestAllocator::reset();
  EXPECT_EQ(call.run(session), 0);
  EXPECT_FALSE(call.outputUntouched()) << "the handle survives";
}

int allocationsUntilThrow = 0;

void* throwingAlloc(uint32_t size, const char* tag, int32_t reserved) {
  if (allocationsUntilThrow-- == 0) throw std::bad_alloc();
  return TestAllocator::alloc(size, tag, reserved);
}

TEST(ProcessFailures, NoExceptionLeavesTheEntryPoint) {
  Velmora_SR_CreateParams params = parameters(120, 110, 0);
  params.alloc = throwingAlloc;
  const Session session(params);
  NoiseCall call(120, 110, 4, whole(120, 110), 240, 220);
  for (const int n : {0, 1, 4, 7}) {
    allocationsUntilThrow = n;
    LogCapture log;
    EXPECT_EQ(call.run(session), 0);
    EXPECT_TRUE(call.outputUntouched());
    EXPECT_EQ(TestAllocator::live(), 0u);
    const std::vector<LogLine> lines = maskedLines(log);
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines[lines.size() - 3],
              error("NB7UO_ZELK: VELMORA_SR_Process stopped: std::bad_alloc\n"));
    EXPECT_EQ(std::vector<LogLine>(lines.end() - 2, lines.end()), closingLines());
  }
}

/// A call that ends with one error line before its stages are reached.
void expectNothingWritten(const Session& session, int32_t scene, const std::string& reason) {
  NoiseCall call(120, 110, 4, whole(120, 110), 240, 220);
  std::vector<uint8_t> second = call.frame;
  call.input.rightData = call.input.leftData2 = second.data();
  LogCapture log;
  session.handle()->srScene = scene;
  EXPECT_EQ(call.run(session, 2), 0);
  EXPECT_THAT(maskedLines(log),
              ElementsAreArray(openingLines(session, call) +
                               std::vector<LogLine>{error("NB7UO_ZELK: " + reason +
                                                          " The output is left untouched.\n")} +
                               closingLines()));
  EXPECT_TRUE(call.outputUntouched());
  EXPECT_EQ(call.reportedRegion(), whole(120, 110));
  EXPECT_TRUE(TestAllocator::requests().empty());
}

TEST(ProcessFailures, WithoutAnAllocatorPair) {
  Velmora_SR_CreateParams params = parameters(120, 110, 0);
  params.free = nullptr;
  const Session session(params);
  for (const int32_t scene : {0, 1, 2})
    expectNothingWritten(session, scene, "no allocator functions.");
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

TEST(ProcessFailures, WithoutKernelTables) {
  for (const std::string& bytes : {""s, "\x32\0\0"s}) {  // too short for the phase count
    const KernelFile file(bytes);
    const Session session(file.params);
    ASSERT_EQ(Lanczos1D_4_2_Fix, nullptr);
    session.handle()->kernelFileName[0] = '\0';  // as the opening lines have it
    for (const int32_t scene : {0, 1, 2})
      expectNothingWritten(session, scene, "no kernel tables.");
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
  const Session session(120, 110, 0);
  for (const int32_t format : {1, 3, 6, -4, 17}) {
    NoiseCall call(120, 110, format, whole(120, 110), 240, 220);
    EXPECT_EQ(call.run(session), 0);
    EXPECT_TRUE(call.outputUntouched());
    EXPECT_EQ(TestAllocator::live(), 0u);
  }
}

// --- dumps

/// Content of the one dump of a kind, named "<time>_sr_<kind>_<rest>".
std::string dumpOf(const std::string& directory, const std::string& kindAndRest) {
  std::string content;
  int found = 0;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    if (!entry.path().filename().string().ends_with("_sr_" + kindAndRest)) continue;
    content = readFile(entry.path().string());
    ++found;
  }
  EXPECT_EQ(found, 1) << kindAndRest;
  return content;
}

std::string asString(const std::vector<uint8_t>& bytes) {
  return {bytes.begin(), bytes.end()};
}

TEST(Dumps, HoldTheFrameAndTheResult) {
  const ScratchDirectory scratch;
  const std::string directory = scratch.path("");
  const DumpRedirection redirection(directory);
  setSystemProperty("persist.camera.nb7uo.zelk.yuv", "1");
  const Session session(121, 110, 0);
  NoiseCall call(121, 110, 5, whole(121, 110), 240, 221);
  call.output.format = 77;
  LogCapture log;
  EXPECT_EQ(call.run(session), 0);
  setSystemProperty("persist.camera.nb7uo.zelk.yuv", "");
  // 121 * 110 * 3 / 2 bytes: the chroma of an odd frame ends before that.
  EXPECT_EQ(dumpOf(directory, "single_w121_h110_f5.yuv"), asString(call.frame));
  EXPECT_EQ(dumpOf(directory, "result_w240_h221_f77.yuv"), asString(call.data));

  std::vector<std::string> texts = log.takeTexts();
  texts.erase(texts.begin(), texts.begin() + 5);
  const auto written = [](const char* bytes, const char* rest) {
    return testing::MatchesRegex(std::string("NB7UO_ZELK: done writing ") + bytes +
                                 " bytes to file ./data/zelk/[0-9_]+_sr_" + rest + "]\n");
  };
  EXPECT_THAT(texts, testing::ElementsAre(
                         dumpLine("1").text, written("13310", "single_w121_h110_f5.yuv"),
                         written("6655", "single_w121_h110_f5.yuv"), dumpLine("1").text,
                         written("53040", "result_w240_h221_f77.yuv"),
                         written("26520", "result_w240_h221_f77.yuv"), testing::_, testing::_));
}

}  // namespace
}  // namespace velmora::test
