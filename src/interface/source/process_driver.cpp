// The process driver: frame records and dumps around the stages of a scene, and the two-frame flow.
#include "interface/source/process_driver.h"

#include <cstring>
#include <ctime>
#include <limits>

#include "geometry/valid_region.h"
#include "interface/source/debug_dump.h"
#include "interface/source/working_memory.h"
#include "interpolation/deghost.h"
#include "interpolation/ghost_weights.h"
#include "logging/log.h"
#include "memory/call_buffer.h"
#include "registration/observed_stages.h"
#include "report/observer.h"
#include "velmora_sr/interface.h"
#include "velmora_sr/interpolation.h"
#include "velmora_sr/kernel_tables.h"
#include "velmora_sr/registration.h"

namespace velmora {
namespace {

/// The two position maps of a two-frame call. The stages also reach them through zelkParamPrivate;
/// these pointers end with the memory behind them.
class PositionMaps {
 public:
  PositionMaps(const SR_ParamsPublic& handle, std::size_t size)
      : horizontal_(Allocator::of(&handle), size) {
    if (horizontal_) vertical_ = {Allocator::of(&handle), size};
    if (!vertical_) horizontal_.reset();
  }
  ~PositionMaps() {
    zelkParamPrivate.posMap1 = nullptr;
    zelkParamPrivate.posMap2 = nullptr;
    horizontal_.reset();  // first in, first out: members would end the other way round
    vertical_.reset();
  }
  PositionMaps(const PositionMaps&) = delete;
  PositionMaps& operator=(const PositionMaps&) = delete;

  void publish() const {
    zelkParamPrivate.posMap1 = horizontal();
    zelkParamPrivate.posMap2 = vertical();
  }
  [[nodiscard]] int32_t* horizontal() const { return horizontal_.data(); }
  [[nodiscard]] int32_t* vertical() const { return vertical_.data(); }
  explicit operator bool() const { return static_cast<bool>(vertical_); }

 private:
  CallBuffer<int32_t> horizontal_;
  CallBuffer<int32_t> vertical_;
};

/// Registers the second frame onto the first, or takes over what VELMORA_SR_Register found, and
/// returns the area of the first that the second covers; registFailed tells whether that worked.
/// Without maps it counts as failed.
ValidRegion registerFrames(Velmora_SR_CInputImage& in, const PositionMaps& maps) {
  ValidRegion registered = {0, 0, 0, 0};
  Velmora_SR_Report& facts = callReport.facts;
  zelkParamPrivate.registFailed = 1;
  const bool kept = callReport.takeKept({in.leftData[0], in.rightData[0], in.width, in.height});
  if (!maps) {
    logTagged(Priority::error, "%s No position maps, no registration.\n",
              GetRetInfo(SR_RET_ALLOC_FAILED));
    callReport.fail(VELMORA_SR_STAGE_MAPS, VELMORA_SR_CAUSE_MEMORY, "out of memory");
    return registered;
  }
  if (!kept) {
    registerPair(&in, &zelkParamPrivate, maps.horizontal(), maps.vertical(), registered.startW,
                 registered.startH, registered.endW, registered.endH, Observer(callReport));
    facts.registered = zelkParamPrivate.registFailed == 0 ? 1 : 0;
  } else if (facts.registered != 0) {
    const StageTime time(&callReport, VELMORA_SR_STAGE_MAPS);
    GetSubPixelPositionGlobalRegist(facts.homography, maps.vertical(), maps.horizontal(), in.width,
                                    in.height);
    registered = {facts.left, facts.top, facts.right, facts.bottom};
    zelkParamPrivate.registFailed = 0;
  }
  return registered;
}

/// The second frame of a call. De-ghosting changes the first frame while it reads the second, so
/// where they share bytes a copy takes the second one's place in the record until this ends.
class SecondFrame {
 public:
  SecondFrame(const Velmora_SR_CInputImage& in, const SR_ParamsPublic& handle)
      : entry_(in.rightData[0]), original_(entry_) {
    const auto chroma = std::size_t{2} * static_cast<std::size_t>(in.width / 2) *
                        static_cast<std::size_t>(in.height / 2);
    const std::size_t bytes =
        static_cast<std::size_t>(in.width) * static_cast<std::size_t>(in.height) + chroma;
    if (!overlap(in.leftData[0], original_, bytes)) return;
    copy_ = {Allocator::of(&handle), bytes};
    entry_ = copy_.data();
    if (copy_) std::memcpy(copy_.data(), original_, bytes);
  }
  ~SecondFrame() { entry_ = original_; }
  SecondFrame(const SecondFrame&) = delete;
  SecondFrame& operator=(const SecondFrame&) = delete;

