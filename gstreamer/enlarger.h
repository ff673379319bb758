// What makes pictures of frames: one class per method of the element.
#ifndef VELMORA_GSTREAMER_ENLARGER_H
#define VELMORA_GSTREAMER_ENLARGER_H

#include <gst/video/video.h>

#include <atomic>
#include <memory>
#include <string>

#include "settings.h"

namespace velmora::gst {

/// Makes pictures of one size of frames of one size. Used by one thread at a time. Everything but
/// release() throws Failure, Cancelled or std::bad_alloc.
class Enlarger {
 public:
  Enlarger() = default;
  virtual ~Enlarger() = default;
  Enlarger(const Enlarger&) = delete;
  Enlarger& operator=(const Enlarger&) = delete;

  /// Takes a frame into the window. It stays where it is, mapped and unchanged, until its
  /// release().
  virtual void hold(const GstVideoFrame& frame) = 0;
  virtual void release(const GstVideoFrame& frame) noexcept = 0;

  /// Makes the picture of a frame that is held, from all that are.
  virtual void enlarge(const GstVideoFrame& frame, const GstVideoFrame& picture) = 0;

  /// Makes the picture of any frame from it alone.
  virtual void enlargeAlone(const GstVideoFrame& frame, const GstVideoFrame& picture) = 0;
};

/// Why pictures of this size cannot be made of such frames; empty when they can.
std::string fault(const Settings& settings, const GstVideoInfo& frame, const GstVideoInfo& picture);

/// For settings and sizes without a fault().
/// @param stop  ends calls early, with Cancelled, when it becomes true
/// Throws Failure, or std::bad_alloc.
std::unique_ptr<Enlarger> makeEnlarger(const Settings& settings, const GstVideoInfo& frame,
                                       const GstVideoInfo& picture, const std::atomic<bool>& stop);

}  // namespace velmora::gst

#endif  // VELMORA_GSTREAMER_ENLARGER_H
