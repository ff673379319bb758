#include "engine/burst_window.h"

#include <algorithm>
#include <utility>

#include "status.h"

namespace velmora::tool {

BurstWindow::BurstWindow(const BurstSettings& settings, int frames)
    : engine_(settings),
      before_(static_cast<std::size_t>((frames - 1) / 2)),
      behind_(static_cast<std::size_t>(frames / 2)) {}

void BurstWindow::add(Picture& frame) {
  held_.push_back({std::move(frame), 0});
  frame = std::move(spare_);
  held_.back().number = engine_.add(held_.back().picture);
}

bool BurstWindow::render(Picture& result) {
  if (next_ == held_.size()) return false;
  engine_.render(held_[next_].number, result);
  ++pictures_;
  used_ += engine_.report().framesUsed;
  look();
  ++next_;
  while (next_ > before_) {
    engine_.drop(held_.front().number);
    spare_ = std::move(held_.front().picture);
    held_.pop_front();
    --next_;
  }
  return true;
}

bool BurstWindow::leftOut(std::size_t index) const {
  return engine_.frameReport(held_[index].number).use < 0;
}

// Neighbours that leave each other out lie on either side of a cut.
void BurstWindow::look() {
  const bool cut = nextWasLeftOut_ && (next_ == 0 || leftOut(next_ - 1));
  if (cut && ++cuts_ == 1) firstCut_ = pictures_;
  nextWasLeftOut_ = next_ + 1 < held_.size() && leftOut(next_ + 1);
}

std::string BurstWindow::summary() const {
  std::string text = std::to_string(pictures_) + (pictures_ == 1 ? " frame" : " frames, each");
  text += format(" from %.1f of %d", double(used_) / double(std::max(pictures_, 1L)),
                 static_cast<int>(before_ + 1 + behind_));
  text += pictures_ == 1 ? "" : " on average";
  if (cuts_ > 0) {
    text += ", " + std::to_string(cuts_) + (cuts_ == 1 ? " cut" : " cuts") + " seen (" +
            (cuts_ == 1 ? "" : "the first ") + "before frame " + std::to_string(firstCut_) + ")";
  }
  return text;
}

}  // namespace velmora::tool
