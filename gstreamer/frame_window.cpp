#include "frame_window.h"

#include <utility>

namespace velmora::gst {

void FrameWindow::use(std::unique_ptr<Enlarger> enlarger, int before, int behind) {
  enlarger_ = std::move(enlarger);
  known_ = 0;
  before_ = static_cast<std::size_t>(before);
  behind_ = static_cast<std::size_t>(behind);
  dropOld();
}

void FrameWindow::clear() {
  enlarger_.reset();
  frames_.clear();
  next_ = known_ = 0;
}

void FrameWindow::clearFrames() {
  for (std::size_t i = 0; i < known_; ++i)
    enlarger_->release(frames_[i].frame());
  frames_.clear();
  next_ = known_ = 0;
}

void FrameWindow::add(const GstVideoInfo& info, GstBuffer* buffer) {
  frames_.emplace_back(info, buffer, GST_MAP_READ);
}

// The enlarger gets to know no frame beyond the window: more may wait where the window has become
// smaller.
void FrameWindow::enlarge(const GstVideoFrame& picture, bool alone) {
  const GstVideoFrame& shown = frames_[next_].frame();
  if (alone) {
    enlarger_->enlargeAlone(shown, picture);
    return;
  }
  for (; known_ < frames_.size() && known_ <= next_ + behind_; ++known_)
    enlarger_->hold(frames_[known_].frame());
  enlarger_->enlarge(shown, picture);
}

void FrameWindow::advance() {
  ++next_;
  dropOld();
}

void FrameWindow::dropOld() {
  for (; next_ > before_; --next_) {
    if (known_ > 0) {
      enlarger_->release(frames_.front().frame());
      --known_;
    }
    frames_.pop_front();
  }
}

}  // namespace velmora::gst
