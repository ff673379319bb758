#include "engine/burst_window.h"

#include <algorithm>
#include <utility>

#include "status.h"

namespace velmora::tool {

BurstWindow::BurstWindow(const BurstSettings& settings, int frames, std::string clip)
    : engine_(settings), clip_(std::move(clip)), before_((frames - 1) / 2), behind_(frames / 2) {}

// Holds the next frame with all that it is made from; false behind the last one.
bool BurstWindow::fill(ClipSource& frames) {
  while (!ended_ && next_ + static_cast<std::size_t>(behind_) >= held_.size()) {
    ended_ = !frames.next(spare_);
    if (ended_) break;
    held_.push_back({std::move(spare_), 0, frames.number()});
    spare_ = {};
    held_.back().id = engine_.add(held_.back().picture);
  }
  return next_ < held_.size();
}

// To the next frame, without those that are too far behind.
void BurstWindow::advance() {
  ++next_;
  while (next_ > static_cast<std::size_t>(before_)) {
    engine_.drop(held_.front().id);
    spare_ = std::move(held_.front().picture);
    held_.pop_front();
    --next_;
  }
}

bool BurstWindow::skip(ClipSource& frames) {
  if (!fill(frames)) return false;
  advance();
  return true;
}

bool BurstWindow::make(ClipSource& frames, Picture& result) {
  if (!fill(frames)) return false;
  engine_.render(held_[next_].id, result);
  verdicts_.clear();
  for (const Held& frame : held_) {
    verdicts_.push_back(engine_.verdict(frame.id));
    verdicts_.back().file = clip_;
    verdicts_.back().number = frame.number;
  }
  ++pictures_;
  used_ += engine_.report().framesUsed;
  look();
  advance();
  return true;
}

// Neighbours that leave each other out lie on either side of a cut.
void BurstWindow::look() {
  const auto leftOut = [&](std::size_t index) {
    return verdicts_[index].use == FrameVerdict::Use::leftOut;
  };
  const bool cut = nextWasLeftOut_ && (next_ == 0 || leftOut(next_ - 1));
  if (cut && ++cuts_ == 1) firstCut_ = verdicts_[next_].number;
  nextWasLeftOut_ = next_ + 1 < held_.size() && leftOut(next_ + 1);
}

std::string BurstWindow::summary() const {
  std::string text = std::to_string(pictures_) + (pictures_ == 1 ? " frame" : " frames, each");
  text += format(" from %.1f of %ld", double(used_) / double(std::max(pictures_, 1L)),
                 before_ + 1 + behind_);
  text += pictures_ == 1 ? "" : " on average";
  if (cuts_ > 0) {
    text += ", " + std::to_string(cuts_) + (cuts_ == 1 ? " cut" : " cuts") + " seen (" +
            (cuts_ == 1 ? "" : "the first ") + "before frame " + std::to_string(firstCut_) + ")";
  }
  return text;
}

}  // namespace velmora::tool
