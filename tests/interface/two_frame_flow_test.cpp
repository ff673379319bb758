// Scenes 1 and 2 from end to end: registered pairs, pairs that cannot be registered, and the valid
// region on its way through the call.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "common/valid_region.h"
#include "interface/interposers.h"
#include "interface/session.h"
#include "interface/textured_frame.h"
#include "support/heap_faults.h"
#include "support/scratch_directory.h"
#include "support/test_allocator.h"
#include "velmora_sr/interface.h"
#include "velmora_sr/platform.h"
#include "velmora_sr/records.h"
#include "velmora_sr/report.h"

namespace velmora::test {
namespace {

using testing::ElementsAreArray;

constexpr int32_t kWidth = 480, kHeight = 400;  // the least that registration works on
constexpr int32_t kOutWidth = 720, kOutHeight = 600;

/// A call with both second frames set, so that it serves scenes 1 and 2.
struct PairCall : Call {
  PairCall(std::vector<uint8_t> firstFrame, std::vector<uint8_t> secondFrame,
           Region region = whole(kWidth, kHeight), int32_t format = 4)
      : Call(kWidth, kHeight, format, region, kOutWidth, kOutHeight),
        first(std::move(firstFrame)),
        second(std::move(secondFrame)) {
    input.leftData = first.data();
    input.rightData = input.leftData2 = second.data();
  }
  std::vector<uint8_t> first;
  std::vector<uint8_t> second;
};

const std::vector<uint8_t>& frameAt(int32_t x, int32_t y) {
  static std::map<std::pair<int32_t, int32_t>, std::vector<uint8_t>> frames;
  auto& frame = frames[{x, y}];
  if (frame.empty()) frame = texturedFrame(kWidth, kHeight, x, y);
  return frame;
}

std::vector<uint8_t> flatFrame() {
  return std::vector<uint8_t>(frameBytes(kWidth, kHeight), 120);
}

/// Output of scene 0 for a frame and a region.
std::vector<uint8_t> enlargedAlone(const std::vector<uint8_t>& frame, Region region) {
  const Session session(kWidth, kHeight, 0);
  PairCall call(frame, frame, region);
  EXPECT_EQ(call.run(session), 0);
  return call.data;
}

double psnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b, std::size_t samples) {
  double sum = 0;
  for (std::size_t i = 0; i < samples; ++i)
    sum += (a[i] - b[i]) * (a[i] - b[i]);
  return 10 * std::log10(255.0 * 255.0 * static_cast<double>(samples) / std::max(sum, 1e-3));
}

std::string fourValues(const char* prefix, const Region& r) {
  return joined(prefix, "StartW = ", r.startW, ", ", prefix, "StartH = ", r.startH, ", ", prefix,
                "EndW = ", r.endW, ", ", prefix, "EndH = ", r.endH);
}

LogLine registeredLine(const Region& r) {
  return info(joined("NB7UO_ZELK: ", fourValues("vrSR", r), "\n"));
}

LogLine failedLine(const Region& r) {
  return info(joined("NB7UO_ZELK: Registration Failed. Enter Single SR Mode.\n\t\t\t",
                     fourValues("vrSR", r), "\n"));
}

LogLine evenLine(const Region& r) {
  return info(joined("NB7UO_ZELK: ", fourValues("vr", r), "\n"));
}

std::vector<LogLine> replacementLines(const Region& rejected, const Region& replacement) {
  return {error(joined("NB7UO_ZELK: invalid valid region params: [", fourValues("vr", rejected),
                       "].\n")),
          error(joined("NB7UO_ZELK: use default valid region params: [",
                       fourValues("vr", replacement), "].\n"))};
}

/// The registered area that a successful call has logged.
Region registeredArea(const std::vector<LogLine>& lines) {
  for (const LogLine& line : lines) {
    Region r = {};
    if (std::sscanf(line.text.c_str(),
                    "NB7UO_ZELK: vrSRStartW = %d, vrSRStartH = %d, vrSREndW = %d, vrSREndH = %d",
                    &r.startW, &r.startH, &r.endW, &r.endH) == 4) {
      return r;
    }
  }
  ADD_FAILURE() << "the frames were not registered";
  return {-1, -1, -1, -1};
}

Region evenIntersection(const Region& a, const Region& b) {
  const auto up = [](int32_t v) { return v + v % 2; };
  const auto down = [](int32_t v) { return v - v % 2; };
  return {up(std::max(a.startW, b.startW)), up(std::max(a.startH, b.startH)),
          down(std::min(a.endW, b.endW)), down(std::min(a.endH, b.endH))};
}

// --- pairs that register

TEST(RegisteredPair, TranscriptAndRegionOfBothScenes) {
  struct Shift {
    int32_t x, y;
    Region covered;  // what both frames show, in pixels of the first
  };
  constexpr Shift none = {0, 0, {0, 0, 479, 399}};
  constexpr Shift rightUp = {12, -8, {12, 0, 479, 391}};
  constexpr Shift leftDown = {-6, 20, {0, 20, 473, 399}};
  const struct {
    Shift shift;
    Region asked;
    bool replaced;
  } cases[] = {
      {none, whole(kWidth, kHeight), false},
      {rightUp, whole(kWidth, kHeight), false},
      {leftDown, whole(kWidth, kHeight), false},
      {rightUp, {100, 60, 399, 299}, false},  // inside of what is registered: kept
      {rightUp, {101, 61, 400, 300}, false},  // odd starts go up
      {rightUp, {0, 0, 240, 399}, false},     // narrowed on the left
      {rightUp, {-4, -3, 479, 399}, false},   // negative: narrowed to what is registered
      {rightUp, {0, 0, 100, 399}, true},      // too narrow once the left is cut
      {rightUp, {300, 40, 200, 350}, true},   // turned around
      {rightUp, {0, 300, 479, 398}, true},    // 98 rows
  };
  for (const int32_t scene : {1, 2}) {
    const Session session(kWidth, kHeight, scene);
    for (const auto& [shift, asked, replaced] : cases) {
      SCOPED_TRACE(joined("scene ", scene, ", shift ", shift.x, ", ", shift.y, ", region ",
                          testing::PrintToString(asked)));
      PairCall call(frameAt(0, 0), frameAt(shift.x, shift.y), asked);
      LogCapture log;
      EXPECT_EQ(call.run(session, 2), 0);
      const std::vector<LogLine> lines = maskedLines(log);
      const Region registered = registeredArea(lines);
      EXPECT_NEAR(registered.startW, shift.covered.startW, 2);
      EXPECT_NEAR(registered.startH, shift.covered.startH, 2);
      EXPECT_NEAR(registered.endW, shift.covered.endW, 2);
      EXPECT_NEAR(registered.endH, shift.covered.endH, 2);

      const Region narrowed = evenIntersection(asked, registered);
      const Region used = replaced ? Region{150, 150, 328, 248} : narrowed;
      EXPECT_THAT(
          lines,
          ElementsAreArray(
              openingLines(session, call) +
              std::vector<LogLine>{dumpLine(), registeredLine(registered), evenLine(narrowed)} +
              (replaced ? replacementLines(narrowed, used) : std::vector<LogLine>{}) +
              std::vector<LogLine>{dumpLine()} + closingLines()));
      EXPECT_EQ(call.reportedRegion(), used);
      EXPECT_EQ(zelkParamPrivate.registFailed, 0);
      EXPECT_EQ(zelkParamPrivate.posMap1, nullptr) << "the maps are gone with the call";
      EXPECT_EQ(zelkParamPrivate.posMap2, nullptr);
      EXPECT_EQ(TestAllocator::live(), 0u);
      EXPECT_EQ(TestAllocator::faults(), "");
    }
  }
}

TEST(RegisteredPair, OutputShowsTheFirstFrame) {
  for (const auto& [x, y] : {std::pair{0, 0}, std::pair{12, -8}}) {
    PairCall call(frameAt(0, 0), frameAt(x, y));
    EXPECT_EQ(call.run(Session(kWidth, kHeight, 1)), 0);
    EXPECT_EQ(call.second, frameAt(x, y)) << "the second frame is never changed";
    const std::vector<uint8_t> alone = enlargedAlone(frameAt(0, 0), call.reportedRegion());
    const std::size_t luma = kOutWidth * kOutHeight;
    EXPECT_NE(call.data, alone) << "nothing was fused";
    EXPECT_GT(psnr(call.data, alone, luma), 30) << x << ", " << y;
    EXPECT_GT(psnr(call.data, alone, call.data.size()), 30) << x << ", " << y;
  }
}

TEST(RegisteredPair, SceneOneAndTwoAgreeAndRepeatsAreIdentical) {
  std::vector<std::vector<uint8_t>> outputs;
  std::vector<std::vector<uint8_t>> firstFrames;
  std::vector<std::vector<uint32_t>> requests;
  for (const int32_t scene : {1, 2}) {
    const Session session(kWidth, kHeight, scene);
    for (int repeat = 0; repeat < 2; ++repeat) {
      TestAllocator::reset();
      PairCall call(frameAt(0, 0), frameAt(-6, 20));
      EXPECT_EQ(call.run(session, 2), 0);
      outputs.push_back(call.data);
      firstFrames.push_back(call.first);
      requests.push_back(TestAllocator::requests());
    }
  }
  for (std::size_t i = 1; i < outputs.size(); ++i) {
    EXPECT_TRUE(outputs[i] == outputs[0]) << i;
    EXPECT_TRUE(firstFrames[i] == firstFrames[0]) << i;
    EXPECT_EQ(requests[i], requests[0]) << i;
  }
}

// --- pairs that do not

TEST(UnregistrablePair, EqualsSceneZeroWithTheSameRegion) {
  const struct {
    Region asked, used;
    bool replaced;
  } cases[] = {
      {whole(kWidth, kHeight), {0, 0, 478, 398}, false},
      {{31, 20, 400, 301}, {32, 20, 400, 300}, false},
      {{-1, 0, 478, 398}, {-2, 0, 478, 398}, true},
      {{0, 0, 480, 398}, {0, 0, 480, 398}, true},
      {{20, 20, 118, 300}, {20, 20, 118, 300}, true},
      {{21, 20, 121, 300}, {22, 20, 120, 300}, true},  // evening takes a column too many
      {{20, 20, 120, 120}, {20, 20, 120, 120}, false},
  };
  for (const int32_t scene : {1, 2}) {
    for (const auto& c : cases) {
      SCOPED_TRACE(joined("scene ", scene, ", ", testing::PrintToString(c.asked)));
      const Region used = c.replaced ? Region{150, 150, 328, 248} : c.used;
      const std::vector<uint8_t> alone = enlargedAlone(frameAt(0, 0), used);
      const Session session(kWidth, kHeight, scene);
      PairCall call(frameAt(0, 0), flatFrame(), c.asked);
      LogCapture log;
      EXPECT_EQ(call.run(session, 2), 0);
      const std::vector<LogLine> lines = maskedLines(log);
      EXPECT_THAT(lines,
                  ElementsAreArray(
                      openingLines(session, call) +
                      std::vector<LogLine>{dumpLine(), failedLine({0, 0, 0, 0}), evenLine(c.used)} +
                      (c.replaced ? replacementLines(c.used, used) : std::vector<LogLine>{}) +
                      std::vector<LogLine>{dumpLine()} + closingLines()));
      EXPECT_EQ(call.reportedRegion(), used);
      EXPECT_EQ(zelkParamPrivate.registFailed, 1);
      EXPECT_TRUE(call.data == alone);
      EXPECT_EQ(call.first, frameAt(0, 0)) << "without registration nothing is de-ghosted";
      EXPECT_EQ(call.second, flatFrame());
      EXPECT_EQ(TestAllocator::live(), 0u);
      EXPECT_EQ(TestAllocator::faults(), "");
    }
  }
}

TEST(UnregistrablePair, FailureDoesNotLast) {
  const Session session(kWidth, kHeight, 1);
  PairCall good(frameAt(0, 0), frameAt(12, -8));
  EXPECT_EQ(good.run(session), 0);
  PairCall bad(frameAt(0, 0), flatFrame());
  EXPECT_EQ(bad.run(session), 0);
  EXPECT_EQ(zelkParamPrivate.registFailed, 1);
  PairCall again(frameAt(0, 0), frameAt(12, -8));
  EXPECT_EQ(again.run(session), 0);
  EXPECT_EQ(zelkParamPrivate.registFailed, 0);
  EXPECT_TRUE(again.data == good.data);
}

// --- what goes wrong

TEST(TwoFrameFailures, OtherFormatsAreNotWritten) {
  const Session session(kWidth, kHeight, 1);
  for (const int32_t format : {0, 1, 6}) {
    for (const bool registers : {true, false}) {
      PairCall call(frameAt(0, 0), registers ? frameAt(12, -8) : flatFrame(),
                    whole(kWidth, kHeight), format);
      LogCapture log;
      EXPECT_EQ(call.run(session), 0);
      EXPECT_THAT(log.takeTexts(),
                  testing::Contains(testing::HasSubstr("UnSupport image format!\n")));
      EXPECT_TRUE(call.outputUntouched());
      EXPECT_EQ(TestAllocator::live(), 0u);
    }
  }
}

TEST(TwoFrameFailures, EveryRequestThatFailsEndsInOneFrameOrNone) {
  // Both the caller's allocator and the stages' own scratch end in malloc.
  PairCall good(frameAt(0, 0), frameAt(12, -8));
  int requests = 0;
  {
    const Session session(kWidth, kHeight, 1);
    const HeapFaults count;
    EXPECT_EQ(good.run(session), 0);
    requests = count.requests();
    EXPECT_EQ(count.live(), 0u);
    EXPECT_GT(requests, static_cast<int>(TestAllocator::requests().size()));
  }
  const std::vector<uint8_t> alone = enlargedAlone(frameAt(0, 0), {0, 0, 478, 398});
  const Session session(kWidth, kHeight, 1);
  int enlarged = 0, none = 0;
  for (int n = 0; n < requests; ++n) {
    SCOPED_TRACE(joined("request ", n, " of ", requests));
    PairCall call(frameAt(0, 0), frameAt(12, -8));
    LogCapture log;
    {
      const HeapFaults failure(n);
      EXPECT_EQ(call.run(session), 0);
      EXPECT_EQ(failure.live(), 0u);
    }
    EXPECT_EQ(TestAllocator::live(), 0u);
    EXPECT_EQ(TestAllocator::faults(), "");
    EXPECT_EQ(call.second, frameAt(12, -8));
    const std::vector<LogLine> lines = maskedLines(log);
    EXPECT_EQ(std::vector<LogLine>(lines.end() - 2, lines.end()), closingLines());
    Velmora_SR_Report report = {};
    report.size = sizeof report;
    EXPECT_EQ(VELMORA_SR_GetReport(session.handle(), &report), 0);
    EXPECT_EQ(report.written, call.outputUntouched() ? 0 : 1);
    EXPECT_EQ(report.fused, call.data == good.data ? 1 : 0);
    EXPECT_EQ(report.cause, VELMORA_SR_CAUSE_MEMORY);
    if (call.outputUntouched()) {
      ++none;
    } else if (zelkParamPrivate.registFailed != 0) {
      EXPECT_TRUE(call.data == alone);
      ++enlarged;
    } else {
      EXPECT_TRUE(call.data == good.data);
    }
  }
  // The maps and registration's scratch end in one frame; the pointer arrays and planes in none.
  EXPECT_GT(enlarged, 5);
  EXPECT_GT(none, 5);
}

// --- the order of blocks and lines

/// The counting allocator, telling the log of the blocks that a call takes first.
struct TracingAllocator {
  static constexpr std::size_t kTraced = 4;
  static inline std::vector<const void*> blocks;

