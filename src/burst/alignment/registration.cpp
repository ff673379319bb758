#include "burst/alignment/registration.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>

#include "burst/alignment/coarse_search.h"
#include "burst/alignment/level_aligner.h"
#include "burst/alignment/metered_workers.h"
#include "burst/alignment/photometric_match.h"

namespace velmora::burst {
namespace {

// A pair is registered where its pictures, were they the same, would have to be off by less than
// this to differ as much, in pixels of the coarse level, or where they hardly differ at all:
// pictures of nothing but noise. Registered pairs were found to stay below 0.8, others above 1.7.
constexpr double kGoodMisfit = 1.2;
constexpr double kGoodScore = 2;
// With less overlap than this, and fewer of the pixels compared, a fit says nothing.
constexpr double kLeastOverlap = 0.4;
constexpr double kFewestPixels = 0.05;

// A residual in grey levels that noise alone hardly explains, and which share of the one before a
// registration that moves the frame must fall below.
constexpr double kSuspicious = 6;
constexpr double kHardlyBetter = 0.85;

// Shares of the work, see registrationWork().
constexpr double kCoarseShare = 0.15;
constexpr double kMiddleShare = 0.35;

// How well an alignment fits on the coarse level.
struct Judgement {
  Fit fit;
  double overlap = 0;
  [[nodiscard]] bool usable() const {
    return overlap >= kLeastOverlap && fit.pixels >= kFewestPixels;
  }
  [[nodiscard]] bool good() const {
    return usable() && (fit.misfit < kGoodMisfit || fit.score < kGoodScore);
  }
  [[nodiscard]] bool betterThan(const Judgement& other) const {
    return usable() != other.usable() ? usable() : fit.score < other.fit.score;
  }
};

// Exposures differ by less than this factor; what differs by more is not the same scene.
constexpr double kLargestGain = 5;

// Whether the mapping keeps the picture's orientation: at its corners the denominator and the
// determinant of the derivative are positive.
bool upright(const Homography& homography, Size size) {
  const auto& h = homography.h;
  const double determinant = h[0] * (h[4] * h[8] - h[5] * h[7]) -
                             h[1] * (h[3] * h[8] - h[5] * h[6]) +
                             h[2] * (h[3] * h[7] - h[4] * h[6]);
  if (!(determinant > 0)) return false;
  for (int32_t corner = 0; corner < 4; ++corner) {
    const double x = (corner & 1) != 0 ? size.width - 1 : 0;
    const double y = (corner & 2) != 0 ? size.height - 1 : 0;
    if (!(h[6] * x + h[7] * y + h[8] > 0)) return false;
  }
  return true;
}

// By how much the corners of a frame move, in pixels.
double meanShift(const Homography& homography, Size size) {
  double sum = 0;
  for (int32_t corner = 0; corner < 4; ++corner) {
    const Point at = {(corner & 1) != 0 ? size.width - 1.0 : 0,
                      (corner & 2) != 0 ? size.height - 1.0 : 0};
    const Point to = homography(at);
    sum += std::sqrt((to.x - at.x) * (to.x - at.x) + (to.y - at.y) * (to.y - at.y));
  }
  return sum / 4;
}

class PairAligner {
 public:
  PairAligner(Memory& memory, Workers& workers, const Pyramid& reference, const Pyramid& frame)
      : memory_(memory),
        workers_(workers),
        reference_(reference),
        frame_(frame),
        top_(reference.top),
        middle_(std::min(2, reference.top)),
        bottom_(reference.bottom()) {}

  PairRegistration run();

 private:
  LevelAligner& at(int32_t level) {
    auto& aligner = aligners_[static_cast<std::size_t>(level)];
    if (!aligner) aligner.emplace(memory_, workers_, reference_, frame_, level);
    return *aligner;
  }
  // The lowest level of the coarse stage, whose fit says how the next stage will end.
  [[nodiscard]] int32_t coarse() const { return std::min(3, top_); }

  void alignCoarsely(Alignment& alignment, double weight);
  void alignFinely(Alignment& alignment, double weight);
  Alignment bestStart(double weight);
  [[nodiscard]] double overlap(const Homography& homography) const;
  Judgement judge(const Alignment& alignment);

