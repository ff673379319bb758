// Scenes 1 and 2 from end to end: registered pairs, pairs that cannot be registered, and the valid
// region on its way through the call.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cfenv>
#include <cmath>
#include <limits>
#include <map>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#ifdef __SSE__
#include <xmmintrin.h>
#endif

#include "geometry/valid_region.h"
#include "interface/session.h"
#include "interface/textured_frame.h"
#include "interpolation/functions.h"
#include "registration/functions.h"
#include "support/heap_faults.h"
#include "support/test_allocator.h"
#include "velmora_sr/interface.h"
#include "velmora_sr/platform.h"
#include "velmora_sr/records.h"
#include "velmora_sr/report.h"

namespace velmora::test {
namespace {

using Lines = std::vector<LogLine>;

const std::vector<uint8_t> kFlat(frameBytes(kWidth, kHeight), 120);

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

/// What a call logs of its region: registered, evened, and, where that is too small, replaced.
Lines regionLines(bool registers, const Region& area, const Region& even, const Region& used) {
  const std::string single = "Registration Failed. Enter Single SR Mode.\n\t\t\t";
  const std::string zelk = "NB7UO_ZELK: ", params = " valid region params: [";
  Lines lines = {info(zelk + (registers ? "" : single) + fourValues("vrSR", area) + "\n"),
                 info(zelk + fourValues("vr", even) + "\n")};
  if (even == used) return lines;
  lines.push_back(error(zelk + "invalid" + params + fourValues("vr", even) + "].\n"));
  lines.push_back(error(zelk + "use default" + params + fourValues("vr", used) + "].\n"));
  return lines;
}

Region evenIntersection(const Region& a, const Region& b) {
  const auto up = [](int32_t v) { return v + v % 2; };
  const auto down = [](int32_t v) { return v - v % 2; };
  return {up(std::max(a.startW, b.startW)), up(std::max(a.startH, b.startH)),
          down(std::min(a.endW, b.endW)), down(std::min(a.endH, b.endH))};
}

// --- pairs that register, and pairs that do not

TEST(Pairs, TranscriptRegionAndFramesOfBothScenes) {
  struct Second {
    const std::vector<uint8_t>& frame;
    Region covered;  // what both frames show, in pixels of the first; all 0: not registered
  };
  const Second same = {frameAt(0, 0), {0, 0, 479, 399}};
  const Second rightUp = {frameAt(12, -8), {12, 0, 479, 391}};
  const Second leftDown = {frameAt(-6, 20), {0, 20, 473, 399}};
  const Second flat = {kFlat, {0, 0, 0, 0}};
  const struct {
    const Second& second;
    Region asked;
    bool replaced;
  } cases[] = {
      {same, whole(kWidth, kHeight), false},
      {rightUp, whole(kWidth, kHeight), false},
      {leftDown, whole(kWidth, kHeight), false},
      {rightUp, {100, 60, 399, 299}, false},  // inside of what is registered: kept
      {rightUp, {101, 61, 400, 300}, false},  // odd starts go up
      {rightUp, {0, 0, 240, 399}, false},     // narrowed on the left
      {rightUp, {-4, -3, 479, 399}, false},   // negative: narrowed to what is registered
      {rightUp, {0, 0, 100, 399}, true},      // too narrow once the left is cut
      {rightUp, {300, 40, 200, 350}, true},   // turned around
      {rightUp, {0, 300, 479, 398}, true},    // 98 rows
      {flat, whole(kWidth, kHeight), false},
      {flat, {31, 20, 400, 301}, false},
      {flat, {-1, 0, 478, 398}, true},
      {flat, {0, 0, 480, 398}, true},
      {flat, {20, 20, 118, 300}, true},
      {flat, {21, 20, 121, 300}, true},  // evening takes a column too many
      {flat, {20, 20, 120, 120}, false},
  };
  for (const int32_t scene : {1, 2}) {  // which is also the least count of frames
    for (const auto& [second, asked, replaced] : cases) {
      SCOPED_TRACE(joined("scene ", scene, ", region ", testing::PrintToString(asked)));
      const bool registers = &second != &flat;
      std::optional<Session> session(std::in_place, kWidth, kHeight, scene);
      PairCall call(frameAt(0, 0), second.frame, asked);
      LogCapture log;
      EXPECT_EQ(call.run(*session, scene), 0);
      const Lines lines = maskedLines(log);
      const Velmora_SR_Report report = reportOf(session->handle());
      const Region registered = {report.left, report.top, report.right, report.bottom};
      EXPECT_NEAR(registered.startW, second.covered.startW, 2);
      EXPECT_NEAR(registered.startH, second.covered.startH, 2);
      EXPECT_NEAR(registered.endW, second.covered.endW, 2);
      EXPECT_NEAR(registered.endH, second.covered.endH, 2);

      const Region narrowed = evenIntersection(asked, registers ? registered : asked);
      const Region used = replaced ? Region{150, 150, 328, 248} : narrowed;
      EXPECT_EQ(lines, openingLines(*session, call) + Lines{dumpLine()} +
                           regionLines(registers, registered, narrowed, used) + Lines{dumpLine()} +
                           closingLines());
      EXPECT_EQ(call.reportedRegion(), used);
      EXPECT_EQ(zelkParamPrivate.registFailed, registers ? 0 : 1);
      EXPECT_EQ(zelkParamPrivate.posMap1, nullptr) << "the maps are gone with the call";
      EXPECT_EQ(zelkParamPrivate.posMap2, nullptr);
      EXPECT_EQ(call.second, second.frame) << "the second frame is never changed";
      if (registers && asked != whole(kWidth, kHeight)) continue;
      session.reset();
      const std::vector<uint8_t> alone = enlargedAlone(frameAt(0, 0), used);
      EXPECT_EQ(call.data == alone, !registers);
      EXPECT_GT(psnr(call.data, alone, kOutWidth * kOutHeight), 30);
      EXPECT_GT(psnr(call.data, alone, call.data.size()), 30);
      EXPECT_TRUE(registers || call.first == frameAt(0, 0)) << "nothing is de-ghosted";
    }
  }
}

bool flushesSubnormals() {
  volatile float smallest = std::numeric_limits<float>::min();
  return smallest / 2 == 0;
}

TEST(RegisteredPair, DependsOnNothingButItsFrames) {
  PairCall good(frameAt(0, 0), frameAt(-6, 20));
  std::vector<uint32_t> requests;
  {
    const Session session(kWidth, kHeight, 1);
    PairCall failing(frameAt(0, 0), kFlat);
    EXPECT_EQ(failing.run(session), 0);
    EXPECT_EQ(zelkParamPrivate.registFailed, 1);
    TestAllocator::reset();
    EXPECT_EQ(good.run(session), 0);
    EXPECT_EQ(zelkParamPrivate.registFailed, 0);
    requests = TestAllocator::requests();
  }
  // The other scene, in whatever floating-point environment the host has.
  for (const int rounding : {FE_TONEAREST, FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
    SCOPED_TRACE(rounding);
    PairCall call(frameAt(0, 0), frameAt(-6, 20));
    const Velmora_SR_CreateParams params = parameters(kWidth, kHeight, 2);
    SR_ParamsPublic* handle = nullptr;
    TestAllocator::reset();
    std::fenv_t ours;
    std::fegetenv(&ours);
    std::fesetround(rounding);
    feenableexcept(FE_DIVBYZERO | FE_INVALID | FE_OVERFLOW);  // where the processor has traps
#ifdef __SSE__
    _mm_setcsr(_mm_getcsr() | 0x8040);
#endif
    std::feraiseexcept(FE_UNDERFLOW | FE_INEXACT);
    const auto environment = [] {
      return std::tuple{std::fetestexcept(FE_ALL_EXCEPT), fegetexcept(), std::fegetround(),
                        flushesSubnormals()};
    };
    const auto before = environment();
    int32_t codes = VELMORA_SR_Create(&params, &handle);
    codes |= VELMORA_SR_Process(handle, &call.input, 2, &call.output);
    codes |= VELMORA_SR_Destroy(&handle);
    EXPECT_EQ(environment(), before);
    std::fesetenv(&ours);
    EXPECT_EQ(codes, 0);
    EXPECT_TRUE(call.data == good.data && call.first == good.first);
    EXPECT_EQ(TestAllocator::requests(), requests);
  }
}

TEST(RegisteredPair, FramesThatShareMemoryGiveWhatTwoFramesGive) {
  constexpr std::ptrdiff_t bytes = kWidth * kHeight * 3 / 2;
  for (const std::ptrdiff_t offset : std::initializer_list<std::ptrdiff_t>{
           0, 8 * kWidth + 4, -4 * kWidth, bytes - 1, bytes, -bytes}) {
    SCOPED_TRACE(offset);
    const bool overlaps = offset != bytes && offset != -bytes;
    std::vector<uint8_t> memory = texturedFrame(kWidth, 3 * kHeight, 0, 0);
    uint8_t* const first = memory.data() + bytes;
    PairCall apart({first, first + bytes}, {first + offset, first + offset + bytes});
    PairCall call(apart.first, apart.second);
    call.input.leftData = first;
    call.input.rightData = call.input.leftData2 = first + offset;
    const Session session(kWidth, kHeight, 2);
    EXPECT_EQ(apart.run(session), 0);
    std::vector<uint32_t> expected = TestAllocator::requests();
    if (overlaps) expected.insert(expected.begin() + 2, static_cast<uint32_t>(bytes));
    TestAllocator::reset();
    EXPECT_EQ(call.run(session), 0);
    EXPECT_TRUE(call.data == apart.data);
    EXPECT_TRUE(std::equal(apart.first.begin(), apart.first.end(), first));
    EXPECT_EQ(TestAllocator::requests(), expected);
    if (!overlaps) continue;
    call.data.assign(call.data.size(), Call::kUntouched);
    TestAllocator::failRequest(2);
    LogCapture log;
    EXPECT_EQ(call.run(session), 0);
    EXPECT_TRUE(call.outputUntouched());
    EXPECT_THAT(log.take(),
                testing::Contains(
                    error("NB7UO_ZELK: alloc memory failed. The output is left untouched.\n")));
  }
}

// --- what goes wrong

TEST(Failures, EveryRequestThatFailsEndsInOneFrameOrNone) {
  const std::vector<uint8_t> alone = enlargedAlone(frameAt(0, 0), {0, 0, 478, 398});
  for (const int32_t scene : {0, 1}) {
    const Session session(kWidth, kHeight, scene);
    int enlarged = 0, none = 0;
    for (int n = 0;; ++n) {
      SCOPED_TRACE(joined("scene ", scene, ", request ", n));
      PairCall call(frameAt(0, 0), frameAt(12, -8));
      LogCapture log;
      {
        // Both the caller's allocator and the stages' own scratch end in malloc.
        const HeapFaults failure(n);
        EXPECT_EQ(call.run(session), 0);
        EXPECT_EQ(failure.live(), 0u);
        if (failure.requests() <= n) break;  // nothing has failed any more
      }
      EXPECT_EQ(call.second, frameAt(12, -8));
      const Velmora_SR_Report report = reportOf(session.handle());
      EXPECT_EQ(report.cause, VELMORA_SR_CAUSE_MEMORY);
      EXPECT_EQ(report.fused, 0);
      EXPECT_EQ(report.written, call.outputUntouched() ? 0 : 1);
      const Lines lines = maskedLines(log);
      EXPECT_EQ(Lines(lines.end() - 2, lines.end()), closingLines());
      EXPECT_TRUE(report.written == 0 || call.data == alone);
      ++(report.written == 0 ? none : enlarged);
    }
    // The maps and registration's scratch end in one frame; the pointer arrays and planes in none.
    EXPECT_TRUE(scene == 1 ? enlarged > 5 : enlarged == 0);
    EXPECT_GT(none, 5);
  }
}

/// A kernel that fails on the workers and does nothing on the caller.
const std::thread::id testThread = std::this_thread::get_id();
constexpr auto failing = [](auto...) {
  if (std::this_thread::get_id() != testThread) throw std::bad_alloc();
};

int requestsUntilThrow = -1;
void* throwingAlloc(uint32_t size, const char* tag, int32_t reserved) {
  if (requestsUntilThrow-- == 0) throw std::bad_alloc();
  return TestAllocator::alloc(size, tag, reserved);
}

TEST(Failures, AShareOrAnAllocatorThatThrowsEndsTheCallWithItsLine) {
  Velmora_SR_CreateParams params = parameters(kWidth, kHeight, 2);
  params.alloc = throwingAlloc;
  const Session session(params);
  auto& interpolation = const_cast<InterpolationFunctions&>(interpolationFunctions());
  auto& registration = const_cast<RegistrationFunctions&>(registrationFunctions());
  const InterpolationFunctions wholeInterpolation = interpolation;
  const RegistrationFunctions wholeRegistration = registration;
  for (int stage = 0; stage < 26; ++stage) {
    SCOPED_TRACE(stage);
    (stage == 0 ? registration.integrateRow = failing : nullptr);
    (stage == 1 ? registration.hessianRow = failing : nullptr);
    (stage == 2 ? registration.positionRow = failing : nullptr);
    (stage == 3 ? interpolation.deghostBlocks = failing : nullptr);
    (stage == 4 ? interpolation.fuseRow = failing : nullptr);
    (stage == 5 ? interpolation.mergePairs = failing : nullptr);
    requestsUntilThrow = stage < 6 ? -1 : stage - 6;
    PairCall call(frameAt(0, 0), frameAt(-6, 20));
    LogCapture log;
    EXPECT_EQ(call.run(session), 0);
    interpolation = wholeInterpolation;
    registration = wholeRegistration;
    const Lines lines = maskedLines(log);
    EXPECT_EQ(
        Lines(lines.end() - 3, lines.end()),
        Lines{error("NB7UO_ZELK: VELMORA_SR_Process stopped: std::bad_alloc\n")} + closingLines());
    EXPECT_EQ(call.outputUntouched(), stage != 5);
  }
}

/// The counting allocator, telling the log which of the long-lived blocks come and go.
std::map<const void*, std::string> kinds;
void tell(const char* what, const void* block) {
  const std::string& kind = kinds[block];
  if (!kind.empty()) __android_log_print(kInfo, "blocks", "%s %s", what, kind.c_str());
}
void* tracingAlloc(uint32_t size, const char* tag, int32_t reserved) {
  void* const block = TestAllocator::alloc(size, tag, reserved);
  kinds[block] = size == kWidth * kHeight * 4 ? "map" : size == sizeof(void*) ? "record" : "";
  tell("take", block);
  return block;
}
void tracingFree(void* block, const char* tag, int32_t reserved) {
  tell("return", block);
  TestAllocator::free(block, tag, reserved);
}

TEST(TwoFrameFlow, BlocksComeAndGoInTheOrderOfTheSteps) {
  Velmora_SR_CreateParams params = parameters(kWidth, kHeight, 2);
  params.alloc = tracingAlloc;
  params.free = tracingFree;
  const Session session(params);
  PairCall call(frameAt(0, 0), kFlat);
  LogCapture log;
  EXPECT_EQ(call.run(session), 0);
  std::vector<std::string> steps;
  for (const LogLine& line : log.take())
    if (line.tag == "blocks" || line == dumpLine()) steps.push_back(line.text);
  const std::string dump = dumpLine().text;
  EXPECT_THAT(steps, testing::ElementsAre(
                         "take record", "take record", dump, "take map", "take map", "take record",
                         "return record",  // the homography's
                         "return map", "return map", "return record", "return record", dump));
}

TEST(SR_Process, RestoresTheSecondFramesPointerAndReportsFailures) {
  const Session session(kWidth, kHeight, 1);
  PairCall call(frameAt(0, 0), kFlat);
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
  right = left;
  EXPECT_EQ(SR_Process(&in, &out, session.handle()), 0);
  EXPECT_EQ(right, left) << "not the copy that was used";
  right = call.second.data();

  in.format = 0;
  EXPECT_EQ(SR_Process(&in, &out, session.handle()), 1);
  in.format = 4;
  EXPECT_EQ(SR_Process(nullptr, &out, session.handle()), -1);
  EXPECT_EQ(SR_Process(&in, nullptr, session.handle()), -1);
  EXPECT_EQ(SR_Process(&in, &out, nullptr), -1);
  right = nullptr;
  for (uint8_t** const frames : {&right, static_cast<uint8_t**>(nullptr), &left}) {
    in.rightData = frames;
    in.width = frames == &left ? 0 : kWidth;
    EXPECT_EQ(SR_Process(&in, &out, session.handle()), -1);
  }
}

}  // namespace
}  // namespace velmora::test
