// A buffer whose planes can be reached.
#ifndef VELMORA_GSTREAMER_MAPPED_FRAME_H
#define VELMORA_GSTREAMER_MAPPED_FRAME_H

#include <gst/video/video.h>

#include "failure.h"

namespace velmora::gst {

/// Holds a reference to the buffer, and so keeps others from writing to it.
class MappedFrame {
 public:
  MappedFrame(const GstVideoInfo& info, GstBuffer* buffer, GstMapFlags access) {
    if (!gst_video_frame_map(&frame_, &info, buffer, access)) {
      throw Failure("a buffer is not the frame that its caps tell of");
    }
  }
  ~MappedFrame() { gst_video_frame_unmap(&frame_); }
  MappedFrame(const MappedFrame&) = delete;
  MappedFrame& operator=(const MappedFrame&) = delete;

  [[nodiscard]] const GstVideoFrame& frame() const { return frame_; }
  [[nodiscard]] GstBuffer* buffer() const { return frame_.buffer; }

 private:
  GstVideoFrame frame_ = {};
};

}  // namespace velmora::gst

#endif  // VELMORA_GSTREAMER_MAPPED_FRAME_H
