#include "burst/handle/report_records.h"

#include <algorithm>

namespace velmora::burst {
namespace {

const char* reason(int32_t use) {
  switch (use) {
    case VELMORA_SR_BURST_NO_MOTION:
      return "no motion was found that maps the reference onto it";
    case VELMORA_SR_BURST_LOW_OVERLAP:
      return "it shows less than half of the reference";
    case VELMORA_SR_BURST_RESIDUAL:
      return "registered, it fits no better than as it is";
    case VELMORA_SR_BURST_LOW_WEIGHT:
      return "it differs from the reference almost everywhere";
    default:
      return "";
  }
}

}  // namespace

Velmora_SR_BurstFrameReport frameReport(const Outcome& outcome) {
  Velmora_SR_BurstFrameReport report = {};
  report.use = outcome.use;
  report.reason = reason(outcome.use);
  const bool found = outcome.use != VELMORA_SR_BURST_NO_MOTION;
  const Homography homography = found ? outcome.registration.homography : Homography{};
  std::copy(homography.h.begin(), homography.h.end(), report.homography);
  report.gain = found ? outcome.registration.gain : 1;
  report.bias = found ? outcome.registration.bias : 0;
  report.residualBefore = outcome.registration.residualBefore;
  report.residualAfter = outcome.registration.residualAfter;
  report.meanWeight = outcome.meanWeight;
  report.share = outcome.share;
  report.localTiles = outcome.localTiles;
  return report;
}

Velmora_SR_BurstReport pictureReport(const Velmora_SR_Burst& burst) {
  Velmora_SR_BurstReport report = {};
  const PictureFacts& facts = burst.facts;
  report.framesUsed = facts.framesUsed;
  report.noise = facts.noise.sigma[0];
  report.noiseU = facts.noise.sigma[1];
  report.noiseV = facts.noise.sigma[2];
  std::copy(facts.milliseconds.begin(), facts.milliseconds.end(), report.milliseconds);
  report.memory = burst.memory.held() + sizeof burst;
  report.peakMemory = burst.memory.peak() + sizeof burst;
  return report;
}

}  // namespace velmora::burst
