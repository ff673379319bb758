// The entry points, and the steps of creation and destruction behind them.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <type_traits>

#include "common/float_environment.h"
#include "configuration/tuning.h"
#include "geometry/valid_region.h"
#include "interface/source/parameter_lines.h"
#include "interface/source/process_driver.h"
#include "interface/source/scenes.h"
#include "interface/source/version_banner.h"
#include "interface/source/working_memory.h"
#include "interpolation/kernel_tables.h"
#include "logging/log.h"
#include "report/call_report.h"
#include "velmora_sr/configuration.h"
#include "velmora_sr/interface.h"
#include "velmora_sr/kernel_tables.h"
#include "velmora_sr/registration.h"
#include "velmora_sr/thread_pool.h"

namespace velmora {
namespace {

// Handle states (SR_ParamsPublic::state); 0 is an empty one.
constexpr int32_t kBeingFilled = 1;
constexpr int32_t kCreated = 2;

constexpr int32_t kLargestThreshold = 255;

constexpr auto kFailed = static_cast<Velmora_SR_ESR_RET>(-1);

/// Runs a step of an entry point. No exception crosses the C boundary: it ends here, in an error
/// line, and what the step would have done from there on is left undone.
template <typename Step>
void runGuarded(const char* entryPoint, const Step& step) noexcept {
  try {
    step();
  } catch (const std::exception& exception) {
    logTagged(Priority::error, "%s stopped: %s\n", entryPoint, exception.what());
  } catch (...) {
    logTagged(Priority::error, "%s stopped: unknown exception\n", entryPoint);
  }
}

/// Keeps a copy of a path in the handle, cut where it does not fit; null becomes the empty path.
void copyPath(char (&copy)[VELMORA_SR_PATH_SIZE], const char* path) {
  if (path != nullptr) std::snprintf(copy, sizeof copy, "%s", path);
}

void fill(SR_ParamsPublic& handle, const Velmora_SR_CreateParams& params) {
  handle = {};
  handle.state = kBeingFilled;
  handle.inImageWidth = params.inImageWidth;
  handle.inImageHeight = params.inImageHeight;
  handle.srScene = params.srScene;
  handle.configFileNamePtr = params.configFileName;
  handle.kernelFileNamePtr = params.kernelFileName;
  copyPath(handle.configFileName, params.configFileName);
  copyPath(handle.kernelFileName, params.kernelFileName);
  if (params.alloc != nullptr && params.free != nullptr) {
    handle.alloc = params.alloc;
    handle.free = params.free;
  }
  handle.state = kCreated;
}

/// Processor time between two readings of the clock, in milliseconds: it counts microseconds. The
/// difference is right across one wrap of a 32-bit clock.
double elapsedMilliseconds(std::clock_t start, std::clock_t end) {
  using Ticks = std::make_unsigned_t<std::clock_t>;
  const auto ticks = static_cast<std::clock_t>(static_cast<Ticks>(end) - static_cast<Ticks>(start));
  return static_cast<double>(static_cast<float>(ticks)) * 0.001;
}

/// Creation starts without tables. Those of an earlier handle are lost, not released: whoever still
/// holds on to their rows, against the rule of one live handle, reads valid memory.
void dropKernelTables() {
  Lanczos1D_4_2_Fix = nullptr;
  Lanczos1D_4_2_Fix_sharp = nullptr;
  Lanczos2D_4_2_Fix_Sharp = nullptr;
}

bool sizesAndDataUsable(const Velmora_SR_InputFrames& input, const Velmora_SR_OutputFrame& output) {
  if (isFrameSize(input.width, input.height) && isFrameSize(output.width, output.height) &&
      output.data != nullptr) {
    return true;
  }
  logTagged(Priority::error,
            "impossible frame size or null output data: [inWidth = %d, inHeight = "
            "%d, outWidth = %d, outHeight = %d, outData = %s].\n",
            input.width, input.height, output.width, output.height,
            output.data == nullptr ? "null" : "given");
  return false;
}

bool holdsFrame(uint8_t* const* frames) {
  return frames != nullptr && frames[0] != nullptr;
}

/// The frames of a scene as registration is asked to take them; nulls where there is no scene, or
/// it has one frame.
FramePair pairOf(const Scene* scene, const Velmora_SR_InputFrames& input) {
  if (scene == nullptr || !scene->hasTwoFrames()) return {};
  return {input.*scene->first.data, input.*scene->second.data, input.width, input.height};
}

/// What stands before the bytes in the log.
TuningInput tuningInput(const char* name, const uint8_t* bytes, uint32_t size) {
  if (bytes == nullptr) return {name, {}};
  return {name == nullptr ? "memory" : name, {bytes, size}};
}

Velmora_SR_ESR_RET initialise(const TuningInput& configuration, const TuningInput& kernels) {
  // The configuration steps put defaults in place of what they cannot read, and never fail.
  loadTuning(configuration, kernels);
  const Velmora_SR_ESR_RET checked = CheckParams();
  if (checked != SR_RET_SUCCEED) {
    logFailure(Priority::error, checked, FailureStep::checkParameters, "SR_Initializtion");
    return checked;
  }
  // The pool has sixteen workers whatever is asked for.
  if (MultiThread_Init(4) != 0) {
    logFailure(Priority::error, kFailed, FailureStep::startThreads, "SR_Initializtion");
    return kFailed;
  }
  return SR_RET_SUCCEED;
}

void reportRegion(Velmora_SR_OutputFrame& output, const ValidRegion& region) {
  output.vrStartW = region.startW;
  output.vrStartH = region.startH;
  output.vrEndW = region.endW;
  output.vrEndH = region.endH;
}

/// The end of a call with a null argument or without frames, which the report tells of, too, where
/// the handle can have one.
int32_t refusedForArguments(const SR_ParamsPublic* handle) {
  constexpr int32_t kCode = -1;
  if (handle == nullptr || handle->state != kCreated) return kCode;
  callReport.beginCall(*handle, {});
  return callReport.refused(kCode, "a null argument, or no frame");
}

/// With two frames and nothing to enlarge the first frame is the result.
void copyFirstFrame(const Velmora_SR_InputFrames& input, const Velmora_SR_OutputFrame& output) {
  logTagged(Priority::info,
            "output size == input size.\n"
            "[inWidth = %d, outWidth = %d, inHeight = %d, outHeight = %d]\n"
            "Use left data as output.\n",
            input.width, input.width, input.height, input.height);
  // A move, not a copy: the caller may have the result put over the frame.
  const auto samples =
      static_cast<std::size_t>(input.width) * static_cast<std::size_t>(input.height);
  std::memmove(output.data, input.leftData, samples * 3 / 2);
}

}  // namespace
}  // namespace velmora

