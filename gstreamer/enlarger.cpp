#include "enlarger.h"

#include <algorithm>
#include <cstdint>

#include "burst_enlarger.h"
#include "camera_enlarger.h"
#include "velmora_sr/burst.h"

namespace velmora::gst {
namespace {

constexpr int kSmallestCameraSide = 100;
constexpr int kLargestCameraSide = 32767;
constexpr double kLeastSharpened = -0.6;

std::string text(const GstVideoInfo& info) {
  return std::to_string(info.width) + "x" + std::to_string(info.height);
}

std::string cameraFault(const GstVideoInfo& info) {
  if (info.width % 2 == 0 && info.height % 2 == 0 &&
      std::min(info.width, info.height) >= kSmallestCameraSide &&
      std::max(info.width, info.height) <= kLargestCameraSide &&
      int64_t{info.width} * info.height * 3 / 2 <= INT32_MAX) {
    return "";
  }
  return "the method camera-single takes even sizes from 100x100 on, not " + text(info) +
         "; the method burst takes others, too";
}

}  // namespace

std::string fault(const Settings& settings, const GstVideoInfo& frame,
                  const GstVideoInfo& picture) {
  const auto within = [](int from, int to) {
    return from >= VELMORA_SR_BURST_SMALLEST_SIDE && to <= VELMORA_SR_BURST_LARGEST_SIDE &&
           to >= from && int64_t{to} <= int64_t{kLargestScale} * from;
  };
  if (!within(frame.width, picture.width) || !within(frame.height, picture.height)) {
    return "frames of 16x16 and more are enlarged 1 to 4 times, not " + text(frame) + " to " +
           text(picture);
  }
  if (settings.method == Method::burst) {
    const bool known = settings.sharpened <= -1 || settings.sharpened >= kLeastSharpened;
    return known ? "" : "sharpened goes from -0.6 to 1; -1 leaves it to the library";
  }
  const std::string ofFrame = cameraFault(frame);
  return ofFrame.empty() ? cameraFault(picture) : ofFrame;
}

std::unique_ptr<Enlarger> makeEnlarger(const Settings& settings, const GstVideoInfo& frame,
                                       const GstVideoInfo& picture, const std::atomic<bool>& stop) {
  if (settings.method == Method::cameraSingle) return std::make_unique<CameraEnlarger>();
  return std::make_unique<BurstEnlarger>(settings, frame, picture, stop);
}

}  // namespace velmora::gst