  Memory& memory_;
  Workers& workers_;
  const Pyramid& reference_;
  const Pyramid& frame_;
  int32_t top_;
  int32_t middle_;
  int32_t bottom_;
  std::array<std::optional<LevelAligner>, Pyramid::kMostLevels> aligners_;
};

void PairAligner::alignCoarsely(Alignment& alignment, double weight) {
  at(top_).align(alignment, Model::shift, 12, true, 0.2 * weight);
  at(top_).align(alignment, Model::affine, 10, true, 0.2 * weight);
  for (int32_t level = top_ - 1; level >= 3; --level)
    at(level).align(alignment, Model::affine, 8, true, 0.6 * weight);
}

// The alignment to go on from at the middle level.
Alignment PairAligner::bestStart(double weight) {
  Alignment best;
  alignCoarsely(best, weight);
  Judgement judgement = judge(best);
  const auto offer = [&](const Alignment& candidate) {
    const Judgement other = judge(candidate);
    if (!other.betterThan(judgement)) return;
    best = candidate;
    judgement = other;
  };
  if (!judgement.good()) {
    for (const Homography& motion : searchCoarsely(memory_, workers_, reference_, frame_)) {
      Alignment found = {motion, 1, 0};
      alignCoarsely(found, 0);
      offer(found);
      if (judgement.good()) break;
    }
  }
  return best;
}

// The share of the reference that the frame shows.
double PairAligner::overlap(const Homography& homography) const {
  constexpr int32_t kGrid = 64;
  const Size size = frame_.luma.size;
  int32_t inside = 0;
  for (int32_t j = 0; j < kGrid; ++j) {
    for (int32_t i = 0; i < kGrid; ++i) {
      const Point p =
          homography({(i + 0.5) / kGrid * size.width - 0.5, (j + 0.5) / kGrid * size.height - 0.5});
      if (p.x > -0.5 && p.y > -0.5 && p.x < size.width - 0.5 && p.y < size.height - 0.5) ++inside;
    }
  }
  return static_cast<double>(inside) / (kGrid * kGrid);
}

Judgement PairAligner::judge(const Alignment& alignment) {
  return {at(coarse()).fit(alignment), overlap(alignment.homography)};
}

// From the middle level down to the lowest.
void PairAligner::alignFinely(Alignment& alignment, double weight) {
  const auto middle = static_cast<std::size_t>(middle_);
  at(middle_).align(alignment, Model::homography, 12, true, kMiddleShare * weight);
  matchBrightness(memory_, reference_.levels[middle], frame_.levels[middle], middle_, alignment);
  const double share = (1 - kCoarseShare - kMiddleShare) / std::max(1, middle_ - bottom_);
  for (int32_t level = middle_ - 1; level >= bottom_; --level)
    at(level).align(alignment, Model::homography, 5, false, share * weight);
}

PairRegistration PairAligner::run() {
  const double work = registrationWork(frame_.luma.size);
  LevelAligner& half = at(std::min(1, top_));
  const double before = half.residual({});
  Alignment alignment = bestStart(kCoarseShare * work);
  alignFinely(alignment, work);
  double after = half.residual(alignment);
  if (after > kSuspicious && after > kHardlyBetter * before) {
    // A texture too fine for the coarse levels leads them anywhere. Hand-held frames are close.
    Alignment near;
    at(middle_).align(near, Model::shift, 12, true, 0);
    alignFinely(near, 0);
    const double other = half.residual(near);
    if (other < after) {
      alignment = near;
      after = other;
    }
  }

  PairRegistration result;
  result.homography = alignment.homography;
  result.gain = alignment.gain;
  result.bias = alignment.bias;
  result.residualBefore = before;
  result.residualAfter = after;

  // What a registration may add to the difference of a pair that did not need any.
  constexpr double kSlack = 0.05;
  const Judgement judgement = judge(alignment);
  const bool plausible = upright(alignment.homography, frame_.luma.size) &&
                         alignment.gain > 1 / kLargestGain && alignment.gain < kLargestGain;
  const bool little = judgement.overlap < 0.5 && judgement.fit.misfit < kGoodMisfit;
  if (!plausible || (!little && !judgement.good())) {
    result.use = VELMORA_SR_BURST_NO_MOTION;
  } else if (little) {
    result.use = VELMORA_SR_BURST_LOW_OVERLAP;
  } else if (after > before + kSlack || (after > kSuspicious && after > kHardlyBetter * before &&
                                         meanShift(alignment.homography, frame_.luma.size) > 1)) {
    result.use = VELMORA_SR_BURST_RESIDUAL;
  } else {
    result.use = VELMORA_SR_BURST_USED;
  }
  if (result.use != VELMORA_SR_BURST_NO_MOTION) return result;
  result.homography = {};
  result.gain = 1;
  result.bias = 0;
  result.residualAfter = result.residualBefore;
  return result;
}

}  // namespace

PairRegistration registerFrame(Memory& memory, Workers& workers, const Pyramid& reference,
                               const Pyramid& frame) {
  MeteredWorkers metered(workers, registrationWork(frame.luma.size));
  const PairRegistration result = PairAligner(memory, metered, reference, frame).run();
  metered.finish();
  return result;
}

}  // namespace velmora::burst
