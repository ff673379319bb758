#include "engine/session.h"

#include <new>
#include <string_view>

#include "engine/block_pool.h"
#include "engine/configuration_file.h"
#include "engine/library_log.h"
#include "errors.h"
#include "size_limits.h"
#include "timings.h"
#include "velmora_sr/report.h"
#include "velmora_sr/version.h"

namespace velmora::tool {
namespace {

const char* orNull(const std::string& name) {
  return name.empty() ? nullptr : name.c_str();
}

const uint8_t* orNull(std::span<const uint8_t> bytes) {
  return bytes.empty() ? nullptr : bytes.data();
}

/// The record of a call has frames that may be changed; the scene decides which.
uint8_t* asFrame(const uint8_t* frame) {
  return const_cast<uint8_t*>(frame);
}

}  // namespace

Session::Session(Size frame, int32_t scene, const Tuning& tuning,
                 const std::optional<GhostThresholds>& ghost)
    : frame_(frame), scene_(scene) {
  Velmora_SR_CreateParams params = {};
  params.inImageWidth = frame.width;
  params.inImageHeight = frame.height;
  params.srScene = scene;
  params.alloc = block_pool::allocate;
  params.free = block_pool::release;
  params.configFileName = ghost ? "--ghost" : orNull(tuning.configurationName);
  params.kernelFileName = orNull(tuning.kernelsName);
  const std::vector<uint8_t> configuration = ghost ? configurationOf(*ghost) : tuning.configuration;
  Velmora_SR_Tuning bytes = {};
  bytes.configuration = orNull(configuration);
  bytes.configurationSize = static_cast<uint32_t>(configuration.size());
  bytes.kernels = orNull(tuning.kernels);
  bytes.kernelsSize = static_cast<uint32_t>(tuning.kernels.size());
  const int32_t result = VELMORA_SR_CreateFromMemory(&params, &bytes, &handle_);
  bool tuned = false;
  if (handle_ != nullptr) {
    // Without memory the library goes on with what is built in, or with nothing.
    const Velmora_SR_Report made = report();
    const GhostThresholds wanted = ghost.value_or(tuning.ghost);
    tuned = made.kernelPhases == tuning.phases && made.ghostLow == wanted.low &&
            made.ghostHigh == wanted.high && (made.kernelsRead != 0) == !tuning.kernels.empty();
  }
  if (result == 0 && tuned) return;
  if (handle_ != nullptr) VELMORA_SR_Destroy(&handle_);
  throw Failure("the library cannot start: out of memory or threads");
}

Session::~Session() {
  VELMORA_SR_Destroy(&handle_);
}

Velmora_SR_Report Session::report() const {
  Velmora_SR_Report report = {};
  report.size = sizeof report;
  VELMORA_SR_GetReport(handle_, &report);
  return report;
}

GhostThresholds Session::ghost() const {
  const Velmora_SR_Report now = report();
  return {now.ghostLow, now.ghostHigh};
}

Velmora_SR_InputFrames Session::frames(const uint8_t* first, const uint8_t* second,
                                       Region region) const {
  Velmora_SR_InputFrames input = {};
  input.width = frame_.width;
  input.height = frame_.height;
  input.format = VELMORA_SR_FORMAT_NV12;
  input.leftData = asFrame(first);
  (scene_ == VELMORA_SR_SCENE_LEFT_RIGHT ? input.rightData : input.leftData2) = asFrame(second);
  input.vrDepthStartW = region.left;
  input.vrDepthStartH = region.top;
  input.vrDepthEndW = region.right;
  input.vrDepthEndH = region.bottom;
  return input;
}

Velmora_SR_Report Session::process(Velmora_SR_InputFrames input, Region region, Size outputSize,
                                   std::span<uint8_t> output) {
  Velmora_SR_OutputFrame out = {};
  out.width = outputSize.width;
  out.height = outputSize.height;
  out.format = VELMORA_SR_FORMAT_NV12;
  out.data = output.data();
  const int32_t frames = scene_ == VELMORA_SR_SCENE_SINGLE ? 1 : 2;
  {
    const timings::Step step("library");
    VELMORA_SR_Process(handle_, &input, frames, &out);
  }
  const Velmora_SR_Report report = this->report();
  if (report.cause == VELMORA_SR_CAUSE_MEMORY) {
    throw Failure("out of memory while enlarging to " + text(outputSize));
  }
  const Region shown = {report.shownLeft, report.shownTop, report.shownRight, report.shownBottom};
  if (report.written == 0 || !(shown == region)) {
    throw Failure("the library cannot enlarge to " + text(outputSize) + ": " +
                  (report.written == 0 ? report.reason : "it takes another region"));
  }
  return report;
}

void Session::enlarge(std::span<uint8_t> frame, Region region, Size outputSize,
                      std::span<uint8_t> output) {
  process(frames(frame.data(), nullptr, region), region, outputSize, output);
}

RegistrationReport Session::registerFrames(std::span<const uint8_t> first,
                                           std::span<const uint8_t> second) {
  const Velmora_SR_InputFrames input = frames(first.data(), second.data(), {});
  {
    const timings::Step step("register");
    VELMORA_SR_Register(handle_, &input, 2);
  }
  return registrationOf(report(), frame_);
}

double Session::fuse(std::span<uint8_t> first, std::span<uint8_t> second, Region region,
                     Size outputSize, std::span<uint8_t> output, uint8_t* weights) {
  VELMORA_SR_RequestWeights(handle_, weights);
  const Velmora_SR_Report report =
      process(frames(first.data(), second.data(), region), region, outputSize, output);
  VELMORA_SR_RequestWeights(handle_, nullptr);
  if (report.fused == 0) {
    throw Failure(std::string("the library cannot fuse these frames: ") + report.reason);
  }
  return report.replacedShare;
}

std::string libraryVersion() {
  const library_log::Recording recording;
  Velmora_SR_CreateParams params = {};
  params.inImageWidth = kMinRegionSpan + 1;
  params.inImageHeight = kMinRegionSpan + 1;
  SR_ParamsPublic* handle = nullptr;
  VELMORA_SR_Create(&params, &handle);
  if (handle != nullptr) VELMORA_SR_Destroy(&handle);
  constexpr std::string_view kMark = "Version : ";
  for (const std::string& line : recording.lines()) {
    const auto at = line.find(kMark);
    if (at != std::string::npos) return line.substr(at + kMark.size());
  }
  throw Failure("the library does not say its version");
}

void requireMatchingLibrary() {
  const std::string running = libraryVersion();
  if (running != VELMORA_SR_VERSION_BANNER) {
    throw Failure("the library in use is " + running + ", but the tool was built with " +
                  VELMORA_SR_VERSION_BANNER + "; install both from one build");
  }
}

}  // namespace velmora::tool
