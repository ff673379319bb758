// The frames that a picture is made from.
#ifndef VELMORA_GSTREAMER_FRAME_WINDOW_H
#define VELMORA_GSTREAMER_FRAME_WINDOW_H

#include <cstddef>
#include <deque>
#include <memory>

#include "enlarger.h"
#include "mapped_frame.h"

namespace velmora::gst {

/// Takes the frames of a stream in their order and makes a picture around each of them from a
/// window of frames: as many before as behind, one more behind where their number is even, fewer at
/// the ends of the stream. Frames are held mapped, as long as a window may need them.
class FrameWindow {
 public:
  ~FrameWindow() { clear(); }

  /// From now on pictures are made by `enlarger`, from so many frames before and behind. The frames
  /// held stay; they have to be of the size that it takes.
  void use(std::unique_ptr<Enlarger> enlarger, int before, int behind);

  [[nodiscard]] bool canEnlarge() const { return enlarger_ != nullptr; }

  /// Drops the frames and the enlarger.
  void clear();
  /// Drops the frames.
  void clearFrames();

  void add(const GstVideoInfo& info, GstBuffer* buffer);

  /// Whether there is a frame without a picture.
  [[nodiscard]] bool hasNext() const { return next_ < frames_.size(); }
  /// Whether the next picture is better made when a further frame has been added.
  [[nodiscard]] bool wantsFrame() const { return next_ + behind_ >= frames_.size(); }
  /// The frame that the next picture shows.
  [[nodiscard]] GstBuffer* next() const { return frames_[next_].buffer(); }

  /// Makes the next picture, from the window or from its frame alone. Throws what the enlarger
  /// does.
  void enlarge(const GstVideoFrame& picture, bool alone);
  /// Goes on to the next frame, whether the picture was made or not.
  void advance();

 private:
  void dropOld();

  std::unique_ptr<Enlarger> enlarger_;
  std::size_t before_ = 0;
  std::size_t behind_ = 0;
  std::deque<MappedFrame> frames_;  // they stay where they are while others come and go at the ends
  std::size_t next_ = 0;            // index of the frame that the next picture shows
  std::size_t known_ = 0;           // how many of the first frames the enlarger holds
};

}  // namespace velmora::gst

#endif  // VELMORA_GSTREAMER_FRAME_WINDOW_H
