#include "engine/burst_fuser.h"

#include <algorithm>
#include <cstddef>

namespace velmora::tool {
namespace {

bool goesIn(const BurstFrame& frame) {
  return frame.leftOut.empty();
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
      result.verdicts.push_back(engine.verdict(numbers[i]));
      if (wantWeights) result.weights.push_back(engine.weights(numbers[i]));
    } else {
      result.verdicts.emplace_back().reason = frames[i].leftOut;
      if (wantWeights) result.weights.emplace_back(settings.frame);
    }
    result.verdicts.back().file = frames[i].file;
    result.verdicts.back().number = static_cast<long>(i) + 1;
  }
  return result;
}

}  // namespace velmora::tool