using namespace velmora;

int32_t VELMORA_SR_Create(const Velmora_SR_CreateParams* params, SR_ParamsPublic** handleOut) {
  return VELMORA_SR_CreateFromMemory(params, nullptr, handleOut);
}

int32_t VELMORA_SR_CreateFromMemory(const Velmora_SR_CreateParams* params,
                                    const Velmora_SR_Tuning* tuning, SR_ParamsPublic** handleOut) {
  const DefaultFloatEnvironment environment;
  if (handleOut != nullptr) *handleOut = nullptr;
  if (params != nullptr && handleOut != nullptr) dropKernelTables();
  logVersionBanner();
  logTagged(Priority::info, "VELMORA_SR_Create Start.\n");
  if (params == nullptr || handleOut == nullptr) {
    logTagged(Priority::error, "some input paras is NULL!!\n");
    return -1;
  }
  auto* const handle = static_cast<SR_ParamsPublic*>(std::malloc(sizeof(SR_ParamsPublic)));
  if (handle == nullptr) {
    logTagged(Priority::error, "VELMORA_SR_Create Failed!!\n");
    return -1;
  }
  fill(*handle, *params);
  callReport.begin(handle);
  const Velmora_SR_Tuning given = tuning == nullptr ? Velmora_SR_Tuning{} : *tuning;
  Velmora_SR_ESR_RET result = kFailed;
  runGuarded("VELMORA_SR_Create", [&] {
    result = initialise(
        tuningInput(handle->configFileNamePtr, given.configuration, given.configurationSize),
        tuningInput(handle->kernelFileNamePtr, given.kernels, given.kernelsSize));
  });
  callReport.facts.result = result;
  callReport.facts.kernelPhases = kernelTablesInstalled() ? G_QUANTIZATION : 0;
  // Whatever the result, the caller gets the handle: it works with what was set up, and ends it.
  *handleOut = handle;
  logCreationParameters(*handle);
  logTagged(Priority::info, "VELMORA_SR_Create Finish.\n");
  return result;
}

