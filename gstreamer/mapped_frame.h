// A buffer whose planes can be reached.
#ifndef VELMORA_GSTREAMER_MAPPED_FRAME_H
#define VELMORA_GSTREAMER_MAPPED_FRAME_H

#include <gst/video/video.h>

#include <cstddef>
#include <cstdint>

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

/// The samples of Y, U or V, whatever shares a plane: (x, y) lies at data[y * stride + x * step].
struct Component {
  uint8_t* data;
  std::ptrdiff_t stride;
  int step;
  int width;
  int height;
};

inline Component componentOf(const GstVideoFrame& frame, guint component) {
  auto* const plane =
      static_cast<uint8_t*>(frame.data[GST_VIDEO_FRAME_COMP_PLANE(&frame, component)]);
  return {plane + GST_VIDEO_FRAME_COMP_POFFSET(&frame, component),
          GST_VIDEO_FRAME_COMP_STRIDE(&frame, component),
          GST_VIDEO_FRAME_COMP_PSTRIDE(&frame, component),
          GST_VIDEO_FRAME_COMP_WIDTH(&frame, component),
          GST_VIDEO_FRAME_COMP_HEIGHT(&frame, component)};
}

}  // namespace velmora::gst

#endif  // VELMORA_GSTREAMER_MAPPED_FRAME_H
