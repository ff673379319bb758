#include "engine/session.h"

#include <string_view>
#include <utility>
#include <vector>

#include "engine/block_pool.h"
#include "engine/library_log.h"
#include "errors.h"
#include "size_limits.h"
#include "streams.h"
#include "timings.h"
#include "velmora_sr/records.h"
#include "velmora_sr/version.h"

namespace velmora::tool {
namespace {

constexpr int kErrorPriority = 6;
constexpr std::size_t kMaxConfigurationBytes = std::size_t{16} << 20;
constexpr int kMaxPhases = 1024;

// The library takes a path of fewer than three characters for none at all.
std::string longEnough(const std::string& path) {
  return path.size() < 3 ? "./" + path : path;
}

const char* orNull(const std::string& path) {
  return path.empty() ? nullptr : path.c_str();
}

void requireConfiguration(const std::string& path) {
  const auto bytes = readFile(path, kMaxConfigurationBytes);
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (text.find('<') == std::string_view::npos) {
    throw Failure("--config: " + path + " is no XML configuration file (see zelk.xml)");
  }
}

void requireKernels(const std::string& path) {
  ByteSource source(path);
  const auto start = source.peek(4);
  int32_t phases = 0;
  for (std::size_t i = 0; i < start.size(); ++i)
    phases = static_cast<int32_t>(static_cast<uint32_t>(phases) | uint32_t{start[i]} << (8 * i));
  if (start.size() < 4 || phases < 1 || phases > kMaxPhases) {
    throw Failure("--kernel: " + path +
                  " is no kernel file: it should begin with a count of 1 to " +
                  std::to_string(kMaxPhases) + " phases");
  }
  const auto count = static_cast<uint64_t>(phases);
  const uint64_t wanted = 4 + count * count * 34 + 2 * count * 8;
  if (source.length() && *source.length() != wanted) {
    throw Failure("--kernel: " + path + " has " + std::to_string(*source.length()) +
                  " bytes, but a kernel file of " + std::to_string(phases) + " phases has " +
                  std::to_string(wanted));
  }
}

}  // namespace

void requireUsable(const TuningFiles& files) {
  if (!files.configuration.empty()) requireConfiguration(files.configuration);
  if (!files.kernels.empty()) requireKernels(files.kernels);
}

Session::Session(Size frame, int32_t scene, const TuningFiles& files)
    : frame_(frame), scene_(scene) {
  const std::string configuration =
      files.configuration.empty() ? "" : longEnough(files.configuration);
  const std::string kernels = files.kernels.empty() ? "" : longEnough(files.kernels);
  Velmora_SR_CreateParams params = {};
  params.inImageWidth = frame.width;
  params.inImageHeight = frame.height;
  params.srScene = scene;
  params.alloc = block_pool::allocate;
  params.free = block_pool::release;
  params.configFileName = orNull(configuration);
  params.kernelFileName = orNull(kernels);
  library_log::take();
  if (VELMORA_SR_Create(&params, &handle_) != 0) {
    if (handle_ != nullptr) VELMORA_SR_Destroy(&handle_);
    throw Failure("the library cannot start: out of memory or threads");
  }
}

Session::~Session() {
  VELMORA_SR_Destroy(&handle_);
  library_log::forget();
}

void Session::process(Velmora_SR_InputFrames& input, Region region,
                      Velmora_SR_OutputFrame& output) {
  input.width = frame_.width;
  input.height = frame_.height;
  input.format = VELMORA_SR_FORMAT_NV12;
  input.vrDepthStartW = region.left;
  input.vrDepthStartH = region.top;
  input.vrDepthEndW = region.right;
  input.vrDepthEndH = region.bottom;
  output.format = VELMORA_SR_FORMAT_NV12;

  library_log::take();
  block_pool::takeFailure();
  const int32_t frames = scene_ == VELMORA_SR_SCENE_SINGLE ? 1 : 2;
  const int32_t result = [&] {
    const timings::Step step("library");
    return VELMORA_SR_Process(handle_, &input, frames, &output);
  }();
  if (block_pool::takeFailure()) {
    throw Failure("out of memory while enlarging to " + text(Size{output.width, output.height}));
  }
  if (result != 0) {
    throw Failure("the library refuses the frame (code " + std::to_string(result) + ")");
  }
}

void Session::enlarge(std::span<uint8_t> frame, Region region, Size outputSize,
                      std::span<uint8_t> output) {
  Velmora_SR_InputFrames input = {};
  input.leftData = frame.data();
  Velmora_SR_OutputFrame out = {};
  out.width = outputSize.width;
  out.height = outputSize.height;
  out.data = output.data();
  process(input, region, out);
  // The library reports failures inside a call through its log alone.
  for (const auto& line : library_log::take()) {
    if (line.priority >= kErrorPriority) throw Failure("the library reports: " + line.text);
  }
}

Session::Fusion Session::fuse(std::span<uint8_t> first, std::span<uint8_t> second, Region region,
                              Size outputSize, std::span<uint8_t> output) {
  Velmora_SR_InputFrames input = {};
  input.leftData = first.data();
  (scene_ == VELMORA_SR_SCENE_LEFT_RIGHT ? input.rightData : input.leftData2) = second.data();
  Velmora_SR_OutputFrame out = {};
  out.width = outputSize.width;
  out.height = outputSize.height;
  out.data = output.data();
  process(input, region, out);
  return {zelkParamPrivate.registFailed == 0, {out.vrStartW, out.vrStartH, out.vrEndW, out.vrEndH}};
}

std::string libraryVersion() {
  library_log::take();
  Velmora_SR_CreateParams params = {};
  params.inImageWidth = kMinRegionSpan + 1;
  params.inImageHeight = kMinRegionSpan + 1;
  SR_ParamsPublic* handle = nullptr;
  VELMORA_SR_Create(&params, &handle);
  if (handle != nullptr) VELMORA_SR_Destroy(&handle);
  constexpr std::string_view kMark = "Version : ";
  for (const auto& line : library_log::take()) {
    const auto at = line.text.find(kMark);
    if (at != std::string::npos) return line.text.substr(at + kMark.size());
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
