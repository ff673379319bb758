// Pictures by the one-frame path of the camera.
#ifndef VELMORA_GSTREAMER_CAMERA_ENLARGER_H
#define VELMORA_GSTREAMER_CAMERA_ENLARGER_H

#include <cstdint>
#include <vector>

#include "enlarger.h"

namespace velmora::gst {

/// The library keeps one handle, tables and threads for the whole process: all elements share them,
/// and make their pictures one after the other.
///
/// NV12 and NV21 without padding are read and written where they are, others by way of a copy.
class CameraEnlarger final : public Enlarger {
 public:
  CameraEnlarger();
  ~CameraEnlarger() override;

  void hold(const GstVideoFrame&) override {}
  void release(const GstVideoFrame&) noexcept override {}
  void enlarge(const GstVideoFrame& frame, const GstVideoFrame& picture) override;
  void enlargeAlone(const GstVideoFrame& frame, const GstVideoFrame& picture) override {
    enlarge(frame, picture);
  }

 private:
  std::vector<uint8_t> frameCopy_;
  std::vector<uint8_t> pictureCopy_;
};

}  // namespace velmora::gst

#endif  // VELMORA_GSTREAMER_CAMERA_ENLARGER_H
