#include "engine/burst_fuser.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace velmora::tool {
namespace {

bool goesIn(const BurstFrame& frame) {
  return frame.leftOut.empty();
}

FrameVerdict verdictOf(const BurstFrame& frame, const Velmora_SR_BurstFrameReport& report,
                       Size size) {
  FrameVerdict verdict;
  verdict.file = frame.file;
  if (report.use == VELMORA_SR_BURST_REFERENCE) verdict.use = FrameVerdict::Use::reference;
  if (report.use == VELMORA_SR_BURST_USED) verdict.use = FrameVerdict::Use::used;
  if (verdict.use == FrameVerdict::Use::leftOut) verdict.reason = report.reason;
  verdict.share = report.share;
  verdict.weight = report.meanWeight;
  // Where no motion was found there is nothing to tell.
  if (report.use == VELMORA_SR_BURST_NO_MOTION) return verdict;
  verdict.homography.emplace();
  std::copy(std::begin(report.homography), std::end(report.homography),
            verdict.homography->begin());
  verdict.motion = largestMotion(*verdict.homography, size);
  verdict.residualBefore = report.residualBefore;
  verdict.residualAfter = report.residualAfter;
  verdict.gain = report.gain;
  verdict.bias = report.bias;
  return verdict;
}

}  // namespace

void leaveLeastSharpOut(std::vector<BurstFrame>& frames, std::optional<std::size_t> reference) {
  while (std::count_if(frames.begin(), frames.end(), goesIn) > VELMORA_SR_BURST_FRAMES) {
    BurstFrame* least = nullptr;
    for (std::size_t i = 0; i < frames.size(); ++i) {
      if (i == reference || !goesIn(frames[i])) continue;
      if (least == nullptr || frames[i].sharpness < least->sharpness) least = &frames[i];
    }
    if (least == nullptr) return;
    least->leftOut = "eight frames are sharper";
    least->picture = {};
  }
}

std::size_t sharpest(const std::vector<BurstFrame>& frames) {
  std::size_t best = frames.size();
  for (std::size_t i = 0; i < frames.size(); ++i) {
    if (!goesIn(frames[i])) continue;
    if (best == frames.size() || frames[i].sharpness > frames[best].sharpness) best = i;
  }
  return best;
}

BurstResult fuseBurst(const std::vector<BurstFrame>& frames, std::size_t reference,
                      const BurstSettings& settings, bool wantWeights) {
  BurstEngine engine(settings);
  std::vector<int32_t> numbers(frames.size());
  for (std::size_t i = 0; i < frames.size(); ++i)
    if (goesIn(frames[i])) numbers[i] = engine.add(frames[i].picture);
  BurstResult result;
  engine.render(numbers[reference], result.picture);
  const Velmora_SR_BurstReport report = engine.report();
  result.noise = report.noise;
  result.used = report.framesUsed;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    if (goesIn(frames[i])) {
      const auto frameReport = engine.frameReport(numbers[i]);
      result.verdicts.push_back(verdictOf(frames[i], frameReport, settings.frame));
      if (wantWeights) result.weights.push_back(engine.weights(numbers[i]));
    } else {
      FrameVerdict verdict;
      verdict.file = frames[i].file;
      verdict.reason = frames[i].leftOut;
      result.verdicts.push_back(verdict);
      if (wantWeights) result.weights.emplace_back(settings.frame);
    }
  }
  return result;
}

}  // namespace velmora::tool