  static void* alloc(uint32_t size, const char* tag, int32_t reserved) {
    void* const block = TestAllocator::alloc(size, tag, reserved);
    if (blocks.size() < kTraced) tell("take", blocks.size());
    blocks.push_back(block);
    return block;
  }
  static void free(void* block, const char* tag, int32_t reserved) {
    const auto found = std::find(blocks.begin(), blocks.end(), block);
    const auto number = static_cast<std::size_t>(found - blocks.begin());
    if (number < kTraced) tell("return", number);
    if (found != blocks.end()) *found = nullptr;
    TestAllocator::free(block, tag, reserved);
  }
  static void tell(const char* what, std::size_t number) {
    __android_log_print(kInfo, "blocks", "%s %d", what, static_cast<int>(number));
  }
};

TEST(TwoFrameFlow, BlocksComeAndGoInTheOrderOfTheSteps) {
  Velmora_SR_CreateParams params = parameters(kWidth, kHeight, 2);
  params.alloc = TracingAllocator::alloc;
  params.free = TracingAllocator::free;
  const Session session(params);
  TracingAllocator::blocks.clear();
  PairCall call(frameAt(0, 0), flatFrame());
  LogCapture log;
  EXPECT_EQ(call.run(session, 2), 0);
  std::vector<std::string> steps;
  for (const LogLine& line : log.take()) {
    if (line.tag == "blocks" || line == dumpLine()) steps.push_back(line.text);
  }
  const std::string dump = dumpLine().text;
  EXPECT_THAT(steps,
              testing::ElementsAre("take 0", "take 1", dump,  // the frame records
                                   "take 2", "take 3",        // the position maps
                                   "return 2", "return 3", testing::AnyOf("return 0", "return 1"),
                                   testing::AnyOf("return 0", "return 1"), dump));
  const auto& requests = TestAllocator::requests();
  constexpr auto kMapBytes = static_cast<uint32_t>(kWidth * kHeight * 4);
  EXPECT_EQ(std::vector<uint32_t>(requests.begin(), requests.begin() + 4),
            (std::vector<uint32_t>{sizeof(uint8_t*), sizeof(uint8_t*), kMapBytes, kMapBytes}));
}

// --- dumps, and the flow as a function of its own

TEST(TwoFrameDumps, NameBothFrames) {
  for (const int32_t scene : {1, 2}) {
    const ScratchDirectory scratch;
    const DumpRedirection redirection(scratch.path(""));
    setSystemProperty("persist.camera.nb7uo.zelk.yuv", "1");
    const Session session(kWidth, kHeight, scene);
    PairCall call(frameAt(0, 0), flatFrame());
    EXPECT_EQ(call.run(session, 2), 0);
    setSystemProperty("persist.camera.nb7uo.zelk.yuv", "");

    std::map<std::string, std::string> dumps;  // by what follows the time stamp
    std::map<std::string, std::string> stamps;
    for (const auto& entry : std::filesystem::directory_iterator(scratch.path(""))) {
      const std::string name = entry.path().filename().string();
      const std::size_t split = name.find("_sr_");
      dumps[name.substr(split)] = readFile(entry.path().string());
      stamps[name.substr(split)] = name.substr(0, split);
    }
    const std::string left =
        scene == 1 ? "_sr_left_w480_h400_f4.yuv" : "_sr_left1_w480_h400_f4.yuv";
    const std::string right =
        scene == 1 ? "_sr_right_w480_h400_f4.yuv" : "_sr_left2_w480_h400_f4.yuv";
    ASSERT_EQ(dumps.size(), 3u);
    EXPECT_EQ(dumps[left], std::string(call.first.begin(), call.first.end()));
    EXPECT_EQ(dumps[right], std::string(call.second.begin(), call.second.end()));
    EXPECT_EQ(dumps["_sr_result_w720_h600_f4.yuv"],
              std::string(call.data.begin(), call.data.end()));
    EXPECT_EQ(stamps[left], stamps[right]) << "both frames share one time stamp";
  }
}

TEST(SR_Process, RestoresTheSecondFramesPointerAndReportsFailures) {
  const Session session(kWidth, kHeight, 1);
  PairCall call(frameAt(0, 0), flatFrame());
  setRegion(*session.handle(), {0, 0, 479, 399});
  session.handle()->srImageWidth = kOutWidth;
  session.handle()->srImageHeight = kOutHeight;
  uint8_t *left = call.first.data(), *right = call.second.data();
  Velmora_SR_CInputImage in = {&left, &right, 1, 1, kWidth, kHeight, 4};
  Velmora_SR_COutPutImage out = {call.data.data()};
  EXPECT_EQ(SR_Process(&in, &out, session.handle()), 0);
  EXPECT_EQ(right, call.second.data());
  EXPECT_EQ(regionOf(*session.handle()), (ValidRegion{0, 0, 478, 398}));
  EXPECT_FALSE(call.outputUntouched());

  in.format = 0;
  EXPECT_EQ(SR_Process(&in, &out, session.handle()), 1);

  in.format = 4;
  EXPECT_EQ(SR_Process(nullptr, &out, session.handle()), -1);
  EXPECT_EQ(SR_Process(&in, nullptr, session.handle()), -1);
  EXPECT_EQ(SR_Process(&in, &out, nullptr), -1);
  in.width = 0;
  EXPECT_EQ(SR_Process(&in, &out, session.handle()), -1);
  in.width = kWidth;
  right = nullptr;
  EXPECT_EQ(SR_Process(&in, &out, session.handle()), -1);
  in.rightData = nullptr;
  EXPECT_EQ(SR_Process(&in, &out, session.handle()), -1);
}

}  // namespace
}  // namespace velmora::test
