// Kernel files of strangers: creation with the bytes, and calls that use the tables.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "bytes.h"
#include "harness.h"
#include "velmora_sr/report.h"
#include "velmora_sr/velmora_sr.h"

namespace {

using velmora::fuzz::Bytes;
using velmora::fuzz::require;

constexpr int kWidth = 111;
constexpr int kHeight = 104;
constexpr int kOutWidth = 233;
constexpr int kOutHeight = 150;
// The square of the count of phases is the number of blocks that a file asks for: counts above this
// take a second and show nothing else, but for the largest one, which has to work.
constexpr int32_t kMostPhases = 64;
constexpr int32_t kLimit = 1024;

bool isSlow(int32_t phases, std::size_t size) {
  return phases > kMostPhases && phases <= kLimit && !(phases == kLimit && size == sizeof phases);
}

std::ptrdiff_t live = 0;

void* take(uint32_t size, const char*, int32_t) {
  ++live;
  return std::malloc(size);
}

void giveBack(void* block, const char*, int32_t) {
  --live;
  std::free(block);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const int32_t phases = Bytes(data, size).integer();
  if (size > INT32_MAX || isSlow(phases, size)) return 0;

  const Velmora_SR_CreateParams params = {kWidth,  kHeight, VELMORA_SR_SCENE_SINGLE, take, giveBack,
                                          nullptr, nullptr};
  // Not null, or the file of that name would be read.
  const uint8_t none = 0;
  const Velmora_SR_Tuning tuning = {nullptr, 0, data == nullptr ? &none : data,
                                    static_cast<uint32_t>(size)};
  SR_ParamsPublic* handle = nullptr;
  require(VELMORA_SR_CreateFromMemory(&params, &tuning, &handle) == 0, "a handle can be created");
  Velmora_SR_Report report = {};
  report.size = sizeof report;
  require(VELMORA_SR_GetReport(handle, &report) == 0, "a creation has a report");
  require(report.kernelPhases >= 0 && report.kernelPhases <= kLimit, "phases go up to 1024");
  require(report.kernelsRead == 0 || report.kernelPhases == phases, "a file has its own phases");

  std::vector<uint8_t> frame(kWidth * kHeight * 3 / 2);
  for (std::size_t i = 0; i < frame.size(); ++i)
    frame[i] = static_cast<uint8_t>(i * i / 7);
  std::vector<uint8_t> made(kOutWidth * kOutHeight * 3 / 2);
  Velmora_SR_InputFrames input = {};
  input.width = kWidth;
  input.height = kHeight;
  input.format = VELMORA_SR_FORMAT_NV12;
  input.leftData = frame.data();
  input.vrDepthEndW = kWidth - 1;
  input.vrDepthEndH = kHeight - 1;
  Velmora_SR_OutputFrame output = {kOutWidth, kOutHeight, 0, made.data(), 0, 0, 0, 0};
  require(VELMORA_SR_Process(handle, &input, 1, &output) == 0, "a good call returns 0");
  require(VELMORA_SR_GetReport(handle, &report) == 0, "a call has a report");
  require((report.written != 0) == (report.kernelPhases > 0), "tables are what a call needs");
  require(live == 0, "a call gives its blocks back");
  require(VELMORA_SR_Destroy(&handle) == 0, "a handle can be destroyed");
  return 0;
}