int32_t VELMORA_SR_Process(SR_ParamsPublic* handle, const Velmora_SR_InputFrames* input,
                           int32_t frameCount, Velmora_SR_OutputFrame* output) {
  const DefaultFloatEnvironment environment;
  const std::clock_t start = std::clock();
  logTagged(Priority::info, "VELMORA_SR_Process Start.\n");
  if (input == nullptr || handle == nullptr || output == nullptr || frameCount <= 0) {
    logTagged(Priority::error, "some input paras is NULL!!\n");
    return refusedForArguments(handle);
  }
  if (handle->state != kCreated) {
    logTagged(Priority::error, "input handle is not initialized!!\n");
    return -2;
  }
  const Scene* const scene = findScene(handle->srScene);
  const FramePair pair = pairOf(scene, *input);
  callReport.beginCall(*handle, pair);
  handle->srImageWidth = output->width;
  handle->srImageHeight = output->height;
  setRegion(*handle,
            {input->vrDepthStartW, input->vrDepthStartH, input->vrDepthEndW, input->vrDepthEndH});
  logVersionBanner();
  logProcessParameters(*handle);
  reportRegion(*output, {0, 0, output->width, output->height});

  if (scene == nullptr) {
    logTagged(Priority::error, "input srScene: %d is not supported!!\n", handle->srScene);
    return callReport.refused(-4, "the scene is not known");
  }
  if (!suppliesFrames(*scene, *input, frameCount)) {
    return callReport.refused(-3, "a frame of the scene is missing");
  }
  if (!sizesAndDataUsable(*input, *output)) {
    return callReport.refused(-1, "an impossible frame size, or no output data");
  }
  callReport.clearWeights(input->width, input->height);
  if (scene->hasTwoFrames() && output->width == input->width && output->height == input->height) {
    copyFirstFrame(*input, *output);
    callReport.takeKept(pair);
    callReport.written(false, {0, 0, input->width - 1, input->height - 1});
    return 0;
  }

  runGuarded("VELMORA_SR_Process", [&] { processFrames(*scene, *handle, *input, *output); });
  callReport.endCall();

  const std::clock_t end = std::clock();
  reportRegion(*output, regionOf(*handle));
  logTagged(Priority::info, "VELMORA_SR_Process Finish.\n");
  logTagged(Priority::info, "Dual Camera Super Resolution time: %f ms.\n",
            elapsedMilliseconds(start, end));
  return 0;
}

int32_t VELMORA_SR_Register(SR_ParamsPublic* handle, const Velmora_SR_InputFrames* input,
                            int32_t frameCount) {
  const DefaultFloatEnvironment environment;
  if (input == nullptr || handle == nullptr || frameCount <= 0) {
    logTagged(Priority::error, "some input paras is NULL!!\n");
    return refusedForArguments(handle);
  }
  if (handle->state != kCreated) {
    logTagged(Priority::error, "input handle is not initialized!!\n");
    return -2;
  }
  callReport.beginCall(*handle, {});
  const Scene* const scene = findScene(handle->srScene);
  if (scene == nullptr || !scene->hasTwoFrames()) {
    return callReport.refused(-4, "the scene has no second frame");
  }
  if (!suppliesFrames(*scene, *input, frameCount)) {
    return callReport.refused(-3, "a frame of the scene is missing");
  }
  if (!isFrameSize(input->width, input->height)) {
    return callReport.refused(-1, "an impossible frame size");
  }
  runGuarded("VELMORA_SR_Register", [&] { registerFrames(*scene, *handle, *input); });
  callReport.endRegistration();
  return 0;
}