  /// Null when there was no memory for the copy.
  [[nodiscard]] uint8_t* data() const { return entry_; }

 private:
  static bool overlap(const uint8_t* a, const uint8_t* b, std::size_t bytes) {
    const auto distance = reinterpret_cast<uintptr_t>(a) - reinterpret_cast<uintptr_t>(b);
    return distance < bytes || uintptr_t{0} - distance < bytes;
  }

  uint8_t*& entry_;
  uint8_t* const original_;
  CallBuffer<uint8_t> copy_;
};

/// The region that is enlarged when a stage is asked for this one.
ValidRegion shownPart(const ValidRegion& region, int32_t width, int32_t height) {
  return isUsable(region, width, height) ? region : defaultRegion(width, height);
}

/// Notes what de-ghosting is about to do, and shows it to a host that has asked.
void reportWeights(const GhostWeights& weights, const ValidRegion& shown, int32_t width,
                   int32_t height) {
  callReport.facts.replacedShare = weights.replacedShare(shown);
  if (callReport.wantsWeights(width, height)) weights.write(callReport.weights);
}

/// Notes how the last stage ended and what the output shows; passes the result on.
int32_t reported(int32_t result, const ValidRegion& shown) {
  if (result == 0) {
    callReport.written(zelkParamPrivate.registFailed == 0, shown);
  } else {
    callReport.failByCode(VELMORA_SR_STAGE_INTERPOLATION, result);
  }
  return result;
}

/// The input dump: all frames of the scene under one time stamp.
void dumpInput(const Scene& scene, const Velmora_SR_InputFrames& input) {
  if (!dumpsWanted()) return;
  const std::tm time = dumpTime();
  for (const Scene::Frame& frame : {scene.first, scene.second}) {
    if (frame.data == nullptr) continue;
    dump({frame.dumpKind, input.*frame.data, input.width, input.height, input.format}, time);
  }
}

void dumpResult(const Velmora_SR_OutputFrame& output) {
  if (!dumpsWanted()) return;
  dump({"result", output.data, output.width, output.height, output.format}, dumpTime());
}

/// The records of the frames that the stages get, in blocks of the call's allocator.
class FrameRecords {
 public:
  FrameRecords(const Scene& scene, const SR_ParamsPublic& handle,
               const Velmora_SR_InputFrames& input)
      : first_(Allocator::of(&handle), 1) {
    const bool two = scene.hasTwoFrames();
    if (first_ && two) second_ = {Allocator::of(&handle), 1};
    if (!first_ || (two && !second_)) return;
    in_.width = input.width;
    in_.height = input.height;
    in_.format = input.format;
    in_.leftNum = 1;
    in_.leftData = first_.data();
    in_.leftData[0] = input.*scene.first.data;
    if (two) {
      in_.rightNum = 1;
      in_.rightData = second_.data();
      in_.rightData[0] = input.*scene.second.data;
    }
  }
  [[nodiscard]] Velmora_SR_CInputImage& input() { return in_; }
  /// False without memory.
  explicit operator bool() const { return in_.leftNum != 0; }

