// Life of a handle, and the argument checks of the entry points.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "interface/session.h"
#include "support/heap_faults.h"
#include "support/random.h"
#include "support/test_allocator.h"
#include "thread_pool/thread_faults.h"
#include "velmora_sr/interface.h"
#include "velmora_sr/kernel_tables.h"
#include "velmora_sr/thread_pool.h"

namespace velmora::test {
namespace {

using Lines = std::vector<LogLine>;

const LogLine kNullArguments = error("NB7UO_ZELK: some input paras is NULL!!\n");

std::string inSource(const char* line, const char* function) {
  return joined(" in Line: ", line, ", in Function: ", function,
                ", in File: src/interface/source/SRInterface\n");
}

// --- creation

TEST(Create, TellsWhatItDoesAndFillsTheHandle) {
  const std::string cut(2047, 'x');
  for (const std::string& path : {std::string(), std::string("/nowhere/%d%s%n"), cut, cut + "y",
                                  cut + std::string(3000, 'z')}) {
    const std::string kernel = path.empty() ? "" : "k" + path;
    Velmora_SR_CreateParams params = parameters(1280, 720, 1);
    params.configFileName = path.empty() ? nullptr : path.c_str();
    params.kernelFileName = path.empty() ? nullptr : kernel.c_str();
    LogCapture log;
    const Session session(params);
    std::string shown = joined(
        "NB7UO_ZELK: Dual Camera Super Resolution Params:\n"
        "inImageWidth = 1280, inImageHeight = 720\n\t\tsrImageWidth = 0, srImageHeight = 0\n"
        "\t\tsrScene = 1\n\t\tzelkConfigFileName = ",
        path.empty() ? "(null)" : path,
        "\n\t\tzelkKernelFileName = ", path.empty() ? "(null)" : kernel, "\n\t\t");
    // A file is looked for under the whole of its name; the line of the parameters is cut.
    const std::string line = path.empty() ? "succeed." + inSource("176", "ParseConfigFile")
                                          : "Load Config File Succeed.  <" + path + ">\n";
    EXPECT_EQ(
        log.take(),
        bannerLines() +
            (Lines{info("NB7UO_ZELK: VELMORA_SR_Create Start.\n"), error("NB7UO_ZELK: " + line),
                   error("NB7UO_ZELK: Load kernel file failed.Use  default kernel file." +
                         inSource("130", "LoadDefaultKernelFile")),
                   info(shown.substr(0, 2047)), info("NB7UO_ZELK: VELMORA_SR_Create Finish.\n")}));
    const SR_ParamsPublic& handle = *session.handle();
    EXPECT_EQ(std::tuple(handle.state, handle.inImageWidth, handle.inImageHeight, handle.srScene,
                         handle.srImageWidth, handle.memSize, handle.memBuffer),
              std::tuple(2, 1280, 720, 1, 0, 0u, nullptr));
    EXPECT_EQ(handle.alloc, &TestAllocator::alloc);
    EXPECT_EQ(handle.free, &TestAllocator::free);
    EXPECT_EQ(handle.configFileNamePtr, params.configFileName);
    EXPECT_EQ(handle.kernelFileNamePtr, params.kernelFileName);
    EXPECT_EQ(handle.configFileName, path.substr(0, 2047));
    EXPECT_EQ(handle.kernelFileName, kernel.substr(0, 2047));
    EXPECT_TRUE(TestAllocator::requests().empty()) << "creation takes nothing from the allocator";
  }
}

TEST(Create, NullArgumentsAreRefusedAndLeaveALiveHandleItsTables) {
  const Session session(64, 48, 0);
  int16_t** const table = Lanczos2D_4_2_Fix_Sharp;
  ASSERT_NE(table, nullptr);
  const Velmora_SR_CreateParams params = parameters(64, 48, 0);
  SR_ParamsPublic* handle = session.handle();
  LogCapture log;
  EXPECT_EQ(VELMORA_SR_Create(nullptr, &handle), -1);
  EXPECT_EQ(handle, nullptr);
  EXPECT_EQ(VELMORA_SR_Create(&params, nullptr), -1);
  EXPECT_EQ(VELMORA_SR_Create(nullptr, nullptr), -1);
  const Lines refused =
      bannerLines() + Lines{info("NB7UO_ZELK: VELMORA_SR_Create Start.\n"), kNullArguments};
  EXPECT_EQ(log.take(), refused + refused + refused);
  EXPECT_EQ(Lanczos2D_4_2_Fix_Sharp, table);
}

TEST(Create, EveryHeapRequestThatFailsIsSurvived) {
  const Velmora_SR_CreateParams params = parameters(64, 48, 0);
  int16_t row[17] = {};
  int16_t* rows[] = {row};
  for (int n = 0;; ++n) {
    // Tables that a host put in place are dropped, also when the handle cannot be had.
    Lanczos1D_4_2_Fix = Lanczos1D_4_2_Fix_sharp = Lanczos2D_4_2_Fix_Sharp = rows;
    SR_ParamsPublic other = {};
    SR_ParamsPublic* handle = &other;
    LogCapture log;
    const HeapFaults failure(n);
    const int32_t code = VELMORA_SR_Create(&params, &handle);
    for (int16_t** table : {Lanczos1D_4_2_Fix, Lanczos1D_4_2_Fix_sharp, Lanczos2D_4_2_Fix_Sharp})
      EXPECT_NE(table, rows);
    EXPECT_EQ(code, n == 0 ? -1 : 0);
    EXPECT_EQ(handle == nullptr, n == 0);
    if (n == 0) {
      EXPECT_EQ(log.take(),
                bannerLines() + (Lines{info("NB7UO_ZELK: VELMORA_SR_Create Start.\n"),
                                       error("NB7UO_ZELK: VELMORA_SR_Create Failed!!\n")}));
    } else {
      EXPECT_EQ(VELMORA_SR_Destroy(&handle), 0);
    }
    EXPECT_EQ(failure.live(), 0u);
    if (failure.requests() <= n) break;  // nothing has failed any more
  }
}

TEST(Create, WithoutThreadsStillDeliversTheHandle) {
  const Velmora_SR_CreateParams params = parameters(64, 48, 0);
  SR_ParamsPublic* handle = nullptr;
  LogCapture log;
  threadFaults = {.failCreateAt = 0};
  EXPECT_EQ(VELMORA_SR_Create(&params, &handle), -1);
  threadFaults = {};
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(handle->state, 2);
  const Lines lines = log.take();
  ASSERT_EQ(lines.size(), 9u);
  EXPECT_EQ(lines[6],
            error("NB7UO_ZELK: unknow error info." + inSource("352", "SR_Initializtion")));
  EXPECT_EQ(VELMORA_SR_Destroy(&handle), 0);
}

TEST(Create, SecondHandleTakesOverTheTables) {
  const auto tables = [] {
    return std::tie(Lanczos1D_4_2_Fix, Lanczos1D_4_2_Fix_sharp, Lanczos2D_4_2_Fix_Sharp);
  };
  using Tables = std::tuple<int16_t**, int16_t**, int16_t**>;
  const Session first(64, 48, 0);
  const Tables firstOnes = tables();
  {
    const Session second(64, 48, 0);
    EXPECT_NE(Lanczos1D_4_2_Fix, nullptr);
    EXPECT_NE(Lanczos1D_4_2_Fix, std::get<0>(firstOnes));
  }
  EXPECT_EQ(tables(), Tables()) << "the end of the second handle has released its own";
  // The first handle's tables are lost to the library, but nobody has released them.
  tables() = firstOnes;
  EXPECT_EQ(Lanczos1D_4_2_Fix[25][1], 2303);
  EXPECT_EQ(Lanczos1D_4_2_Fix_sharp[25][1], 2624);
  EXPECT_EQ(Lanczos2D_4_2_Fix_Sharp[0][16], 3588);
}

// --- thresholds

TEST(CheckParams, ResetsThresholdsOutOfRange) {
  const struct {
    int32_t low, high;
    bool kept;
  } cases[] = {{0, 255, true}, {255, 255, true}, {0, 0, true},    {20, 60, true},
               {-1, 5, false}, {1, 256, false},  {-5, -1, false}, {60, 59, false}};
  for (const auto& [low, high, kept] : cases) {
    zelkParamPrivate.ghostLowThr = low;
    zelkParamPrivate.ghostHighThr = high;
    LogCapture log;
    EXPECT_EQ(CheckParams(), SR_RET_SUCCEED);
    EXPECT_EQ(zelkParamPrivate.ghostLowThr, kept ? low : 1) << low << ", " << high;
    EXPECT_EQ(zelkParamPrivate.ghostHighThr, kept ? high : 5) << low << ", " << high;
    EXPECT_TRUE(log.take().empty());
  }
}

// --- destruction

TEST(Destroy, ReleasesWhatIsSharedWhateverTheHandleIsUnlikeForNull) {
  const Lines start = {info("NB7UO_ZELK: VELMORA_SR_Destroy Start.\n")};
  const Lines refused =
      start + Lines{error("VELMORA_SR_Destroy: input handle is NULL or not initialized!!\n")};
  SR_ParamsPublic halfFilled = {};
  halfFilled.state = 1;
  SR_ParamsPublic *none = nullptr, *uncreated = &halfFilled, *created = nullptr;
  const Velmora_SR_CreateParams params = parameters(64, 48, 0);
  const auto shared = [] {
    return std::tuple(zelkParamPrivate.pub, zelkParamPrivate.posMap1, zelkParamPrivate.posMap2,
                      Lanczos1D_4_2_Fix, Lanczos1D_4_2_Fix_sharp, Lanczos2D_4_2_Fix_Sharp);
  };
  for (SR_ParamsPublic** const argument :
       {static_cast<SR_ParamsPublic**>(nullptr), &none, &uncreated, &created}) {
    const bool destroys = argument == &created;
    ASSERT_EQ(VELMORA_SR_Create(&params, &created), 0);
    SR_ParamsPublic* const live = created;
    int map = 0;
    zelkParamPrivate.pub = live;
    zelkParamPrivate.posMap1 = zelkParamPrivate.posMap2 = &map;
    const auto before = shared();
    LogCapture log;
    EXPECT_EQ(VELMORA_SR_Destroy(argument), destroys ? 0 : -1);
    EXPECT_EQ(log.take(),
              destroys ? start + Lines{info("NB7UO_ZELK: VELMORA_SR_Destroy Finish.\n")} : refused);
    EXPECT_EQ(shared(), argument == nullptr ? before : decltype(shared())());
    EXPECT_EQ(created, destroys ? nullptr : live);
    EXPECT_EQ(uncreated, &halfFilled);
    if (!destroys) VELMORA_SR_Destroy(&created);
  }
}

// --- arguments of a process call

class ProcessArguments : public testing::Test {
 protected:
  std::vector<uint8_t> frame = std::vector<uint8_t>(frameBytes(64, 48), 90);
  Call call{64, 48, 4, {1, 2, 60, 40}, 128, 96, frame, frame};
  ProcessArguments() { call.input.leftData2 = frame.data(); }
};

TEST_F(ProcessArguments, NullArgumentsFrameCountsAndHandlesThatAreNotCreated) {
  const Session session(64, 48, 0);
  const Lines begin = {info("NB7UO_ZELK: VELMORA_SR_Process Start.\n")};
  LogCapture log;
  EXPECT_EQ(VELMORA_SR_Process(nullptr, &call.input, 1, &call.output), -1);
  EXPECT_EQ(VELMORA_SR_Process(session.handle(), nullptr, 1, &call.output), -1);
  EXPECT_EQ(VELMORA_SR_Process(session.handle(), &call.input, 1, nullptr), -1);
  EXPECT_EQ(call.run(session, 0), -1);
  EXPECT_EQ(call.run(session, INT32_MIN), -1);
  Lines refused;
  for (int i = 0; i < 5; ++i)
    refused = refused + begin + Lines{kNullArguments};
  EXPECT_EQ(log.take(), refused);
  for (const int32_t state : {0, 1, 3, -2}) {
    session.handle()->state = state;
    EXPECT_EQ(call.run(session), -2);
    EXPECT_EQ(log.take(), begin + Lines{error("NB7UO_ZELK: input handle is not initialized!!\n")});
  }
  session.handle()->state = 2;
  EXPECT_EQ(call.reportedRegion(), (Region{0, 0, 0, 0}));
  EXPECT_EQ(session.handle()->srImageWidth, 0);
}

TEST_F(ProcessArguments, WhatIsRefusedIsNamedInTheLog) {
  // What "%d" shows of a pointer.
  const auto shown = [](const void* data) {
    return std::to_string(static_cast<int32_t>(reinterpret_cast<uintptr_t>(data)));
  };
  const std::string first = shown(call.input.leftData), second = shown(call.input.rightData),
                    third = shown(call.input.leftData2);
  const std::string atScene1 =
      " is less than 1 at scene doubleFrame_leftRight\nor input image data is null[leftData = ";
  const std::string atScene2 =
      " is less than 2 at scene doubleFrame_leftLeft\nor input image data is null[leftData1 = ";
  const struct {
    int32_t scene, frameCount;
    std::function<void(Call&)> spoil;
    int32_t code;
    std::string message;
  } cases[] = {
      {3, 1, [](Call&) {}, -4, "input srScene: 3 is not supported!!\n"},
      {-1, 1, [](Call&) {}, -4, "input srScene: -1 is not supported!!\n"},
      {0, 1, [](Call& c) { c.input.leftData = nullptr; }, -3,
       "input image pair number 1 is less than 1 at scene singleFrameZoom\n"
       "or input image data is null[leftData = 0].\n"},
      {1, 1, [](Call& c) { c.input.rightData = nullptr; }, -3,
       "input image pair number 1" + atScene1 + first + ", rightData = 0].\n"},
      {1, 7, [](Call& c) { c.input.leftData = nullptr; }, -3,
       "input image pair number 7" + atScene1 + "0, rightData = " + second + "].\n"},
      {2, 1, [](Call&) {}, -3,
       "input image pair number 1" + atScene2 + first + ", leftData2 = " + third + "].\n"},
      {2, 2, [](Call& c) { c.input.leftData2 = nullptr; }, -3,
       "input image pair number 2" + atScene2 + first + ", leftData2 = 0].\n"},
      {2, 2, [](Call& c) { c.input.leftData = nullptr; }, -3,
       "input image pair number 2" + atScene2 + "0, leftData2 = " + third + "].\n"},
      {0, 1, [](Call& c) { c.input.width = 0; }, -1, ""},
      {1, 1, [](Call& c) { c.input.height = -1; }, -1, ""},
      {2, 2, [](Call& c) { c.output.width = 0; }, -1, ""},
      {0, 1, [](Call& c) { c.output.height = -7; }, -1, ""},
      {1, 1, [](Call& c) { c.output.data = nullptr; }, -1, ""},
      {2, 2, [](Call& c) { c.input.width = c.input.height = 65536; }, -1, ""},
      {0, 1, [](Call& c) { c.output.width = c.output.height = 40000; }, -1, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(joined("case ", &c - cases));
    Call spoilt = call;
    spoilt.output.data = spoilt.data.data();
    c.spoil(spoilt);
    const auto& [in, out] = std::tie(spoilt.input, spoilt.output);
    const std::string sizes =
        joined("impossible frame size or null output data: [inWidth = ", in.width,
               ", inHeight = ", in.height, ", outWidth = ", out.width, ", outHeight = ", out.height,
               ", outData = ", out.data == nullptr ? "null" : "given", "].\n");
    const Session session(64, 48, c.scene);
    LogCapture log;
    EXPECT_EQ(spoilt.run(session, c.frameCount), c.code);
    EXPECT_EQ(log.take(), openingLines(session, spoilt) +
                              Lines{error("NB7UO_ZELK: " + (c.code == -1 ? sizes : c.message))});
    EXPECT_TRUE(spoilt.outputUntouched());
    EXPECT_EQ(spoilt.reportedRegion(), (Region{0, 0, out.width, out.height}));
    EXPECT_TRUE(TestAllocator::requests().empty());
  }
}

TEST_F(ProcessArguments, EqualSizesCopyTheFirstFrameAlsoOverItself) {
  constexpr std::ptrdiff_t kBytes = 4441;  // of 63 x 47: an odd frame copies all of its bytes
  for (const int32_t scene : {1, 2}) {
    // The copy needs no allocator.
    Velmora_SR_CreateParams params = parameters(63, 47, scene);
    params.alloc = nullptr;
    const Session session(params);
    for (const std::ptrdiff_t offset :
         std::initializer_list<std::ptrdiff_t>{0, 1, 100, -1, -100, kBytes}) {
      std::vector<uint8_t> memory = Random(3).bytes(2 * kBytes + 200);
      const auto from = memory.begin() + 100;
      std::vector<uint8_t> wanted = memory;
      std::copy(from, from + kBytes, wanted.begin() + 100 + offset);
      Call same(63, 47, 5, {1, 2, 60, 40}, 63, 47, {}, frame);
      same.input.leftData = &*from;
      same.output.data = &*from + offset;
      LogCapture log;
      EXPECT_EQ(same.run(session), 0);
      EXPECT_TRUE(memory == wanted) << offset;
      EXPECT_EQ(log.take(),
                openingLines(session, same) +
                    Lines{info("NB7UO_ZELK: output size == input size.\n"
                               "[inWidth = 63, outWidth = 63, inHeight = 47, outHeight = 47]\n"
                               "Use left data as output.\n")});
      EXPECT_EQ(same.reportedRegion(), (Region{0, 0, 63, 47}));
    }
  }
}

// --- the steps behind the entry points

TEST(Steps, SetUpAndUninitializtionUndoes) {
  LogCapture log;
  SR_ParamsPublic handle = {};
  EXPECT_EQ(SR_Initializtion(&handle), SR_RET_SUCCEED);
  EXPECT_EQ(zelkParamPrivate.kernelTaps, 4);
  log.take();
  // A second block takes the place of the first; the leak checker watches.
  for (const int failing : {-1, -1, 0}) {
    const HeapFaults failure(failing);
    handle.memSize = 17;
    EXPECT_EQ(SR_Query(nullptr, &handle), 0);
    EXPECT_EQ(SR_MemManagement(nullptr, &handle),
              failing < 0 ? SR_RET_SUCCEED : SR_RET_ALLOC_FAILED);
    EXPECT_EQ(handle.memSize, 0u) << "no stage wants a shared block";
    EXPECT_EQ(handle.memBuffer != nullptr, failing < 0);
  }
  EXPECT_EQ(SR_Initializtion(nullptr), -1);
  EXPECT_EQ(SR_MemManagement(nullptr, nullptr), SR_RET_PARAMS_OUT_OF_RANGE);
  EXPECT_EQ(log.take(),
            (Lines{error("NB7UO_ZELK: alloc memory failed." + inSource("91", "SR_MemManagement")),
                   kNullArguments, kNullArguments}));
  for (int twice = 0; twice < 2; ++twice) {
    EXPECT_EQ(SR_Uninitializtion(), 0);
    EXPECT_EQ(Lanczos1D_4_2_Fix, nullptr);
  }
}

}  // namespace
}  // namespace velmora::test