int32_t VELMORA_SR_Destroy(SR_ParamsPublic** handle) {
  const DefaultFloatEnvironment environment;
  logTagged(Priority::info, "VELMORA_SR_Destroy Start.\n");
  if (handle != nullptr) {
    // What the handles share goes first, before this one is looked at: a caller that has lost its
    // handle can still stop the workers.
    runGuarded("VELMORA_SR_Destroy", [] { SR_Uninitializtion(); });
    zelkParamPrivate.pub = nullptr;
    zelkParamPrivate.posMap1 = nullptr;
    zelkParamPrivate.posMap2 = nullptr;
    callReport.begin(nullptr);
    if (*handle != nullptr && (*handle)->state == kCreated) {
      std::free(*handle);
      *handle = nullptr;
      logTagged(Priority::info, "VELMORA_SR_Destroy Finish.\n");
      return 0;
    }
  }
  logLine(Priority::error, "%s", "VELMORA_SR_Destroy: input handle is NULL or not initialized!!\n");
  return -1;
}

Velmora_SR_ESR_RET SR_Initializtion(SR_ParamsPublic* handle) {
  if (handle == nullptr) {
    logTagged(Priority::error, "some input paras is NULL!!\n");
    return kFailed;
  }
  return initialise({handle->configFileNamePtr, {}}, {handle->kernelFileNamePtr, {}});
}

Velmora_SR_ESR_RET CheckParams() {
  int32_t& low = zelkParamPrivate.ghostLowThr;
  int32_t& high = zelkParamPrivate.ghostHighThr;
  if (low < 0 || low > high || high > kLargestThreshold) {
    low = kDefaultLowThreshold;
    high = kDefaultHighThreshold;
    callReport.facts.configurationRead = 0;
  }
  return SR_RET_SUCCEED;
}

int32_t SR_Query(Velmora_SR_CInputImage* input, SR_ParamsPublic* pub) {
  // Only registration is asked: interpolation takes its memory in each call.
  uint32_t need = 0;
  Query_GlobalRegistration(input, pub, need);
  workingMemory.size = need;
  return 0;
}

Velmora_SR_ESR_RET SR_MemManagement(Velmora_SR_CInputImage* input, SR_ParamsPublic* pub) {
  if (pub == nullptr) {
    logTagged(Priority::error, "some input paras is NULL!!\n");
    return SR_RET_PARAMS_OUT_OF_RANGE;
  }
  SR_Query(input, pub);
  // At least one byte: a request for nothing may be answered with null, which is no failure.
  workingMemory.block.reset(std::malloc(std::max(workingMemory.size, 1u)));
  if (workingMemory.block == nullptr) {
    logFailure(Priority::error, SR_RET_ALLOC_FAILED, FailureStep::memory, "SR_MemManagement");
    pub->memSize = 0;
    pub->memBuffer = nullptr;
    return SR_RET_ALLOC_FAILED;
  }
  pub->memSize = workingMemory.size;
  pub->memBuffer = workingMemory.block.get();
  return SR_RET_SUCCEED;
}

int32_t SR_Process(Velmora_SR_CInputImage* in, Velmora_SR_COutPutImage* out, SR_ParamsPublic* pub) {
  using namespace velmora;
  if (in == nullptr || out == nullptr || pub == nullptr || !holdsFrame(in->leftData) ||
      !holdsFrame(in->rightData) || !isFrameSize(in->width, in->height)) {
    logNothingWritten("null argument or frame, or impossible frame size.");
    return -1;
  }
  return fusePair(*in, *out, *pub);
}

int32_t SR_Uninitializtion() {
  workingMemory.block.reset();
  releaseKernelTables();
  MultiThread_destory();
  return 0;
}