 private:
  CallBuffer<uint8_t*> first_;
  CallBuffer<uint8_t*> second_;
  Velmora_SR_CInputImage in_ = {};
};

/// Dumps the frames of a scene and runs its stages on them. False without memory for the records
/// that the stages get.
bool runStages(const Scene& scene, SR_ParamsPublic& handle, const Velmora_SR_InputFrames& input,
               const Velmora_SR_OutputFrame& output) {
  FrameRecords records(scene, handle, input);
  if (!records) return false;
  Velmora_SR_COutPutImage out = {output.data};

  dumpInput(scene, input);
  // The stages log their failures; the caller of the entry point gets 0 whatever they return.
  if (scene.hasTwoFrames()) {
    fusePair(records.input(), out, handle);
  } else {
    zelkParamPrivate.registFailed = 1;
    zelkParamPrivate.pub = &handle;
    const StageTime time(&callReport, VELMORA_SR_STAGE_INTERPOLATION);
    reported(SRInterpolation_Single(&records.input(), &out, &zelkParamPrivate),
             shownPart(regionOf(handle), input.width, input.height));
  }
  return true;
}

}  // namespace

void logNothingWritten(const char* reason) {
  logTagged(Priority::error, "%s The output is left untouched.\n", reason);
}

bool isFrameSize(int32_t width, int32_t height) {
  constexpr int64_t kMostSamples = std::numeric_limits<int32_t>::max() / 3 * 2;
  return width >= 1 && height >= 1 && int64_t{width} * height <= kMostSamples;
}

bool kernelTablesInstalled() {
  return Lanczos1D_4_2_Fix != nullptr && Lanczos1D_4_2_Fix_sharp != nullptr &&
         Lanczos2D_4_2_Fix_Sharp != nullptr;
}

void registerFrames(const Scene& scene, SR_ParamsPublic& handle,
                    const Velmora_SR_InputFrames& input) {
  FrameRecords records(scene, handle, input);
  if (!records) {
    callReport.failByCode(VELMORA_SR_STAGE_CALL, SR_RET_ALLOC_FAILED);
    return;
  }
  zelkParamPrivate.pub = &handle;
  ValidRegion area = {};
  registerPair(&records.input(), &zelkParamPrivate, nullptr, nullptr, area.startW, area.startH,
               area.endW, area.endH, Observer(callReport));
  callReport.facts.registered = zelkParamPrivate.registFailed == 0 ? 1 : 0;
  callReport.kept = {input.*scene.first.data, input.*scene.second.data, input.width, input.height};
}

void processFrames(const Scene& scene, SR_ParamsPublic& handle, const Velmora_SR_InputFrames& input,
                   const Velmora_SR_OutputFrame& output) {
  if (handle.alloc == nullptr || handle.free == nullptr) {
    logNothingWritten("no allocator functions.");
    callReport.fail(VELMORA_SR_STAGE_CALL, VELMORA_SR_CAUSE_SETUP, "no allocator functions");
    return;
  }
  if (!kernelTablesInstalled()) {
    logNothingWritten("no kernel tables.");
    callReport.failByCode(VELMORA_SR_STAGE_CALL, SR_RET_LOAD_CONFIG_FAILED);
    return;
  }
  if (!runStages(scene, handle, input, output)) {
    logNothingWritten(GetRetInfo(SR_RET_ALLOC_FAILED));
    callReport.failByCode(VELMORA_SR_STAGE_CALL, SR_RET_ALLOC_FAILED);
    return;
  }
  dumpResult(output);
}

int32_t fusePair(Velmora_SR_CInputImage& in, Velmora_SR_COutPutImage& out,
                 SR_ParamsPublic& handle) {
  const int32_t width = in.width;
  const int32_t height = in.height;
  zelkParamPrivate.pub = &handle;
  const SecondFrame second(in, handle);
  if (second.data() == nullptr) {
    logNothingWritten(GetRetInfo(SR_RET_ALLOC_FAILED));
    callReport.failByCode(VELMORA_SR_STAGE_CALL, SR_RET_ALLOC_FAILED);
    return SR_RET_ALLOC_FAILED;
  }
  const PositionMaps maps(handle,
                          static_cast<std::size_t>(width) * static_cast<std::size_t>(height));

  ValidRegion region = regionOf(handle);
  const ValidRegion registered = registerFrames(in, maps);
  if (zelkParamPrivate.registFailed != 0) {
    logTagged(Priority::info,
              "Registration Failed. Enter Single SR Mode.\n"
              "\t\t\tvrSRStartW = %d, vrSRStartH = %d, vrSREndW = %d, vrSREndH = %d\n",
              registered.startW, registered.startH, registered.endW, registered.endH);
  } else {
    region = intersection(region, registered);
    logTagged(Priority::info, "vrSRStartW = %d, vrSRStartH = %d, vrSREndW = %d, vrSREndH = %d\n",
              registered.startW, registered.startH, registered.endW, registered.endH);
    setRegion(handle, region);
    // Frames that disagree must not be fused as they are.
    const StageTime time(&callReport, VELMORA_SR_STAGE_DEGHOSTING);
    reportWeights({second.data(), in.leftData[0], zelkParamPrivate, width, height,
                   maps.horizontal(), maps.vertical()},
                  shownPart(madeEven(region), width, height), width, height);
    const Velmora_SR_ESR_RET deghosted =
        deghostFrame(second.data(), in.leftData[0], &zelkParamPrivate, width, height,
                     maps.horizontal(), maps.vertical());
    if (deghosted != SR_RET_SUCCEED) {
      callReport.failByCode(VELMORA_SR_STAGE_DEGHOSTING, deghosted);
      return deghosted;
    }
  }

  region = madeEven(region);
  logTagged(Priority::info, "vrStartW = %d, vrStartH = %d, vrEndW = %d, vrEndH = %d\n",
            region.startW, region.startH, region.endW, region.endH);
  setRegion(handle, usableOrDefault(region, width, height));

  handle.memSize = workingMemory.size;
  handle.memBuffer = workingMemory.block.get();
  maps.publish();
  const StageTime time(&callReport, VELMORA_SR_STAGE_INTERPOLATION);
  return reported(SRInterpolation(&in, &out, &zelkParamPrivate), regionOf(handle));
}

}  // namespace velmora
