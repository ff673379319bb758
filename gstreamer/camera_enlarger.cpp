#include "camera_enlarger.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <mutex>
#include <string>

#include "failure.h"
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

int32_t formatOf(const GstVideoFrame& frame) {
  switch (GST_VIDEO_FRAME_FORMAT(&frame)) {
    case GST_VIDEO_FORMAT_NV12:
      return VELMORA_SR_FORMAT_NV12;
    case GST_VIDEO_FORMAT_NV21:
      return VELMORA_SR_FORMAT_NV21;
    default:
      return VELMORA_SR_FORMAT_PLANAR;
  }
}

struct Plane {
  uint8_t* data;
  int stride;
  int rowBytes;
  int rows;
};

// The first component of a plane in these formats is the one of the plane's number.
Plane planeOf(const GstVideoFrame& frame, guint plane) {
  return {static_cast<uint8_t*>(frame.data[plane]), GST_VIDEO_FRAME_PLANE_STRIDE(&frame, plane),
          GST_VIDEO_FRAME_COMP_WIDTH(&frame, plane) * GST_VIDEO_FRAME_COMP_PSTRIDE(&frame, plane),
          GST_VIDEO_FRAME_COMP_HEIGHT(&frame, plane)};
}

std::size_t packedBytes(const GstVideoFrame& frame) {
  return std::size_t(frame.info.width) * std::size_t(frame.info.height) * 3 / 2;
}

// Where the samples of a frame without padding begin; null for others.
uint8_t* packed(const GstVideoFrame& frame) {
  auto* const begin = static_cast<uint8_t*>(frame.data[0]);
  const uint8_t* next = begin;
  for (guint i = 0; i < GST_VIDEO_FRAME_N_PLANES(&frame); ++i) {
    const Plane plane = planeOf(frame, i);
    if (plane.data != next || plane.stride != plane.rowBytes) return nullptr;
    next += std::ptrdiff_t{plane.rowBytes} * plane.rows;
  }
  return begin;
}

// Calls row(samples of the frame, samples of its packed copy, how many) for all rows.
template <typename Row>
void forRows(const GstVideoFrame& frame, uint8_t* copy, const Row& row) {
  for (guint i = 0; i < GST_VIDEO_FRAME_N_PLANES(&frame); ++i) {
    const Plane plane = planeOf(frame, i);
    for (int y = 0; y < plane.rows; ++y, copy += plane.rowBytes) {
      row(plane.data + std::ptrdiff_t{plane.stride} * y, copy, plane.rowBytes);
    }
  }
}

// The frame's samples without padding, where they are or in `copy`, which gets the size for them.
uint8_t* packedIn(const GstVideoFrame& frame, std::vector<uint8_t>& copy) {
  if (uint8_t* samples = packed(frame)) return samples;
  copy.resize(packedBytes(frame));
  return copy.data();
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
  input.format = formatOf(frame);
  input.leftData = packedIn(frame, frameCopy_);
  input.vrDepthEndW = frame.info.width - 1;
  input.vrDepthEndH = frame.info.height - 1;
  if (input.leftData == frameCopy_.data()) {
    forRows(frame, frameCopy_.data(), [](const uint8_t* samples, uint8_t* copy, int count) {
      std::copy_n(samples, count, copy);
    });
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
  if (output.data == pictureCopy_.data()) {
    forRows(picture, pictureCopy_.data(), [](uint8_t* samples, const uint8_t* copy, int count) {
      std::copy_n(copy, count, samples);
    });
  }
}

}  // namespace velmora::gst
