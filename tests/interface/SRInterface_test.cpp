// Life of a handle, and the argument checks of the entry points.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "interface/interposers.h"
#include "interface/session.h"
#include "support/heap_faults.h"
#include "support/scratch_directory.h"
#include "support/test_allocator.h"
#include "velmora_sr/interface.h"
#include "velmora_sr/kernel_tables.h"
#include "velmora_sr/thread_pool.h"

namespace velmora::test {
namespace {

std::vector<LogLine> creationLines(const LogLine& configuration, const std::string& configPath,
                                   const std::string& kernelPath) {
  return bannerLines() +
         std::vector<LogLine>{
             info("NB7UO_ZELK: VELMORA_SR_Create Start.\n"), configuration,
             error("NB7UO_ZELK: Load kernel file failed.Use  default kernel file. in Line: 130, in "
                   "Function: LoadDefaultKernelFile, in File: src/interface/source/SRInterface\n"),
             info("NB7UO_ZELK: Dual Camera Super Resolution Params:\n"
                  "inImageWidth = 640, inImageHeight = 480\n"
                  "\t\tsrImageWidth = 0, srImageHeight = 0\n"
                  "\t\tsrScene = 2\n"
                  "\t\tzelkConfigFileName = " +
                  configPath + "\n\t\tzelkKernelFileName = " + kernelPath + "\n\t\t"),
             info("NB7UO_ZELK: VELMORA_SR_Create Finish.\n")};
}

// --- creation

TEST(Create, TranscriptWithoutPaths) {
  LogCapture log;
  const Session session(640, 480, 2);
  EXPECT_THAT(log.take(), testing::ElementsAreArray(creationLines(
                              error("NB7UO_ZELK: succeed. in Line: 176, in Function: "
                                    "ParseConfigFile, in File: src/interface/source/SRInterface\n"),
                              "(null)", "(null)")));
}

TEST(Create, TranscriptAndThresholdsWithAConfiguration) {
  const struct {
    const char *low, *high;
    int32_t checkedLow, checkedHigh;
  } cases[] = {{"7", "90", 7, 90}, {"7", "3", 1, 5}};
  const ScratchDirectory scratch;
  const std::string config = scratch.path("percent_%s_%n.xml");
  for (const auto& c : cases) {
    writeFile(config,
              joined("<?xml version=\"1.0\"?><Config><GhostCorrection><LowThr>", c.low,
                     "</LowThr><HighThr>", c.high, "</HighThr></GhostCorrection></Config>"));
    Velmora_SR_CreateParams params = parameters(640, 480, 2);
    params.configFileName = config.c_str();
    params.kernelFileName = "/nowhere/%d%s/kernel";
    LogCapture log;
    const Session session(params);
    EXPECT_THAT(log.take(), testing::ElementsAreArray(creationLines(
                                error("NB7UO_ZELK: Load Config File Succeed.  <" + config + ">\n"),
                                config, "/nowhere/%d%s/kernel")));
    EXPECT_EQ(zelkParamPrivate.ghostLowThr, c.checkedLow);
    EXPECT_EQ(zelkParamPrivate.ghostHighThr, c.checkedHigh);
  }
}

TEST(Create, FillsTheHandle) {
  Velmora_SR_CreateParams params = parameters(1280, 720, 1);
  const std::string config = "/nowhere/zelk.xml", kernel = "/nowhere/zelk_kernel";
  params.configFileName = config.c_str();
  params.kernelFileName = kernel.c_str();
  const Session session(params);
  const SR_ParamsPublic& handle = *session.handle();
  EXPECT_EQ(handle.state, 2);
  EXPECT_EQ(handle.inImageWidth, 1280);
  EXPECT_EQ(handle.inImageHeight, 720);
  EXPECT_EQ(handle.srScene, 1);
  EXPECT_EQ(handle.srImageWidth, 0);
  EXPECT_EQ(handle.memSize, 0u);
  EXPECT_EQ(handle.memBuffer, nullptr);
  EXPECT_EQ(handle.alloc, &TestAllocator::alloc);
  EXPECT_EQ(handle.free, &TestAllocator::free);
  EXPECT_EQ(handle.configFileNamePtr, config.c_str());
  EXPECT_EQ(handle.kernelFileNamePtr, kernel.c_str());
  EXPECT_EQ(handle.configFileName, config);
  EXPECT_EQ(handle.kernelFileName, kernel);
  EXPECT_TRUE(TestAllocator::requests().empty()) << "creation takes nothing from the allocator";
}

TEST(Create, KeepsTheAllocatorOnlyAsAPair) {
  for (const bool haveAlloc : {false, true}) {
    Velmora_SR_CreateParams params = parameters(64, 48, 0);
    (haveAlloc ? params.free = nullptr : nullptr);
    if (!haveAlloc) params.alloc = nullptr;
    const Session session(params);
    EXPECT_EQ(session.handle()->alloc, nullptr);
    EXPECT_EQ(session.handle()->free, nullptr);
  }
}

TEST(Create, CutsPathsThatDoNotFit) {
  for (const std::size_t length : {2046u, 2047u, 2048u, 5000u}) {
    const std::string path(length, 'x');
    Velmora_SR_CreateParams params = parameters(64, 48, 0);
    params.configFileName = path.c_str();
    params.kernelFileName = path.c_str();
    LogCapture log;
    const Session session(params);
    EXPECT_EQ(session.handle()->configFileName, path.substr(0, 2047));
    EXPECT_EQ(session.handle()->kernelFileName, path.substr(0, 2047));
    EXPECT_EQ(session.handle()->kernelFileNamePtr, path.c_str());
    // The line of the parameters is cut as well.
    const std::vector<LogLine> lines = log.take();
    EXPECT_EQ(lines[lines.size() - 2].text.size(), 2047u);
    // The file is looked for under the whole of its name.
    EXPECT_EQ(lines[4], error("NB7UO_ZELK: Load Config File Succeed.  <" + path + ">\n"));
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
  const std::vector<LogLine> refused =
      bannerLines() + std::vector<LogLine>{info("NB7UO_ZELK: VELMORA_SR_Create Start.\n"),
                                           error("NB7UO_ZELK: some input paras is NULL!!\n")};
  EXPECT_EQ(log.take(), refused + refused + refused);
  EXPECT_EQ(Lanczos2D_4_2_Fix_Sharp, table);
}

TEST(Create, WithoutMemoryForTheHandle) {
  const Velmora_SR_CreateParams params = parameters(64, 48, 0);
  SR_ParamsPublic other = {};
  SR_ParamsPublic* handle = &other;
  LogCapture log;
  const HeapFaults failure(0);
  EXPECT_EQ(VELMORA_SR_Create(&params, &handle), -1);
  EXPECT_EQ(handle, nullptr);
  EXPECT_EQ(log.take(), bannerLines() + (std::vector<LogLine>{
                                            info("NB7UO_ZELK: VELMORA_SR_Create Start.\n"),
                                            error("NB7UO_ZELK: VELMORA_SR_Create Failed!!\n")}));
}

TEST(Create, EveryHeapRequestThatFailsIsSurvived) {
  const Velmora_SR_CreateParams params = parameters(64, 48, 0);
  SR_ParamsPublic* handle = nullptr;
  for (int n = 0;; ++n) {
    const HeapFaults failure(n);
    const int32_t code = VELMORA_SR_Create(&params, &handle);
    EXPECT_EQ(handle == nullptr, n == 0);
    if (handle != nullptr) {
      EXPECT_EQ(code, 0);
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
  {
    const ThreadFailure failure;
    EXPECT_EQ(VELMORA_SR_Create(&params, &handle), -1);
  }
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(handle->state, 2);
  const std::vector<LogLine> lines = log.take();
  ASSERT_EQ(lines.size(), 9u);
  EXPECT_EQ(lines[6], error("NB7UO_ZELK: unknow error info. in Line: 352, in Function: "
                            "SR_Initializtion, in File: src/interface/source/SRInterface\n"));
  EXPECT_EQ(lines[8], info("NB7UO_ZELK: VELMORA_SR_Create Finish.\n"));
  EXPECT_EQ(VELMORA_SR_Destroy(&handle), 0);
}

void releaseRows(int16_t** rows, int count) {
  for (int i = 0; i < count; ++i)
    delete[] rows[i];
  delete[] rows;
}

TEST(Create, SecondHandleTakesOverTheTables) {
  const Session first(64, 48, 0);
  int16_t** const plain = Lanczos1D_4_2_Fix;
  int16_t** const sharp = Lanczos1D_4_2_Fix_sharp;
  int16_t** const sharp2D = Lanczos2D_4_2_Fix_Sharp;
  {
    const Session second(64, 48, 0);
    EXPECT_NE(Lanczos1D_4_2_Fix, nullptr);
    EXPECT_NE(Lanczos1D_4_2_Fix, plain);
  }
  // The first handle's own tables are lost to the library, but nobody has released them.
  EXPECT_EQ(plain[25][1], 2303);
  EXPECT_EQ(sharp[25][1], 2624);
  EXPECT_EQ(sharp2D[0][16], 3588);
  releaseRows(plain, 50);
  releaseRows(sharp, 50);
  releaseRows(sharp2D, 2500);
  // The end of the second handle has released what the first one uses.
  EXPECT_EQ(Lanczos1D_4_2_Fix, nullptr);
  Call call(64, 48, 4, whole(64, 48), 128, 96);
  std::vector<uint8_t> frame(frameBytes(64, 48), 90);
  call.input.leftData = frame.data();
  EXPECT_EQ(call.run(first), 0);
  EXPECT_TRUE(call.outputUntouched());
}

TEST(Create, DropsTablesThatAHostPutInPlace) {
  int16_t row[17] = {};
  int16_t* rows[] = {row};
  Lanczos1D_4_2_Fix = Lanczos1D_4_2_Fix_sharp = Lanczos2D_4_2_Fix_Sharp = rows;
  const Velmora_SR_CreateParams params = parameters(64, 48, 0);
  SR_ParamsPublic* handle = nullptr;
  {
    const HeapFaults failure(0);
    EXPECT_EQ(VELMORA_SR_Create(&params, &handle), -1);
  }
  // Also when there is no memory for the handle: that comes first.
  EXPECT_EQ(Lanczos1D_4_2_Fix, nullptr);
  EXPECT_EQ(Lanczos1D_4_2_Fix_sharp, nullptr);
  EXPECT_EQ(Lanczos2D_4_2_Fix_Sharp, nullptr);
}

// --- thresholds

TEST(CheckParams, ResetsThresholdsOutOfRange) {
  const struct {
    int32_t low, high, checkedLow, checkedHigh;
  } cases[] = {
      {7, 3, 1, 5},   {0, 255, 0, 255}, {255, 255, 255, 255}, {0, 0, 0, 0},     {-1, 5, 1, 5},
      {1, 256, 1, 5}, {256, 300, 1, 5}, {-5, -1, 1, 5},       {20, 60, 20, 60}, {60, 59, 1, 5},
  };
  for (const auto& c : cases) {
    zelkParamPrivate.ghostLowThr = c.low;
    zelkParamPrivate.ghostHighThr = c.high;
    LogCapture log;
    EXPECT_EQ(CheckParams(), SR_RET_SUCCEED);
    EXPECT_EQ(zelkParamPrivate.ghostLowThr, c.checkedLow) << c.low << ", " << c.high;
    EXPECT_EQ(zelkParamPrivate.ghostHighThr, c.checkedHigh) << c.low << ", " << c.high;
    EXPECT_TRUE(log.take().empty());
  }
}

// --- destruction

TEST(Destroy, ReleasesEverythingAndClearsThePointer) {
  const Velmora_SR_CreateParams params = parameters(64, 48, 0);
  SR_ParamsPublic* handle = nullptr;
  ASSERT_EQ(VELMORA_SR_Create(&params, &handle), 0);
  int map = 0;
  zelkParamPrivate.pub = handle;
  zelkParamPrivate.posMap1 = zelkParamPrivate.posMap2 = &map;
  LogCapture log;
  EXPECT_EQ(VELMORA_SR_Destroy(&handle), 0);
  EXPECT_EQ(log.take(), (std::vector<LogLine>{info("NB7UO_ZELK: VELMORA_SR_Destroy Start.\n"),
                                              info("NB7UO_ZELK: VELMORA_SR_Destroy Finish.\n")}));
  EXPECT_EQ(handle, nullptr);
  EXPECT_EQ(Lanczos1D_4_2_Fix, nullptr);
  EXPECT_EQ(Lanczos1D_4_2_Fix_sharp, nullptr);
  EXPECT_EQ(Lanczos2D_4_2_Fix_Sharp, nullptr);
  EXPECT_EQ(zelkParamPrivate.pub, nullptr);
  EXPECT_EQ(zelkParamPrivate.posMap1, nullptr);
  EXPECT_EQ(zelkParamPrivate.posMap2, nullptr);
}

TEST(Destroy, UnusableHandleStillReleasesWhatIsSharedUnlikeNull) {
  SR_ParamsPublic halfFilled = {};
  halfFilled.state = 1;
  SR_ParamsPublic* none = nullptr;
  SR_ParamsPublic* uncreated = &halfFilled;
  SR_ParamsPublic** const arguments[] = {&none, &uncreated, nullptr};
  for (SR_ParamsPublic** const argument : arguments) {
    const Session session(64, 48, 0);
    LogCapture log;
    EXPECT_EQ(VELMORA_SR_Destroy(argument), -1);
    EXPECT_EQ(log.take(),
              (std::vector<LogLine>{
                  info("NB7UO_ZELK: VELMORA_SR_Destroy Start.\n"),
                  error("VELMORA_SR_Destroy: input handle is NULL or not initialized!!\n")}));
    EXPECT_EQ(Lanczos2D_4_2_Fix_Sharp == nullptr, argument != nullptr);
  }
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(uncreated, &halfFilled);
}

// --- arguments of a process call

class ProcessArguments : public testing::Test {
 protected:
  ProcessArguments() : frame(frameBytes(64, 48), 90), call(64, 48, 4, {1, 2, 60, 40}, 128, 96) {
    call.input.leftData = frame.data();
    call.input.rightData = frame.data();
    call.input.leftData2 = frame.data();
    TestAllocator::reset();
  }

  void expectRefusal(int32_t scene, int32_t frameCount, int32_t code, const std::string& message) {
    const Session session(64, 48, scene);
    LogCapture log;
    EXPECT_EQ(call.run(session, frameCount), code);
    EXPECT_THAT(log.take(),
                testing::ElementsAreArray(openingLines(session, call) +
                                          std::vector<LogLine>{error("NB7UO_ZELK: " + message)}));
    EXPECT_TRUE(call.outputUntouched());
    EXPECT_EQ(call.reportedRegion(), (Region{0, 0, call.output.width, call.output.height}));
    EXPECT_TRUE(TestAllocator::requests().empty());
  }

  std::vector<uint8_t> frame;
  Call call;
};

TEST_F(ProcessArguments, NullArgumentsAndFrameCounts) {
  const Session session(64, 48, 0);
  const std::vector<LogLine> refused = {info("NB7UO_ZELK: VELMORA_SR_Process Start.\n"),
                                        error("NB7UO_ZELK: some input paras is NULL!!\n")};
  LogCapture log;
  EXPECT_EQ(VELMORA_SR_Process(nullptr, &call.input, 1, &call.output), -1);
  EXPECT_EQ(log.take(), refused);
  EXPECT_EQ(VELMORA_SR_Process(session.handle(), nullptr, 1, &call.output), -1);
  EXPECT_EQ(log.take(), refused);
  EXPECT_EQ(VELMORA_SR_Process(session.handle(), &call.input, 1, nullptr), -1);
  EXPECT_EQ(log.take(), refused);
  for (const int32_t count : {0, -1, INT32_MIN}) {
    EXPECT_EQ(call.run(session, count), -1);
    EXPECT_EQ(log.take(), refused);
  }
  EXPECT_EQ(call.reportedRegion(), (Region{0, 0, 0, 0}));
  EXPECT_EQ(session.handle()->srImageWidth, 0);
}

TEST_F(ProcessArguments, HandleThatIsNotCreated) {
  SR_ParamsPublic handle = {};
  for (const int32_t state : {0, 1, 3, -2}) {
    handle.state = state;
    LogCapture log;
    EXPECT_EQ(VELMORA_SR_Process(&handle, &call.input, 1, &call.output), -2);
    EXPECT_EQ(log.take(),
              (std::vector<LogLine>{info("NB7UO_ZELK: VELMORA_SR_Process Start.\n"),
                                    error("NB7UO_ZELK: input handle is not initialized!!\n")}));
  }
  EXPECT_EQ(call.reportedRegion(), (Region{0, 0, 0, 0}));
}

TEST_F(ProcessArguments, UnknownScenes) {
  for (const int32_t scene : {3, -1, INT32_MAX}) {
    expectRefusal(scene, 1, -4, joined("input srScene: ", scene, " is not supported!!\n"));
  }
}

TEST_F(ProcessArguments, MissingFrames) {
  const struct {
    int32_t scene, frameCount;
    bool left, right, left2;
    const char *beforeLeft, *beforeSecond;
  } cases[] = {
      {0, 1, false, true, true,
       "1 is less than 1 at scene singleFrameZoom\nor input image data is null[leftData = ", ""},
      {1, 1, true, false, true,
       "1 is less than 1 at scene doubleFrame_leftRight\nor input image data is null[leftData = ",
       ", rightData = "},
      {1, 7, false, true, true,
       "7 is less than 1 at scene doubleFrame_leftRight\nor input image data is null[leftData = ",
       ", rightData = "},
      {2, 1, true, true, true,
       "1 is less than 2 at scene doubleFrame_leftLeft\nor input image data is null[leftData1 = ",
       ", leftData2 = "},
      {2, 2, true, true, false,
       "2 is less than 2 at scene doubleFrame_leftLeft\nor input image data is null[leftData1 = ",
       ", leftData2 = "},
      {2, 2, false, true, true,
       "2 is less than 2 at scene doubleFrame_leftLeft\nor input image data is null[leftData1 = ",
       ", leftData2 = "},
  };
  for (const auto& c : cases) {
    call.input.leftData = c.left ? frame.data() : nullptr;
    call.input.rightData = c.right ? frame.data() + 1 : nullptr;
    call.input.leftData2 = c.left2 ? frame.data() + 2 : nullptr;
    // What "%d" shows of a pointer.
    const auto shown = [](const void* pointer) {
      return std::to_string(static_cast<int32_t>(reinterpret_cast<uintptr_t>(pointer)));
    };
    const void* second = c.scene == 1 ? call.input.rightData : call.input.leftData2;
    expectRefusal(c.scene, c.frameCount, -3,
                  joined("input image pair number ", c.beforeLeft, shown(call.input.leftData),
                         c.beforeSecond, c.scene == 0 ? "" : shown(second), "].\n"));
  }
}

TEST_F(ProcessArguments, ImpossibleSizesAndNullOutputData) {
  const struct {
    int32_t inWidth, inHeight, outWidth, outHeight;
    bool data;
  } cases[] = {
      {0, 48, 128, 96, true},       {64, -1, 128, 96, true},  {64, 48, 0, 96, true},
      {64, 48, 128, -7, true},      {64, 48, 128, 96, false}, {65536, 65536, 128, 96, true},
      {64, 48, 40000, 40000, true},
  };
  for (const auto& c : cases) {
    for (const int32_t scene : {0, 1, 2}) {
      call.input.width = c.inWidth;
      call.input.height = c.inHeight;
      call.output.width = c.outWidth;
      call.output.height = c.outHeight;
      call.output.data = c.data ? call.data.data() : nullptr;
      expectRefusal(
          scene, 2, -1,
          joined("impossible frame size or null output data: [inWidth = ", c.inWidth,
                 ", inHeight = ", c.inHeight, ", outWidth = ", c.outWidth,
                 ", outHeight = ", c.outHeight, ", outData = ", c.data ? "given" : "null", "].\n"));
    }
  }
}

TEST_F(ProcessArguments, EqualSizesCopyTheFirstFrameAlsoOverItself) {
  constexpr std::ptrdiff_t kBytes = 4441;  // of 63 x 47: an odd frame copies all of its bytes
  for (const int32_t scene : {1, 2}) {
    // The copy needs no allocator.
    Velmora_SR_CreateParams params = parameters(63, 47, scene);
    params.alloc = nullptr;
    const Session session(params);
    for (const std::ptrdiff_t offset : {std::ptrdiff_t{0}, std::ptrdiff_t{1}, std::ptrdiff_t{100},
                                        std::ptrdiff_t{-1}, std::ptrdiff_t{-100}, kBytes}) {
      std::vector<uint8_t> memory(2 * kBytes + 200);
      for (std::size_t i = 0; i < memory.size(); ++i)
        memory[i] = static_cast<uint8_t>(i * 31 >> 3);
      const auto from = memory.begin() + 100;
      std::vector<uint8_t> wanted = memory;
      std::copy(from, from + kBytes, wanted.begin() + 100 + offset);
      Call same(63, 47, 5, {1, 2, 60, 40}, 63, 47);
      same.input.leftData = &*from;
      same.input.rightData = same.input.leftData2 = frame.data();
      same.output.data = &*from + offset;
      LogCapture log;
      EXPECT_EQ(same.run(session, 2), 0);
      EXPECT_TRUE(memory == wanted) << offset;
      EXPECT_THAT(
          log.take(),
          testing::ElementsAreArray(
              openingLines(session, same) +
              std::vector<LogLine>{info("NB7UO_ZELK: output size == input size.\n"
                                        "[inWidth = 63, outWidth = 63, inHeight = 47, outHeight = "
                                        "47]\nUse left data as output.\n")}));
      EXPECT_EQ(same.reportedRegion(), (Region{0, 0, 63, 47}));
    }
  }
}

// --- the steps behind the entry points

TEST(SR_Initializtion, NullHandleIsRefused) {
  LogCapture log;
  EXPECT_EQ(SR_Initializtion(nullptr), -1);
  EXPECT_EQ(log.takeTexts(),
            (std::vector<std::string>{"NB7UO_ZELK: some input paras is NULL!!\n"}));
}

TEST(SR_Initializtion, SetsUpAndUninitializtionUndoes) {
  SR_ParamsPublic handle = {};
  EXPECT_EQ(SR_Initializtion(&handle), SR_RET_SUCCEED);
  EXPECT_NE(Lanczos1D_4_2_Fix, nullptr);
  EXPECT_EQ(zelkParamPrivate.kernelTaps, 4);
  EXPECT_EQ(SR_Uninitializtion(), 0);
  EXPECT_EQ(Lanczos1D_4_2_Fix, nullptr);
  EXPECT_EQ(SR_Uninitializtion(), 0);
}

TEST(SR_MemManagement, GivesABlockThatUninitializtionReleases) {
  SR_ParamsPublic handle = {};
  handle.memSize = 17;
  EXPECT_EQ(SR_Query(nullptr, &handle), 0);
  EXPECT_EQ(SR_MemManagement(nullptr, &handle), SR_RET_SUCCEED);
  EXPECT_EQ(handle.memSize, 0u) << "no stage wants a shared block";
  EXPECT_NE(handle.memBuffer, nullptr);
  // A second block takes the place of the first; the leak checker watches.
  EXPECT_EQ(SR_MemManagement(nullptr, &handle), SR_RET_SUCCEED);
  EXPECT_NE(handle.memBuffer, nullptr);
  SR_Uninitializtion();
}

TEST(SR_MemManagement, ReportsAnExhaustedHeap) {
  SR_ParamsPublic handle = {};
  int block = 0;
  handle.memSize = 17;
  handle.memBuffer = &block;
  LogCapture log;
  {
    const HeapFaults failure(0);
    EXPECT_EQ(SR_MemManagement(nullptr, &handle), SR_RET_ALLOC_FAILED);
  }
  EXPECT_EQ(handle.memSize, 0u);
  EXPECT_EQ(handle.memBuffer, nullptr);
  EXPECT_EQ(log.take(), (std::vector<LogLine>{error(
                            "NB7UO_ZELK: alloc memory failed. in Line: 91, in Function: "
                            "SR_MemManagement, in File: src/interface/source/SRInterface\n")}));
  EXPECT_EQ(SR_MemManagement(nullptr, nullptr), SR_RET_PARAMS_OUT_OF_RANGE);
  EXPECT_EQ(log.takeTexts(),
            (std::vector<std::string>{"NB7UO_ZELK: some input paras is NULL!!\n"}));
}

}  // namespace
}  // namespace velmora::test
