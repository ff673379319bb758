#include "engine/camera_clip.h"

#include <algorithm>
#include <utility>

#include "engine/noise.h"
#include "engine/registration.h"
#include "size_limits.h"
#include "status.h"

namespace velmora::tool {

bool canRegister(Size frame) {
  return frame.width >= kSmallestSide && frame.height >= kSmallestSide;
}

CameraClip::CameraClip(const CameraClipSettings& settings, std::string clip)
    : settings_(settings), clip_(std::move(clip)) {
  request_.region = settings.region;
  request_.outputSize = [output = settings.output](Region) { return output; };
  request_.tuning = settings.tuning;
  request_.ghost = settings.ghost;
  request_.keepRegion = true;
}

// The next frame becomes the current one.
bool CameraClip::advance(ClipSource& frames) {
  if (number_ == 0) {
    more_ = frames.next(behindIt_);
    number_ = frames.number() - 1;
  }
  if (!more_) return false;
  std::swap(beforeIt_, current_);
  std::swap(current_, behindIt_);
  more_ = frames.next(behindIt_);
  noise_ = std::exchange(behindNoise_, std::nullopt);
  ++number_;
  return true;
}

bool CameraClip::make(ClipSource& frames, Picture& result) {
  if (!advance(frames)) return false;
  FusionResult made;
  if (isSingle()) {
    made.failure = "the clip has no other";
  } else if (!canRegister(settings_.frame)) {
    made.failure = "frames under " + text(Size{kSmallestSide, kSmallestSide}) +
                   " are too small to fuse, these are " + text(settings_.frame);
  } else {
    made = fuse();
    result = std::move(made.picture);
    note(made);
    return true;
  }
  enlarge(result);
  note(made);
  return true;
}

FusionResult CameraClip::fuse() {
  if (settings_.measureNoise) {
    const double own = noise_ ? *noise_ : noiseOf(current_);
    const double other = noiseOf(neighbour());
    if (more_) behindNoise_ = other;
    request_.ghost = thresholdsFor(std::max(own, other));
  }
  return fusePair(current_, neighbour(), request_);
}

void CameraClip::enlarge(Picture& result) {
  if (!alone_) {
    alone_.emplace(settings_.frame, settings_.region, settings_.output, settings_.tuning);
  }
  alone_->enlarge(current_, result);
}

void CameraClip::note(const FusionResult& result) {
  const auto verdicts = verdictsOf(result);
  verdicts_.assign(verdicts.begin(), verdicts.end());
  verdicts_[0].number = number_;
  verdicts_[1].number = more_ ? number_ + 1 : number_ - 1;
  if (isSingle()) verdicts_.pop_back();
  for (FrameVerdict& verdict : verdicts_)
    verdict.file = clip_;
  if (result.failure.empty()) {
    ++fused_;
    replaced_ += result.replacedShare;
    if (!result.doubt.empty()) count(doubts_, result.doubt);
  } else {
    ++single_;
    count(reasons_, result.failure);
  }
}

void CameraClip::count(Reasons& reasons, const std::string& reason) const {
  ++reasons.try_emplace(reason, Reason{number_, 0}).first->second.count;
}

std::string CameraClip::summary() const {
  std::string text = std::to_string(fused_) + " of " + std::to_string(fused_ + single_) +
                     (fused_ + single_ == 1 ? " frame fused" : " frames fused");
  if (fused_ > 0)
    text += format(", de-ghosting replaced %.1f %%", 100 * replaced_ / double(fused_));
  const auto tell = [&](const char* what, const Reasons& reasons) {
    for (const auto& [reason, found] : reasons) {
      text += std::string("; ") + what + ": frame " + std::to_string(found.first);
      if (found.count > 1) text += " and " + std::to_string(found.count - 1) + " more";
      text += " (" + reason + ")";
    }
  };
  tell("enlarged alone", reasons_);
  tell("doubtful", doubts_);
  return text;
}

}  // namespace velmora::tool
