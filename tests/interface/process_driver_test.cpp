// Scene 0 from end to end, and what every scene does around its stages.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "interface/interposers.h"
#include "interface/session.h"
#include "support/random.h"
#include "support/scratch_directory.h"
#include "support/test_allocator.h"
#include "velmora_sr/interpolation.h"
#include "velmora_sr/records.h"

namespace velmora::test {
namespace {

using namespace std::string_literals;
using testing::ElementsAreArray;
using Lines = std::vector<LogLine>;

/// A call on frames of noise.
Call noiseCall(int32_t width, int32_t height, int32_t format, Region region, int32_t outWidth,
               int32_t outHeight) {
  const std::size_t bytes = frameBytes(width, height);
  return Call(width, height, format, region, outWidth, outHeight, Random(7).bytes(bytes),
              Random(8).bytes(bytes));
}

/// One that doubles a small frame.
Call smallCall() {
  return noiseCall(120, 110, VELMORA_SR_FORMAT_NV12, whole(120, 110), 240, 220);
}

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
      Call call = noiseCall(c.width, c.height, format, c.region, c.outWidth, c.outHeight);
      const std::vector<uint8_t> frame = call.first;
      SCOPED_TRACE(joined(testing::PrintToString(c.region), " of ", c.width, "x", c.height,
                          ", format ", format));
      LogCapture log;
      EXPECT_EQ(call.run(session), 0);
      Lines lines = maskedLines(log);
      if (c.replaced) lines.erase(lines.begin() + 6, lines.begin() + 8);
      EXPECT_THAT(lines, ElementsAreArray(openingLines(session, call) +
                                          Lines{dumpLine(), dumpLine()} + closingLines()));
      EXPECT_EQ(call.first, frame) << "scene 0 does not change its input";
      // The region is reported as given even where the interpolation replaced it.
      EXPECT_EQ(call.reportedRegion(), c.region);
      EXPECT_EQ(zelkParamPrivate.registFailed, 1);
      EXPECT_EQ(zelkParamPrivate.pub, session.handle());

      // The steps alone give the same bytes from the same requests, but the frame record's.
      const std::vector<uint32_t> requests = TestAllocator::requests();
      TestAllocator::reset();
      std::vector<uint8_t> expected(call.data.size(), Call::kUntouched);
      uint8_t* first = call.first.data();
      Velmora_SR_CInputImage in = {&first, nullptr, 1, 0, c.width, c.height, format};
      Velmora_SR_COutPutImage out = {expected.data()};
      ASSERT_EQ(SRInterpolation_Single(&in, &out, &zelkParamPrivate), 0);
      EXPECT_EQ(call.data, expected);
      EXPECT_FALSE(call.outputUntouched());
      EXPECT_EQ(std::vector<uint32_t>(requests.begin() + 1, requests.end()),
                TestAllocator::requests());
      EXPECT_EQ(requests.size(), 9u);
    }
  }
}

TEST(SceneSingle, TwelveMegapixels) {
#if !defined(NDEBUG) || defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "runs in the release build";
#endif
  const Session session(4000, 3000, 0);
  Call call = noiseCall(4000, 3000, 5, whole(4000, 3000), 4000, 3000);
  std::fill_n(call.first.begin(), 4000 * 3000, uint8_t{161});
  EXPECT_EQ(call.run(session), 0);
  EXPECT_TRUE(call.data == call.first);
}

// --- what goes wrong

TEST(ProcessFailures, WithoutWhatTheStagesNeedNothingIsWritten) {
  const ScratchDirectory scratch;
  const std::string kernels = scratch.path("zelk_kernel");
  const struct {
    const char* bytes;  // of the kernel file; null: none
    bool alloc, free;
    std::string reason;
  } cases[] = {{"", true, true, "no kernel tables."},
               {"\x32", true, true, "no kernel tables."},  // too short for the phase count
               {nullptr, true, false, "no allocator functions."},
               {nullptr, false, true, "no allocator functions."}};
  for (const auto& c : cases) {
    Velmora_SR_CreateParams params = parameters(120, 110, 0);
    if (!c.alloc) params.alloc = nullptr;
    if (!c.free) params.free = nullptr;
    if (c.bytes != nullptr) {
      writeFile(kernels, c.bytes);
      params.kernelFileName = kernels.c_str();
    }
    const Session session(params);
    EXPECT_EQ(session.handle()->alloc != nullptr, c.bytes != nullptr) << "kept as a pair only";
    EXPECT_EQ(session.handle()->free != nullptr, c.bytes != nullptr);
    session.handle()->kernelFileName[0] = '\0';  // as the opening lines have it
    for (const int32_t scene : {0, 1, 2}) {
      Call call = smallCall();
      session.handle()->srScene = scene;
      LogCapture log;
      EXPECT_EQ(call.run(session), 0);
      EXPECT_THAT(maskedLines(log),
                  ElementsAreArray(
                      openingLines(session, call) +
                      Lines{error("NB7UO_ZELK: " + c.reason + " The output is left untouched.\n")} +
                      closingLines()));
      EXPECT_TRUE(call.outputUntouched());
      EXPECT_EQ(call.reportedRegion(), whole(120, 110));
      EXPECT_TRUE(TestAllocator::requests().empty());
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
    Call call = noiseCall(121, 110, 5, whole(121, 110), 240, 221);
    call.output.format = 77;
    LogCapture log;
    EXPECT_EQ(call.run(session), 0);
    setSystemProperty("persist.camera.nb7uo.zelk.yuv", "");
    // 121 * 110 * 3 / 2 bytes: the chroma of an odd frame ends before that.
    std::map<std::string, std::string> expected = {
        {"_sr_result_w240_h221_f77.yuv", {call.data.begin(), call.data.end()}}};
    const std::vector<uint8_t>* frame = &call.first;
    for (const std::string& kind : kinds[scene]) {
      expected["_sr_" + kind + "_w121_h110_f5.yuv"] = {frame->begin(), frame->end()};
      frame = &call.second;
    }
    std::map<std::string, std::string> dumps;  // by what follows the time stamp
    std::set<std::string> stamps;              // of the frames, which share one
    for (const auto& [name, content] : redirection.files()) {
      const std::size_t split = name.find("_sr_");
      dumps[name.substr(split)] = content;
      if (name.find("result") == std::string::npos) stamps.insert(name.substr(0, split));
    }
    EXPECT_TRUE(dumps == expected) << scene;
    EXPECT_EQ(stamps.size(), 1u);
  }
}

}  // namespace
}  // namespace velmora::test
