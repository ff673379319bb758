#include "camera_enlarger.h"

#include <cstddef>
#include <cstdlib>
#include <mutex>
#include <string>

#include "failure.h"
#include "mapped_frame.h"
#include "velmora_sr/report.h"
#include "velmora_sr/velmora_sr.h"

namespace velmora::gst {
namespace {

// One handle as long as there is an enlarger, and one call at a time.
std::mutex mutex;
int users = 0;
SR_ParamsPublic* handle = nullptr;

void* allocate(uint32_t size, const char*, int32_t) {
  return std::malloc(size);
}

void release(void* block, const char*, int32_t) {
  std::free(block);
}

bool isNv21(const GstVideoFrame& frame) {
  return GST_VIDEO_FRAME_FORMAT(&frame) == GST_VIDEO_FORMAT_NV21;
}

std::size_t packedBytes(const GstVideoFrame& frame) {
  return std::size_t(frame.info.width) * std::size_t(frame.info.height) * 3 / 2;
}

// Luma without padding, then pairs of chroma.
bool isPacked(const GstVideoFrame& frame) {
  const Component y = componentOf(frame, GST_VIDEO_COMP_Y);
  const Component first = componentOf(frame, isNv21(frame) ? GST_VIDEO_COMP_V : GST_VIDEO_COMP_U);
  return first.step == 2 && y.stride == y.width && first.stride == y.width &&
         first.data == y.data + y.stride * y.height;
}

// Where the library finds the frame or puts the picture: where that is, or `copy`, which gets the
// size for it.
uint8_t* packedIn(const GstVideoFrame& frame, std::vector<uint8_t>& copy) {
  if (isPacked(frame)) return componentOf(frame, GST_VIDEO_COMP_Y).data;
  copy.resize(packedBytes(frame));
  return copy.data();
}

// Calls move(sample of the frame, sample of its packed copy) for all samples of a component: each
// row of the copy has the frame's width.
template <typename Move>
void forSamples(const GstVideoFrame& frame, guint component, uint8_t* copy, int step,
                const Move& move) {
  const Component all = componentOf(frame, component);
  for (int y = 0; y < all.height; ++y, copy += frame.info.width) {
    uint8_t* row = all.data + all.stride * y;
    for (int x = 0; x < all.width; ++x)
      move(row[std::ptrdiff_t{x} * all.step], copy[std::ptrdiff_t{x} * step]);
  }
}

// And for those of all components. Pairs of chroma are in the order of the frame, planes become
// NV12: the library's own layout for planes does not treat the last rows as this one does.
template <typename Move>
void forAllSamples(const GstVideoFrame& frame, uint8_t* copy, const Move& move) {
  uint8_t* pairs = copy + std::ptrdiff_t{frame.info.width} * frame.info.height;
  const int u = isNv21(frame) ? 1 : 0;
  forSamples(frame, GST_VIDEO_COMP_Y, copy, 1, move);
  forSamples(frame, GST_VIDEO_COMP_U, pairs + u, 2, move);
  forSamples(frame, GST_VIDEO_COMP_V, pairs + 1 - u, 2, move);
}

}  // namespace

CameraEnlarger::CameraEnlarger() {
  const std::lock_guard lock(mutex);
  if (users == 0) {
    Velmora_SR_CreateParams params = {};
    params.srScene = VELMORA_SR_SCENE_SINGLE;
    params.alloc = allocate;
    params.free = gst::release;
    if (VELMORA_SR_Create(&params, &handle) != 0) {
      if (handle != nullptr) VELMORA_SR_Destroy(&handle);
      throw Failure("the camera path cannot start: out of memory or threads");
    }
  }
  ++users;
}

CameraEnlarger::~CameraEnlarger() {
  const std::lock_guard lock(mutex);
  if (--users == 0) VELMORA_SR_Destroy(&handle);
}

void CameraEnlarger::enlarge(const GstVideoFrame& frame, const GstVideoFrame& picture) {
  Velmora_SR_InputFrames input = {};
  input.width = frame.info.width;
  input.height = frame.info.height;
  input.format = isNv21(frame) ? VELMORA_SR_FORMAT_NV21 : VELMORA_SR_FORMAT_NV12;
  input.leftData = packedIn(frame, frameCopy_);
  input.vrDepthEndW = frame.info.width - 1;
  input.vrDepthEndH = frame.info.height - 1;
  if (!isPacked(frame)) {
    forAllSamples(frame, input.leftData, [](uint8_t sample, uint8_t& copy) { copy = sample; });
  }
  Velmora_SR_OutputFrame output = {};
  output.width = picture.info.width;
  output.height = picture.info.height;
  output.format = input.format;
  output.data = packedIn(picture, pictureCopy_);
  Velmora_SR_Report report = {};
  report.size = sizeof report;
  {
    const std::lock_guard lock(mutex);
    VELMORA_SR_Process(handle, &input, 1, &output);
    VELMORA_SR_GetReport(handle, &report);
  }
  if (report.written == 0) throw Failure(std::string("the camera path: ") + report.reason);
  if (!isPacked(picture)) {
    forAllSamples(picture, output.data, [](uint8_t& sample, uint8_t copy) { sample = copy; });
  }
}

}  // namespace velmora::gst
