// What the stages of a registration note.
#include "report/observer.h"

#include <algorithm>

namespace velmora {

void Observer::parameters(const tagSURFParams& surf) const {
  if (report_ == nullptr) return;
  report_->facts.detectorThreshold = surf.hessianThreshold;
  report_->facts.matchRatio = surf.matchRatio;
}

void Observer::reduction(int32_t factor) const {
  if (report_ != nullptr) report_->facts.reduction = factor;
}

void Observer::keyPoints(std::size_t frame, const ST_IMAGEFEATURES& features) const {
  if (report_ == nullptr) return;
  report_->facts.keyPointCount[frame] = features.count;
  const float scale = static_cast<float>(report_->facts.reduction) / 64.0f;
  std::transform(features.keypoints, features.keypoints + features.count,
                 report_->keyPoints[frame].begin(), [scale](const ST_KEYPOINT& point) {
                   return Velmora_SR_KeyPoint{static_cast<float>(point.x) * scale,
                                              static_cast<float>(point.y) * scale};
                 });
}

void Observer::matches(const tagMATCHESINFO& matches) const {
  if (report_ == nullptr) return;
  report_->facts.matchCount = matches.matchCount;
  for (std::ptrdiff_t i = 0; i < matches.matchCount; ++i) {
    report_->matches[static_cast<std::size_t>(i)] = {matches.neighbours[i], matches.queries[i], 0};
  }
}

void Observer::inliers(const unsigned char* marks, int32_t count) const {
  if (report_ == nullptr) return;
  report_->facts.inlierCount = count;
  for (std::ptrdiff_t i = 0; i < report_->facts.matchCount; ++i) {
    report_->matches[static_cast<std::size_t>(i)].inlier =
        (marks == nullptr ? i < count : marks[i] != 0) ? 1 : 0;
  }
}

void Observer::homography(const float* entries) const {
  if (report_ == nullptr) return;
  report_->facts.hasHomography = entries[8] != 0 ? 1 : 0;
  std::copy_n(entries, 9, report_->facts.homography);
}

void Observer::area(int32_t left, int32_t top, int32_t right, int32_t bottom) const {
  if (report_ == nullptr) return;
  report_->facts.left = left;
  report_->facts.top = top;
  report_->facts.right = right;
  report_->facts.bottom = bottom;
}

void Observer::fail(int32_t stage, int32_t cause, const char* reason) const {
  if (report_ != nullptr) report_->fail(stage, cause, reason);
}

int32_t Observer::checked(int32_t stage, int32_t result) const {
  if (result == VELMORA_SR_RESULT_ALLOC_FAILED)
    fail(stage, VELMORA_SR_CAUSE_MEMORY, "out of memory");
  return result;
}

}  // namespace velmora
