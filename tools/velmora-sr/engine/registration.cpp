#include "engine/registration.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <new>

#include "engine/session.h"
#include "errors.h"
#include "status.h"

namespace velmora::tool {

const char* name(Stage stage) {
  constexpr std::array<const char*, kStages> kNames = {
      "reduction", "integral image", "detector",   "descriptor", "trees",
      "search",    "RANSAC",         "refinement", "valid area", "residual"};
  return kNames[static_cast<std::size_t>(stage)];
}

std::size_t RegistrationReport::inliers() const {
  return static_cast<std::size_t>(
      std::count_if(matches.begin(), matches.end(), [](const Match& m) { return m.inlier; }));
}

std::array<Position, 4> RegistrationReport::cornerMotion() const {
  const double right = size.width - 1;
  const double bottom = size.height - 1;
  std::array<Position, 4> motion = {{{0, 0}, {right, 0}, {0, bottom}, {right, bottom}}};
  for (Position& corner : motion) {
    const Position moved = project(*homography, corner);
    corner = {moved.x - corner.x, moved.y - corner.y};
  }
  return motion;
}

double RegistrationReport::largestMotion() const {
  double farthest = 0;
  for (const Position& corner : cornerMotion())
    farthest = std::max(farthest, std::hypot(corner.x, corner.y));
  return farthest;
}

RegistrationReport registrationOf(const Velmora_SR_Report& report, Size size) {
  if (report.registered == 0 && report.cause != VELMORA_SR_CAUSE_FRAMES) {
    if (report.cause == VELMORA_SR_CAUSE_MEMORY) throw std::bad_alloc();
    throw Failure(std::string("the library cannot register the frames: ") + report.reason);
  }
  RegistrationReport result;
  result.size = size;
  result.reduction = report.reduction;
  result.threshold = static_cast<double>(report.detectorThreshold);
  result.ratio = static_cast<double>(report.matchRatio);
  for (std::size_t frame = 0; frame < 2; ++frame) {
    const Velmora_SR_KeyPoint* points = report.keyPoints[frame];
    for (std::ptrdiff_t i = 0; i < report.keyPointCount[frame]; ++i)
      result.keypoints[frame].push_back({double{points[i].x}, double{points[i].y}});
  }
  for (std::ptrdiff_t i = 0; i < report.matchCount; ++i) {
    const Velmora_SR_Match& match = report.matches[i];
    result.matches.push_back({static_cast<std::size_t>(match.first),
                              static_cast<std::size_t>(match.second), match.inlier != 0});
  }
  if (report.hasHomography != 0) {
    std::copy_n(report.homography, 9, result.homography.emplace().begin());
  }
  for (std::size_t i = 0; i < static_cast<std::size_t>(Stage::residual); ++i)
    result.milliseconds[i] = report.milliseconds[VELMORA_SR_STAGE_REDUCTION + i];
  if (report.registered != 0) {
    result.rectangle = Region{report.left, report.top, report.right, report.bottom};
  } else {
    result.failure = {static_cast<Stage>(report.stage - VELMORA_SR_STAGE_REDUCTION), report.reason};
  }
  return result;
}

void judge(RegistrationReport& report, const Plane& first, const Plane& second) {
  const auto start = std::chrono::steady_clock::now();
  report.residual = residualOf(first, second, *report.homography, *report.rectangle);
  if (report.residual->worse()) {
    report.failure = {Stage::residual,
                      "with the motion that was found the frames differ more than without"};
  }
  const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
  report.milliseconds[static_cast<std::size_t>(Stage::residual)] = time.count();
}

RegistrationReport registerFrames(const Plane& first, const Plane& second) {
  Session session(first.size, VELMORA_SR_SCENE_LEFT_LEFT, {});
  RegistrationReport report = session.registerFrames(first.samples, second.samples);
  if (report.registered()) judge(report, first, second);
  return report;
}

}  // namespace velmora::tool
